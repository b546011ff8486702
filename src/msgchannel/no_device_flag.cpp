// The no-device flag every process on a port shares (1: the device may be
// used, 0: it is gone or the channel is stopping), and the Windows 98 probe.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

#include <cstring>

DWORD ScsiScanManager::WriteMapFile(DWORD value)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("WriteMapFile->"), SSCM_TEXT("WriteMapFile<-"));
    void* view = os::MapViewOfFile(m_hMapFile, FILE_MAP_WRITE, 0, 0, 0);
    if (view == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("WriteMapFile: MapViewOfFile went wrong"));
        return vkRNERROR_OUT_OF_MEMORY;
    }
    std::memcpy(view, &value, sizeof(value));
    if (!os::UnmapViewOfFile(view)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("WriteMapFile: UnmapViewOfFile went wrong"));
        return vkRNERROR_TRANSFER_FAILED;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("WriteMapFile: Set noDeviceFlag to MapFile(%d)"),
               static_cast<int>(value));
    return vkRN_OK;
}

// Returns the flag itself; 0 stands for "gone", "stopped" and "unreadable"
// alike, and every caller treats it as the device being gone.
DWORD ScsiScanManager::ReadMapFile()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ReadMapFile->"), SSCM_TEXT("ReadMapFile<-"));
    const void* view = os::MapViewOfFile(m_hMapFile, FILE_MAP_READ, 0, 0, 0);
    if (view == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadMapFile: MapViewOfFile went wrong"));
        return 0;
    }
    DWORD flag = 0;
    std::memcpy(&flag, view, sizeof(flag));
    if (!os::UnmapViewOfFile(view)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ReadMapFile: UnmapViewOfFile went wrong"));
        return 0;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ReadMapFile: Get noDeviceFlag to MapFile(%d)"),
               static_cast<int>(flag));
    return flag;
}

// Only Windows 98 loses a device without failing the handle, so only there
// is the path opened again to see whether the device is still attached.
DWORD ScsiScanManager::CheckDeviceHandle()
{
    if (!isWindows98()) return vkRN_OK;
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CheckDeviceHandle->"),
                        SSCM_TEXT("CheckDeviceHandle<-"));
    HANDLE probe = openDevicePath();
    if (probe == INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("CheckDeviceHandle: A handle is already invalid"));
        return vkRNERROR_DEVICE_NOT_AVAILABLE;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("CheckDeviceHandle: A handle is still effective"));
    os::CloseHandle(probe);
    return vkRN_OK;
}
