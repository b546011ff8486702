// The command loop shared by the block read and the block write: commands
// for the remaining bytes until all have moved, a partial completion
// continued at the advanced position, busy devices asked again, all within
// the caller's time-out and under the data-channel mutex.

#include "datachannel/block_transfer.h"

#include "datachannel/utl_mutex.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/busy_backoff.h"
#include "platform/platform_api.h"
#include "platform/scsiscan.h"

#include "VKRNQ402.h"

namespace {

constexpr DWORD kTransferMutexTimeout = 30000;

bool repeatsWithoutData(BYTE status)
{
    return status == SRB_STATUS_ERROR || status == SRB_STATUS_BUSY ||
           status == SRB_STATUS_BUS_RESET;
}

void logStatus(const TransferTexts& texts, BYTE status)
{
    if (status == SRB_STATUS_BUS_RESET) Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.busReset);
    if (status == SRB_STATUS_BUSY) Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.busy);
    if (status == SRB_STATUS_NO_DEVICE) Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.noDevice);
}

void logReadLength(DWORD remaining, BYTE status)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
               "Input Length Error in _ScanMngrScsiRead(). dwInputLength(0x%lx) bySrbStatus(0x%lx)",
               static_cast<unsigned long>(remaining), static_cast<unsigned long>(status));
}

void logWriteLength(DWORD remaining, BYTE)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
               "Output Length Error in ScanMngrScsiWrite(). dwOutputLength(0x%lx)",
               static_cast<unsigned long>(remaining));
}

const TransferTexts kReadTexts = {
    "SendMsgTime = %d(ms) in _ScanMngrScsiRead()",
    "_ScanMngrScsiRead: SRB_STATUS_BUS_RESET",
    "_ScanMngrScsiRead: SRB_STATUS_BUSY",
    "_ScanMngrScsiRead: SRB_STATUS_NO_DEVICE",
    "_ScanMngrWaitForAndCheckOverlappedResult has Error(0x%lx) in _ScanMngrScsiRead()",
    "bySrbStatus is SRB_STATUS_REQUEST_FLUSHED in _ScanMngrScsiRead()",
    true,
    true,
    {nullptr, "bNoDeviceFlagPtr is NULL in _ScanMngrScsiRead()", nullptr,
     "UnmapViewOfFile sccess in _ScanMngrScsiRead()",
     "UnmapViewOfFile has error in _ScanMngrScsiRead()"},
    logReadLength,
};

const TransferTexts kWriteTexts = {
    "SendMsgTime = %d(ms) in ScanMngrScsiWrite()",
    "ScanMngrScsiWrite: SRB_STATUS_BUS_RESET",
    "ScanMngrScsiWrite: SRB_STATUS_BUSY",
    "ScanMngrScsiWrite: SRB_STATUS_NO_DEVICE",
    "_ScanMngrWaitForAndCheckOverlappedResult has Error(0x%lx) in ScanMngrScsiWrite()",
    "bySrbStatus is SRB_STATUS_REQUEST_FLUSHED in ScanMngrScsiWrite()",
    false,
    false,
    {nullptr, "bNoDeviceFlagPtr is NULL in ScanMngrScsiWrite()", nullptr,
     "UnmapViewOfFile sccess in ScanMngrScsiWrite()",
     "UnmapViewOfFile has error in ScanMngrScsiWrite()"},
    logWriteLength,
};

}  // namespace

DWORD Dslr1394Object::transferBlocks(BYTE operation, BYTE* buffer, DWORD length, DWORD* count,
                                     DWORD timeout, DWORD startTick, OVERLAPPED* overlapped,
                                     const TransferTexts& texts)
{
    BYTE srbStatus = 0;
    DWORD latest = 0;
    DWORD remaining = length;
    BYTE* position = buffer;
    BusyBackoff backoff;
    while (remaining != 0) {
        if (texts.progressLines) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL,
                       "dwRemainLength(0x%lx) dwReadLengthRefPtr(0x%lx) => (0x%lx) "
                       "byTempBufferPtr(0x%lx)",
                       static_cast<unsigned long>(remaining), Dbg_Handle(count),
                       static_cast<unsigned long>(*count), Dbg_Handle(position));
        }
        if (os::GetTickCount() - startTick > timeout) {
            *count = 0;
            return vkRNERROR_TRANSFER_FAILED;
        }
        const BOOL submitted = operation == SCSIOP_READ12 || operation == SCSIOP_WRITE12
                                   ? _ScanMngrScsiOperation12(operation, m_wTransferID, position,
                                                              remaining, &srbStatus, overlapped)
                                   : _ScanMngrScsiOperation10(operation, m_wTransferID, position,
                                                              remaining, &srbStatus, overlapped);
        const DWORD waited = _ScanMngrWaitForAndCheckOverlappedResult(
            submitted, m_hDevice, overlapped, &srbStatus, &latest, timeout);
        Dbg_Printf(DBG_TAG_SSCM, DBG_TIME, texts.sendTime,
                   static_cast<int>(os::GetTickCount() - startTick));
        logStatus(texts, srbStatus);
        if (waited != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, texts.waitError,
                       static_cast<unsigned long>(waited));
            return waited;
        }
        if (latest > remaining) latest = remaining;  // never past the caller's buffer
        if (latest > 0) {
            *count += latest;
            position += latest;
            remaining -= latest;
            backoff.reset();
        } else if (repeatsWithoutData(srbStatus)) {
            // The time-out check of the next pass bounds the repeats.
            backoff.pause(startTick, timeout);
        } else if (srbStatus == SRB_STATUS_REQUEST_FLUSHED) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.flushed);
            if (!(texts.skipReportOnFlush && (Dbg_GetLogLevel() & DBGFLAG_NO_READ_NODEVICE)))
                reportNoDevice(texts.report);
            return vkRNERROR_TRANSFER_FAILED;
        } else {
            texts.lengthError(remaining, srbStatus);
            return vkRN_OK;
        }
    }
    return vkRN_OK;
}

