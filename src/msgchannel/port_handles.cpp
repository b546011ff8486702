// The four resources of an open port. Each creator does nothing when its
// handle is already valid, so opening an open port only counts up.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

HANDLE ScsiScanManager::openDevicePath() const
{
    return os::CreateFileA(m_portName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_OVERLAPPED, nullptr);
}

DWORD ScsiScanManager::CreateDeviceHandle()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateDeviceHandle->"),
                        SSCM_TEXT("CreateDeviceHandle<-"));
    if (m_hDevice != INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CreateDeviceHandle: m_hDevice already has Handle(0x%lx)"),
                   Dbg_Handle(m_hDevice));
        return vkRN_OK;
    }
    if (m_portName[0] == '\0' || m_portName[1] == '\0') {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateDeviceHandle: m_portName doesn't have a portName"));
        return vkRNERROR_INVALID_PARAMETER;
    }
    HANDLE device = openDevicePath();
    if (device == INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateDeviceHandle: A handle was not able to be taken"));
        return vkRNERROR_DEVICE_NOT_AVAILABLE;
    }
    m_hDevice = device;
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("CreateDeviceHandle: A handle was able to be taken(0x%lx)"),
               Dbg_Handle(m_hDevice));
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateMutexHandle()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMutexHandle->"),
                        SSCM_TEXT("CreateMutexHandle<-"));
    if (m_hAccessMutex != INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CreateMutexHandle: m_hAccessMutex already has Handle(0x%lx)"),
                   Dbg_Handle(m_hAccessMutex));
        return vkRN_OK;
    }
    char name[kPortNameSize] = {};
    DWORD result = CreateMutexObjectName(name);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateMutexHandle: CreateMutexObjectName went wrong"));
        return result;
    }
    SECURITY_ATTRIBUTES attributes = {};
    SECURITY_DESCRIPTOR descriptor = {};
    result = CreateMutexHandleAttributes(&attributes, &descriptor);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateMutexHandle: CreateMutexAttributes went wrong"));
        return result;
    }
    HANDLE mutex = os::CreateMutexA(&attributes, FALSE, name);
    ReleaseWorldDescriptor(&descriptor);
    if (mutex == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("CreateMutexHandle: CreateMutex went wrong"));
        // Another process's descriptor denies the full access CreateMutex asks
        // for; waiting on the mutex needs no more than SYNCHRONIZE.
        if (isNT()) {
            mutex = os::OpenMutexA(SYNCHRONIZE, FALSE, name);
            if (mutex != nullptr) {
                Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                           SSCM_TEXT("CreateMutexHandle: OpenMutex was successful(0x%lx)"),
                           Dbg_Handle(mutex));
            } else {
                Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                           SSCM_TEXT("CreateMutexHandle: OpenMutex went wrong"));
            }
        }
        if (mutex == nullptr) {
            DWORD error = os::GetLastError();
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("CreateMutexHandle: LastError(0x%lx)"),
                       static_cast<unsigned long>(error));
            // A failure must never read as success, even without a system code.
            return error != 0 ? error : vkRNERROR_TRANSFER_FAILED;
        }
    }
    m_hAccessMutex = mutex;
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("CreateMutexHandle: m_hAccessMutex(0x%lx)"),
               Dbg_Handle(m_hAccessMutex));
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateoverlappedEventHandle()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateoverlappedHandle->"),
                        SSCM_TEXT("CreateoverlappedHandle<-"));
    if (m_hOverlappedEvent != INVALID_HANDLE_VALUE) {
        Dbg_Printf(
            DBG_TAG_SSCM, DBG_CHECK,
            SSCM_TEXT("CreateoverlappedEventHandle: m_hOverlappedEvent already has Handle(0x%lx)"),
            Dbg_Handle(m_hOverlappedEvent));
        return vkRN_OK;
    }
    HANDLE event = os::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateoverlappedEventHandle: CreateEvent went wrong"));
        return vkRNERROR_TRANSFER_FAILED;
    }
    m_hOverlappedEvent = event;
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("CreateoverlappedEventHandle: m_hOverlappedEvent(0x%lx)"),
               Dbg_Handle(m_hOverlappedEvent));
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateMapFileHandle()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateMapFileHandle->"),
                        SSCM_TEXT("CreateMapFileHandle<-"));
    if (m_hMapFile != INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CreateMapFileHandle: m_hMapFile already has Handle(0x%lx)"),
                   Dbg_Handle(m_hMapFile));
        return vkRN_OK;
    }
    char name[kPortNameSize] = {};
    DWORD result = CreateMapFileObjectName(name);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateMapFileHandle: CreateMapFileObjectName went wrong"));
        return result;
    }
    SECURITY_ATTRIBUTES attributes = {};
    SECURITY_DESCRIPTOR descriptor = {};
    if (isNT()) CreateMapFileHandleAttributes(&attributes, &descriptor);
    HANDLE mapping = os::CreateFileMappingA(INVALID_HANDLE_VALUE, isNT() ? &attributes : nullptr,
                                            PAGE_READWRITE, 0, sizeof(DWORD), name);
    ReleaseWorldDescriptor(&descriptor);
    if (mapping == nullptr) {
        DWORD error = os::GetLastError();
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateMapFileHandle: CreateFileMapping went wrong(0x%lx)"),
                   static_cast<unsigned long>(error));
        return error != 0 ? error : vkRNERROR_TRANSFER_FAILED;
    }
    m_hMapFile = mapping;
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("CreateMapFileHandle: m_hMapFile(0x%lx)"),
               Dbg_Handle(m_hMapFile));
    result = WriteMapFile(1);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateMapFileHandle: WriteMapFile went wrong"));
        return result;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("CreateMapFileHandle: WriteMapFile was success"));
    return vkRN_OK;
}
