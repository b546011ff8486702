// Command descriptor blocks, the driver's command block, the driver's
// time-out, and the reading of a failed DeviceIoControl.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

#include <cstring>

BYTE g_bySrbStatus = 0;
BYTE g_senseData[21] = {};

namespace {

BYTE highByte(WORD value) { return static_cast<BYTE>(value >> 8); }
BYTE lowByte(WORD value) { return static_cast<BYTE>(value & 0xFF); }

}  // namespace

DWORD ScsiScanManager::Create6byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("Create6byteScsiCDB->"),
                        SSCM_TEXT("Create6byteScsiCDB<-"));
    const BYTE bytes[6] = {operation,
                           0,
                           highByte(m_wTransferID),
                           lowByte(m_wTransferID),
                           static_cast<BYTE>(length & 0xFF),
                           0};
    std::memcpy(cdb, bytes, sizeof(bytes));
    return vkRN_OK;
}

DWORD ScsiScanManager::Create10byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("Create10byteScsiCDB->"),
                        SSCM_TEXT("Create10byteScsiCDB<-"));
    const BYTE bytes[10] = {operation,
                            0,
                            0,
                            0,
                            highByte(m_wTransferID),
                            lowByte(m_wTransferID),
                            0,
                            static_cast<BYTE>((length >> 8) & 0xFF),
                            static_cast<BYTE>(length & 0xFF),
                            0};
    std::memcpy(cdb, bytes, sizeof(bytes));
    return vkRN_OK;
}

DWORD ScsiScanManager::Create12byteScsiCDB(BYTE operation, BYTE* cdb, DWORD length)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("Create12byteScsiCDB->"),
                        SSCM_TEXT("Create12byteScsiCDB<-"));
    const BYTE bytes[12] = {operation,
                            0,
                            0,
                            0,
                            highByte(m_wTransferID),
                            lowByte(m_wTransferID),
                            static_cast<BYTE>(length >> 24),
                            static_cast<BYTE>((length >> 16) & 0xFF),
                            static_cast<BYTE>((length >> 8) & 0xFF),
                            static_cast<BYTE>(length & 0xFF),
                            0,
                            0};
    std::memcpy(cdb, bytes, sizeof(bytes));
    return vkRN_OK;
}

DWORD ScsiScanManager::CreateScsiScanCommand(SCSISCAN_CMD* command, DWORD operation, DWORD length)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CreateScsiScanCommand->"),
                        SSCM_TEXT("CreateScsiScanCommand<-"));
    g_bySrbStatus = 0;
    const auto code = static_cast<BYTE>(operation & 0xFF);
    BYTE cdbLength = 0;
    switch (code) {
        case SCSIOP_REQUEST_SENSE:
            cdbLength = 6;
            break;
        case SCSIOP_READ10:
        case SCSIOP_WRITE10:
            cdbLength = 10;
            break;
        case SCSIOP_READ12:
        case SCSIOP_WRITE12:
            cdbLength = 12;
            break;
        default:
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("CreateScsiScanCommand: scsiOperation is ERROR(0x%lx)"),
                       static_cast<unsigned long>(operation));
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       SSCM_TEXT("CreateScsiScanCommand: ScsiCDB wasn't created"));
            return vkRNERROR_INVALID_PARAMETER;
    }
    auto* cdb = static_cast<BYTE*>(os::Malloc(cdbLength));
    if (cdb == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateScsiScanCommand: Allocating went wrong"));
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateScsiScanCommand: ScsiCDB wasn't created"));
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = cdbLength == 6    ? Create6byteScsiCDB(code, cdb, length)
                   : cdbLength == 10 ? Create10byteScsiCDB(code, cdb, length)
                                     : Create12byteScsiCDB(code, cdb, length);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   SSCM_TEXT("CreateScsiScanCommand: ScsiCDB wasn't created"));
        os::Free(cdb);
        return result;
    }
    const bool sense = code == SCSIOP_REQUEST_SENSE;
    const bool dataOut = code == SCSIOP_WRITE10 || code == SCSIOP_WRITE12;
    command->Reserved1 = 0;
    command->Size = sizeof(SCSISCAN_CMD);
    command->SrbFlags = dataOut ? SRB_FLAGS_DATA_OUT : SRB_FLAGS_DATA_IN;
    command->CdbLength = cdbLength;
    command->SenseLength = sense ? sizeof(g_senseData) : 0;
    command->TransferLength = length;
    std::memcpy(command->Cdb, cdb, cdbLength);
    command->pSrbStatus = &g_bySrbStatus;
    command->pSenseBuffer = sense ? g_senseData : nullptr;
    os::Free(cdb);
    return vkRN_OK;
}

DWORD ScsiScanManager::SetTimeOut(DWORD seconds)
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("SetTimeOut->"), SSCM_TEXT("SetTimeOut<-"));
    DWORD returned = 0;
    if (!os::DeviceIoControl(m_hDevice, IOCTL_SCSISCAN_SET_TIMEOUT, &seconds, sizeof(seconds),
                             nullptr, 0, &returned, nullptr)) {
        return CheckDeviceIoControlResult();
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
               SSCM_TEXT("SetTimeOut: It succeeded in a setup of the timeout value(0x%lx)."),
               static_cast<unsigned long>(seconds));
    return vkRN_OK;
}

DWORD ScsiScanManager::CheckDeviceIoControlResult()
{
    FunctionTrace trace(DBG_TAG_SSCM, SSCM_TEXT("CheckDeviceIoControlResult->"),
                        SSCM_TEXT("CheckDeviceIoControlResult<-"));
    DWORD error = os::GetLastError();
    if (error == ERROR_IO_PENDING) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL,
                   SSCM_TEXT("CheckDeviceIoControlResult: DevIoControl return ERROR_IO_PENDING"));
        return vkRN_OK;
    }
    LPSTR text = nullptr;
    os::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, error, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPSTR>(&text),
        0, nullptr);
    Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
               SSCM_TEXT("CheckDeviceIoControlResult: FAIL, Last Error = %s\n"),
               text != nullptr ? text : "(no text)");
    if (text != nullptr) os::LocalFree(text);
    return vkRNERROR_TRANSFER_FAILED;
}
