// Opening and closing the message channel's port.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

#include <cstring>

ScsiScanManager::ScsiScanManager()
    : m_portOpenCount(0),
      m_wTransferID(0),
      m_osVersionInfo(),
      m_wEndianType(0),
      m_maxScsiDataSize(0),
      m_hMapFile(INVALID_HANDLE_VALUE),
      m_hOverlappedEvent(INVALID_HANDLE_VALUE),
      m_hAccessMutex(INVALID_HANDLE_VALUE),
      m_hDevice(INVALID_HANDLE_VALUE),
      m_portName()
{
}

bool ScsiScanManager::isNT() const { return m_osVersionInfo.dwPlatformId == VER_PLATFORM_WIN32_NT; }

bool ScsiScanManager::isWindows98() const
{
    return m_osVersionInfo.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS &&
           m_osVersionInfo.dwMajorVersion == 4 && m_osVersionInfo.dwMinorVersion == 10;
}

bool ScsiScanManager::isWindowsMe() const
{
    return m_osVersionInfo.dwPlatformId == VER_PLATFORM_WIN32_WINDOWS &&
           m_osVersionInfo.dwMajorVersion == 4 && m_osVersionInfo.dwMinorVersion == 90;
}

void ScsiScanManager::closeAndInvalidate(HANDLE& handle)
{
    os::CloseHandle(handle);
    handle = INVALID_HANDLE_VALUE;
}

DWORD ScsiScanManager::OpenPort(const char* portName)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("OpenPort->"), SSCM_TEXT("OpenPort<-"));
    // A name that does not fit is refused rather than cut: a cut name could
    // open another device and share another port's mutex and flag.
    if (portName == nullptr || std::strlen(portName) >= kPortNameSize) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("OpenPort: portName is NULL or too long"));
        return vkRNERROR_INVALID_PARAMETER;
    }
    std::memset(m_portName, 0, sizeof(m_portName));
    std::strcpy(m_portName, portName);

    m_osVersionInfo.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
    if (!os::GetVersionExA(&m_osVersionInfo)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("OpenPort: GetVersionEx went wrong"));
        return vkRNERROR_TRANSFER_FAILED;
    }
    DWORD result = CreateDeviceHandle();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("OpenPort: CreateDeviceHandle went wrong"));
        return result;
    }
    result = CreateMutexHandle();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("OpenPort: CreateMutexHandle went wrong"));
        closeAndInvalidate(m_hDevice);
        return result;
    }
    result = CreateoverlappedEventHandle();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("OpenPort: CreateoverlappedEventHandle went wrong"));
        closeAndInvalidate(m_hDevice);
        closeAndInvalidate(m_hAccessMutex);
        return result;
    }
    result = CreateMapFileHandle();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("OpenPort: CreateMapFileHandle went wrong"));
        closeAndInvalidate(m_hDevice);
        closeAndInvalidate(m_hAccessMutex);
        closeAndInvalidate(m_hOverlappedEvent);
        return result;
    }
    ++m_portOpenCount;
    return vkRN_OK;
}

DWORD ScsiScanManager::ClosePort()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ClosePort->"), SSCM_TEXT("ClosePort<-"));
    if (m_portOpenCount == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ClosePort: The Port is not open"));
        return vkRNERROR_PORT_NOT_OPEN;
    }
    if (m_portOpenCount > 1) {
        --m_portOpenCount;
        return vkRN_OK;
    }
    DWORD result = WaitForMutexObject(30000);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ClosePort: WaitForMutexObject went wrong"));
        return result;
    }
    os::SetLastError(0);
    if (CheckDeviceHandle() == vkRN_OK) {
        os::CloseHandle(m_hDevice);
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("ClosePort: CloseHandle(m_hDevice,ErrorCode:0x%lx)"),
                   static_cast<unsigned long>(os::GetLastError()));
    }
    os::ReleaseMutex(m_hAccessMutex);
    os::CloseHandle(m_hAccessMutex);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("ClosePort: CloseHandle(m_hAccessMutex,ErrorCode:0x%lx)"),
               static_cast<unsigned long>(os::GetLastError()));
    os::CloseHandle(m_hOverlappedEvent);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("ClosePort: CloseHandle(m_hOverlappedEvent,ErrorCode:0x%lx)"),
               static_cast<unsigned long>(os::GetLastError()));
    os::CloseHandle(m_hMapFile);
    result = os::GetLastError();
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("ClosePort: CloseHandle(m_hMapFileErrorCode:0x%lx)"),
               static_cast<unsigned long>(result));
    m_hDevice = m_hAccessMutex = m_hOverlappedEvent = m_hMapFile = INVALID_HANDLE_VALUE;
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ClosePort: All Handles were closed"));
    m_portOpenCount = 0;
    return result;
}

// Closes whatever is still open, without waiting for the mutex.
ScsiScanManager::~ScsiScanManager()
{
    if (m_portOpenCount != 0) {
        if (CheckDeviceHandle() == vkRN_OK && m_hDevice != INVALID_HANDLE_VALUE) {
            os::CloseHandle(m_hDevice);
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                       SSCM_TEXT("~ScsiScanManager: CloseHandle(m_hDevice,ErrorCode:0x%lx)"),
                       static_cast<unsigned long>(os::GetLastError()));
        }
        os::ReleaseMutex(m_hAccessMutex);
    }
    // With the port closed only a mapping whose first flag write failed can
    // still be held; it is closed here too so that no handle outlives us.
    struct Owned {
        HANDLE& handle;
        const char* text;
    };
    const Owned owned[] = {
        {m_hAccessMutex,
         SSCM_TEXT("~ScsiScanManager: CloseHandle(m_hAccessMutex,ErrorCode:0x%lx)")},
        {m_hOverlappedEvent,
         SSCM_TEXT("~ScsiScanManager: CloseHandle(m_hOverlappedEvent,ErrorCode:0x%lx)")},
        {m_hMapFile, SSCM_TEXT("~ScsiScanManager: CloseHandle(m_hMapFile,ErrorCode:0x%lx)")},
    };
    for (const Owned& each : owned) {
        if (each.handle == INVALID_HANDLE_VALUE) continue;
        os::CloseHandle(each.handle);
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, each.text,
                   static_cast<unsigned long>(os::GetLastError()));
    }
    m_hDevice = m_hAccessMutex = m_hOverlappedEvent = m_hMapFile = INVALID_HANDLE_VALUE;
}
