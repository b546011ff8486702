// One logical transfer of the message channel as a sequence of SCSI
// commands: chunks of at most the negotiated block size, partial completions
// continued at the advanced position, busy devices asked again, all within
// one time budget.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/busy_backoff.h"
#include "platform/platform_api.h"

namespace {

// The length fields of the 6- and 10-byte CDBs hold 8 and 16 bits. Longer
// commands cannot be described, so a longer part is sent as several commands.
DWORD describableLength(DWORD operation, DWORD wanted)
{
    DWORD limit = 0xFFFFFFFFu;
    switch (operation & 0xFF) {
        case SCSIOP_REQUEST_SENSE:
            limit = 0xFF;
            break;
        case SCSIOP_READ10:
        case SCSIOP_WRITE10:
            limit = 0xFFFF;
            break;
        default:
            break;
    }
    return wanted < limit ? wanted : limit;
}

bool repeatsWithoutData(BYTE status)
{
    return status == SRB_STATUS_ERROR || status == SRB_STATUS_BUSY ||
           status == SRB_STATUS_BUS_RESET;
}

}  // namespace

DWORD ScsiScanManager::runCommand(DWORD operation, BYTE* position, DWORD remaining, DWORD timeout,
                                  DWORD& transferred)
{
    transferred = 0;
    const DWORD length = describableLength(operation, remaining);
    SCSISCAN_CMD block = {};
    DWORD result = CreateScsiScanCommand(&block, operation, length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ScsiScanSequence: CreateScsiScanCommand went wrong"));
        return result;
    }
    OVERLAPPED overlapped = {};
    overlapped.hEvent = m_hOverlappedEvent;
    if (!ScsiScanSubmit(m_hDevice, block, position, length, &overlapped) &&
        (result = CheckDeviceIoControlResult()) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ScsiScanSequence: CheckDeviceIoControlResult went wrong"));
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ScsiScanSequence: DeviceIoContrl went wrong"));
    } else if ((result = WaitForOverlappedObject(timeout)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("ScsiScanSequence: WaitForOverlappedObject went wrong"));
        // The driver may still write into the buffer, the block and the
        // record: take the command back and let it finish before they go.
        DWORD ignored = 0;
        os::CancelIo(m_hDevice);
        os::GetOverlappedResult(m_hDevice, &overlapped, &ignored, TRUE);
    } else {
        Dbg_Dump(DBG_TAG_SSCM, "sendData", position, length);
        DWORD count = 0;
        if (!os::GetOverlappedResult(m_hDevice, &overlapped, &count, FALSE)) {
            Dbg_Printf(
                DBG_TAG_SSCM, DBG_ERROR,
                SSCM_TEXT("ScsiScanSequence: GetOverlappedResult went wrong(ErrorCode:0x%lx)"),
                static_cast<unsigned long>(os::GetLastError()));
            result = vkRNERROR_DEVICE_NOT_AVAILABLE;
        } else if (count > length) {
            // More than was asked for cannot have landed in the buffer.
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("ScsiScanSequence: Completion size 0x%lx exceeds 0x%lx"),
                       static_cast<unsigned long>(count), static_cast<unsigned long>(length));
            result = vkRNERROR_TRANSFER_FAILED;
        } else if (count > 0 || repeatsWithoutData(g_bySrbStatus)) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                       SSCM_TEXT("ScsiScanSequence: Completion size is 0x%lx"),
                       static_cast<unsigned long>(count));
            transferred = count;
        } else if (g_bySrbStatus == SRB_STATUS_REQUEST_FLUSHED) {
            result = vkRNERROR_DEVICE_NOT_AVAILABLE;
        } else {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("ScsiScanSequence: SrbStatus Error(0x%lx)"),
                       static_cast<unsigned long>(g_bySrbStatus));
            result = vkRNERROR_TRANSFER_FAILED;
        }
    }
    os::ResetEvent(m_hOverlappedEvent);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, SSCM_TEXT("ScsiScanSequence: ResetEvent"));
    return result;
}

DWORD ScsiScanManager::ScsiScanSequence(DWORD operation, BYTE* data, DWORD size, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("ScsiScanSequence->"),
                        SSCM_TEXT("ScsiScanSequence<-"));
    const DWORD start = os::GetTickCount();
    if (size == 0) return vkRN_OK;
    if (data == nullptr)
        return vkRNERROR_INVALID_PARAMETER;  // nothing to move the bytes from or to

    DWORD result = vkRN_OK;
    BYTE* position = data;
    BusyBackoff backoff;
    while (size > 0 && result == vkRN_OK) {
        const DWORD chunk =
            (m_maxScsiDataSize != 0 && size > m_maxScsiDataSize) ? m_maxScsiDataSize : size;
        DWORD remaining = chunk;
        while (remaining > 0 && result == vkRN_OK) {
            if (os::GetTickCount() - start > timeout) {
                Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ScsiScanSequence: TimeOut Error"));
                result = vkRNERROR_TRANSFER_FAILED;
                break;
            }
            DWORD transferred = 0;
            result = runCommand(operation, position, remaining, timeout, transferred);
            // Nothing moved and no failure: the device asked to be asked again.
            if (result == vkRN_OK && transferred == 0) backoff.pause(start, timeout);
            if (transferred > 0) backoff.reset();
            position += transferred;
            remaining -= transferred;
        }
        if (result != vkRN_OK) break;
        size -= chunk;
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   SSCM_TEXT("ScsiScanSequence: Remaining Message Size(0x%lx)"),
                   static_cast<unsigned long>(size));
    }
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, SSCM_TEXT("ScsiScanSequence: Transmission went wrong"));
        // A lost device stops every process's traffic on this port.
        if (result == vkRNERROR_DEVICE_NOT_AVAILABLE && WriteMapFile(0) != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("ScsiScanSequence: WriteMapFile went wrong"));
        }
    }
    return result;
}