DWORD Dslr1394Object::_ScanMngrScsiRead(BYTE* buffer, DWORD length, DWORD* read, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrScsiRead");
    if (read == nullptr || (buffer == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    const DWORD startTick = os::GetTickCount();
    *read = 0;
    DWORD result = _ScanMngrIsDeviceValid();
    if (result != vkRN_OK) return result;
    if (length > m_dwSizeOfMaxScsiData) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "Out Of DataLength. DataLength over 0xFF00 in _ScanMngrScsiRead()");
        return vkRNERROR_TRANSFER_FAILED;
    }
    os::Sleep(0);
    if (!Utl_WaitForMutexObject(m_hDeviceAccessMutex, kTransferMutexTimeout)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "Utl_WaitForMutexObject return Error in _ScanMngrScsiRead()");
        return vkRN_OK;  // nothing read: the caller's length check reports it
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "1.vBufferPtr(0x%lx) dwReadLengthRefPtr(0x%lx)",
               Dbg_Handle(buffer), Dbg_Handle(read));
    OVERLAPPED overlapped;
    _ScanMngrCreateOverlappedEvent(&overlapped, TRUE);
    const BYTE operation = (Dbg_GetLogLevel() & (DBGFLAG_READ12 | DBGFLAG_READ12_BLOCKWISE))
                               ? SCSIOP_READ12
                               : SCSIOP_READ10;
    result = transferBlocks(operation, buffer, length, read, timeout, startTick, &overlapped,
                            kReadTexts);
    Utl_CloseHandle(&overlapped.hEvent);
    Dbg_Printf(
        DBG_TAG_SSCM, DBG_DETAIL,
        "dwRemainLength(0x%lx) dwReadLengthRefPtr(0x%lx) => (0x%lx) byTempBufferPtr(0x%lx) in "
        "_ScanMngrScsiRead()",
        static_cast<unsigned long>(length - *read), Dbg_Handle(read),
        static_cast<unsigned long>(*read), Dbg_Handle(buffer + *read));
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "2.vBufferPtr(0x%lx) dwReadLengthRefPtr(0x%lx)",
               Dbg_Handle(buffer), Dbg_Handle(read));
    Utl_ReleaseMutexObject(m_hDeviceAccessMutex);
    return result;
}

DWORD Dslr1394Object::ScanMngrScsiWrite(const BYTE* data, DWORD length, DWORD* written,
                                        DWORD timeout)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrScsiWrite");
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_hDevice(0x%lx) in ScanMngrScsiWrite()",
               Dbg_Handle(m_hDevice));
    if (written == nullptr || (data == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    *written = 0;
    DWORD result = _ScanMngrIsDeviceValid();
    if (result != vkRN_OK) return result;
    OVERLAPPED overlapped;
    _ScanMngrCreateOverlappedEvent(&overlapped, TRUE);
    os::Sleep(0);
    if (!Utl_WaitForMutexObject(m_hDeviceAccessMutex, kTransferMutexTimeout)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "Utl_WaitForMutexObject return Error in _ScanMngrScsiWrite()");
        Utl_CloseHandle(&overlapped.hEvent);
        return vkRN_OK;
    }
    const DWORD startTick = os::GetTickCount();
    // The driver only reads a write's buffer.
    result = transferBlocks(SCSIOP_WRITE10, const_cast<BYTE*>(data), length, written, timeout,
                            startTick, &overlapped, kWriteTexts);
    Utl_ReleaseMutexObject(m_hDeviceAccessMutex);
    Utl_CloseHandle(&overlapped.hEvent);
    return result;
}
