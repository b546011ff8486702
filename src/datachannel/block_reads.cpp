// Reads longer than one block, and reads of a reply through the message
// channel instead of the data channel.

#include "log/dbg_log.h"
#include "memory/message_buffer.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

#include <cstring>

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
// result first.
DWORD Dslr1394Object::ScanMngrScsiRead(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "ScanMngrScsiRead()");
    if (read == nullptr || (buffer == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    *read = length;
    if (m_scsiScanMngrPtr == nullptr) return vkRNERROR_PORT_NOT_OPEN;  // Initialize failed
    auto* message = new MessageBuffer;
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "ScanMngrScsiRead: recivedMessagePtr");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = message->CreateBuffer(length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "ScanMngrScsiRead: CreateRecivedMessageBuffer went wrong");
    } else if ((result = m_scsiScanMngrPtr->ReadMessage(message, timeout)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "ScanMngrScsiRead: WriteMessage went wrong");
    } else {
        std::memcpy(buffer, message->GetBufferPointer(), length);
    }
    message->FreeBufferMemory();
    delete message;
    return result;
}
