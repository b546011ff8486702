// The data-channel mutex: base name + "_DSLR1394_", usable by every account
// on NT, created once per device object and kept until it is destroyed.

#include "log/dbg_log.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

#include <cstdio>
#include <cstring>

namespace {

const char* baseNameOf(const char* portName)
{
    const char* separator = std::strrchr(portName, '\\');
    return separator != nullptr ? separator + 1 : portName;
}

}  // namespace

DWORD Dslr1394Object::Utl_CreateMutexObject(const char* portName)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_CreateMutexObject");
    return ScanMngrCreateMutex(portName);
}

DWORD Dslr1394Object::ScanMngrCreateMutex(const char* portName)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrCreateMutex");
    if (m_hDeviceAccessMutex != nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   "ScanMngrCreateMutex: P-0x%lx m_hDeviceAccessMutex(0x%lx)",
                   static_cast<unsigned long>(os::GetCurrentProcessId()),
                   Dbg_Handle(m_hDeviceAccessMutex));
        return vkRN_OK;
    }
    if (portName == nullptr) return vkRNERROR_INVALID_PARAMETER;
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "ScanMngrCreateMutex: cPortNamePtr(%s)", portName);
    DWORD error = 0;
    m_hDeviceAccessMutex = _ScanMngrCreateMutex(portName, &error, FALSE);
    if (m_hDeviceAccessMutex == nullptr || error == ERROR_INVALID_HANDLE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrCreateMutex: m_hDeviceAccessMutex Create Error(0x%lx)",
                   static_cast<unsigned long>(error));
        Dbg_PrintErrorString(DBG_TAG_SSCM, error);
        // A handle to an object of another kind is of no use: it is closed
        // so that the next open tries afresh.
        if (m_hDeviceAccessMutex != nullptr) os::CloseHandle(m_hDeviceAccessMutex);
        m_hDeviceAccessMutex = nullptr;
        return vkRNERROR_TRANSFER_FAILED;
    }
    if (error == ERROR_ALREADY_EXISTS) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   "ScanMngrCreateMutex: m_hDeviceAccessMutex is already exists");
        return vkRN_OK;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "ScanMngrCreateMutex: m_hDeviceAccessMutex(0x%lx)",
               Dbg_Handle(m_hDeviceAccessMutex));
    return vkRN_OK;
}

HANDLE Dslr1394Object::_ScanMngrCreateMutex(const char* portName, DWORD* lastError,
                                            BOOL initialOwner)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "_ScanMngrCreateMutex: cPortNamePtr(%s)", portName);
    char name[256];
    // A base name that does not fit is refused rather than cut: a cut name
    // could be another port's mutex.
    if (std::snprintf(name, sizeof(name), "%s_DSLR1394_", baseNameOf(portName)) >=
        static_cast<int>(sizeof(name))) {
        *lastError = ERROR_INVALID_NAME;
        return nullptr;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "_ScanMngrCreateMutex: cPortNamePtr(%s) cPortNameStr(%s)",
               portName, name);
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    if (!os::GetVersionExA(&version)) {
        Dbg_PrintErrorString(DBG_TAG_SSCM, os::GetLastError());
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "_ScanMngrCreateMutex: GetVersionEx has error");
        return nullptr;
    }
    if (version.dwPlatformId == VER_PLATFORM_WIN32_NT) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "WindowsNT/2k System");
        return _ObtainAccessableMutex(initialOwner, name, lastError);
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "Windows9x System");
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: befor CreateMutex(%s)", name);
    SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE mutex = os::CreateMutexA(&attributes, initialOwner, name);
    *lastError = os::GetLastError();
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: after CreateMutex(%s)", name);
    return mutex;
}

HANDLE Dslr1394Object::_ObtainAccessableMutex(BOOL initialOwner, const char* name, DWORD* lastError)
{
    SECURITY_DESCRIPTOR descriptor = {};
    if (!BuildWorldDescriptor(&descriptor, true)) return nullptr;
    SECURITY_ATTRIBUTES attributes = {sizeof(SECURITY_ATTRIBUTES), &descriptor, FALSE};
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: befor CreateMutex(%s)", name);
    HANDLE mutex = os::CreateMutexA(&attributes, initialOwner, name);
    *lastError = os::GetLastError();
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: after CreateMutex(%s)", name);
    if (mutex == nullptr && !initialOwner) {
        // Another user created it: its descriptor keeps us from creating it
        // again, but it may be opened for waiting.
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: befor OpenMutex(%s)", name);
        os::SetLastError(0);
        mutex = os::OpenMutexA(SYNCHRONIZE, FALSE, name);
        *lastError = os::GetLastError();
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "_ObtainAccessableMutex: after OpenMutex(%s)", name);
    }
    ReleaseWorldDescriptor(&descriptor);
    return mutex;
}
