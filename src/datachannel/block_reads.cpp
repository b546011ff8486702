// Reads longer than one block, and reads of a reply through the message
// channel instead of the data channel.

#include "log/dbg_log.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

namespace {

DWORD blockFailed(DWORD result)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
               "ScanMngrScsiReadDirect: _ScanMngrScsiRead has error(0x%lx)",
               static_cast<unsigned long>(result));
    return result;
}

}  // namespace

DWORD Dslr1394Object::ScanMngrScsiReadDirect(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrScsiReadDirect(dwDataLength<0x%lx>)",
               static_cast<unsigned long>(length));
    if (read == nullptr || (buffer == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    *read = 0;
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "ScanMngrScsiReadDirect: m_dwSizeOfMaxScsiData(0x%lx)",
               static_cast<unsigned long>(m_dwSizeOfMaxScsiData));
    const DWORD block = length < m_dwSizeOfMaxScsiData ? length : m_dwSizeOfMaxScsiData;
    const DWORD startTick = os::GetTickCount();
    BYTE* position = buffer;
    DWORD remaining = length;
    while (remaining > m_dwSizeOfMaxScsiData) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "ScanMngrScsiReadDirect: dwDataLength(0x%lx)",
                   static_cast<unsigned long>(remaining));
        DWORD count = 0;
        const DWORD result = _ScanMngrScsiRead(position, block, &count, timeout);
        if (result != vkRN_OK) return blockFailed(result);
        // A block that moved nothing (the mutex not had, or the device
        // answering with no data) is asked for again, but only within the
        // caller's time-out.
        if (count == 0 && os::GetTickCount() - startTick > timeout)
            return vkRNERROR_TRANSFER_FAILED;
        position += count;
        remaining -= count;
        *read += count;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "ScanMngrScsiReadDirect: Last ReadBlockLength(0x%lx)",
               static_cast<unsigned long>(remaining));
    DWORD count = 0;
    const DWORD result = _ScanMngrScsiRead(position, remaining, &count, timeout);
    if (result != vkRN_OK) return blockFailed(result);
    *read += count;
    if (count < remaining) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrScsiReadDirect: ReadData TotalLength error. dwDataLength(0x%lx)",
                   static_cast<unsigned long>(remaining - count));
        return vkRNERROR_TRANSFER_FAILED;
    }
    return vkRN_OK;
}

// The count is reported as the length on every path: callers look at the
// result first. The bytes go straight into the caller's buffer; after a
// failure its content is undefined.
DWORD Dslr1394Object::ScanMngrScsiRead(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "ScanMngrScsiRead()");
    if (read == nullptr || (buffer == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    *read = length;
    if (m_scsiScanMngrPtr == nullptr) return vkRNERROR_PORT_NOT_OPEN;  // Initialize failed
    if (length == 0) return vkRNERROR_INVALID_PARAMETER;  // a read of nothing is no read
    const DWORD result = m_scsiScanMngrPtr->ReadInto(buffer, length, timeout);
    if (result != vkRN_OK)
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "ScanMngrScsiRead: WriteMessage went wrong");
    return result;
}
