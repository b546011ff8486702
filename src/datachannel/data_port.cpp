// The data channel's device handle: a second handle to the port, opened and
// closed under the data-channel mutex.

#include "datachannel/utl_mutex.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

#include <cstring>

namespace {

constexpr DWORD kPortMutexTimeout = 30000;

}  // namespace

DWORD Dslr1394Object::ScanMngrOpenPort(const char* portName)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrOpenPort()");
    // The path is kept in a 32-byte member: a longer one is refused rather
    // than cut, since a cut path could name another device.
    if (portName == nullptr || std::strlen(portName) >= sizeof(m_portName))
        return vkRNERROR_INVALID_PARAMETER;
    DWORD result = Utl_CreateMutexObject(portName);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrOpenPort: Utl_CreateMutexObject has Error(0x%lx)",
                   static_cast<unsigned long>(result));
        return result;
    }
    if (!Utl_WaitForMutexObject(m_hDeviceAccessMutex, kPortMutexTimeout)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrOpenPort: Utl_WaitForMutexObject return Error");
        return vkRNERROR_TRANSFER_FAILED;
    }
    result = _ScanMngrOpenPort(portName);
    Utl_ReleaseMutexObject(m_hDeviceAccessMutex);
    return result;
}

DWORD Dslr1394Object::_ScanMngrOpenPort(const char* portName)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrOpenPort");
    if (portName == nullptr || std::strlen(portName) >= sizeof(m_portName))
        return vkRNERROR_INVALID_PARAMETER;
    std::memset(m_portName, 0, sizeof(m_portName));
    std::memcpy(m_portName, portName, std::strlen(portName));
    Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE, "m_hDevice(0x%lx) INVALID_HADLE_VALUE(0x%lx)",
               Dbg_Handle(m_hDevice), 0xFFFFFFFFul);
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "befor CreateFileA(%s) in _ScanMngrOpenPort()",
               m_portName);
    // Opening is not counted and the new handle replaces the old one. A
    // handle left open by an earlier open is closed rather than lost, quietly,
    // since the replacement is the ordinary course of a second open.
    if (isValidHandle(m_hDevice)) os::CloseHandle(m_hDevice);
    os::SetLastError(0);
    m_hDevice = os::CreateFileA(m_portName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OVERLAPPED, nullptr);
    const DWORD error = os::GetLastError();
    DWORD result = vkRN_OK;
    if (m_hDevice == INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "after CreateFile(%s) Failed in _ScanMngrOpenPort()",
                   portName);
        result = vkRNERROR_DEVICE_NOT_AVAILABLE;
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
                   "_ScanMngrOpenPort: after CreateFileA(%s) m_hDevice(0x%lx)", m_portName,
                   Dbg_Handle(m_hDevice));
    }
    Dbg_PrintErrorString(DBG_TAG_SSCM, error);
    return result;
}

DWORD Dslr1394Object::ScanMngrClosePort()
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrClosePort");
    if (!Utl_WaitForMutexObject(m_hDeviceAccessMutex, kPortMutexTimeout)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrClosePort: Utl_WaitForMutexObject return Error");
        return vkRNERROR_TRANSFER_FAILED;
    }
    const DWORD result = _ScanMngrClosePort();
    Utl_ReleaseMutexObject(m_hDeviceAccessMutex);
    return result;
}

DWORD Dslr1394Object::_ScanMngrClosePort()
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrClosePort");
    Utl_CloseHandle(&m_hDevice);
    return vkRN_OK;
}

DWORD Dslr1394Object::ScanMngrCloseMapFile()
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrCloseMapFile");
    Utl_CloseHandle(&m_hMapFile);
    m_hMapFile = nullptr;
    return vkRN_OK;
}

void Dslr1394Object::Utl_CloseMapFile()
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_CloseMapFile");
    ScanMngrCloseMapFile();
}
