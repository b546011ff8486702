// One data-channel READ or WRITE: its CDB and command block, handed to the
// driver on the data-channel handle.

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"
#include "platform/scsiscan.h"

namespace {

SCSISCAN_CMD commandBlock(BYTE cdbLength, bool dataIn, DWORD length, BYTE* srbStatus)
{
    SCSISCAN_CMD block = {};
    block.SrbFlags = dataIn ? SRB_FLAGS_DATA_IN : SRB_FLAGS_DATA_OUT;
    block.CdbLength = cdbLength;
    block.TransferLength = length;
    block.pSrbStatus = srbStatus;
    return block;
}

// The address bytes carry the transfer ID; the length is a count of bytes.
void putAddress(BYTE* cdb, WORD address)
{
    cdb[4] = static_cast<BYTE>(address >> 8);
    cdb[5] = static_cast<BYTE>(address);
}

}  // namespace

BOOL Dslr1394Object::_ScanMngrScsiOperation10(BYTE operation, WORD address, BYTE* buffer,
                                              DWORD length, BYTE* srbStatus, OVERLAPPED* overlapped)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrScsiOperation10");
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "_ScanMngrScsiOperation10 DataSize = (0x%lx)",
               static_cast<unsigned long>(length));
    SCSISCAN_CMD block = commandBlock(10, operation == SCSIOP_READ10, length, srbStatus);
    block.Cdb[0] = operation;
    putAddress(block.Cdb, address);
    block.Cdb[7] = static_cast<BYTE>(length >> 8);
    block.Cdb[8] = static_cast<BYTE>(length);
    if (m_hDevice == INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "m_hDevice is INVALID_HANDLE in _ScanMngrScsiOperation10()");
        os::SetLastError(ERROR_INVALID_HANDLE);  // not a stale "pending" for the caller's check
        return FALSE;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
               "befor DeviceIoControl(m_hDevice(0x%lx)) in _ScanMngrScsiOperation10()",
               Dbg_Handle(m_hDevice));
    return ScsiScanSubmit(m_hDevice, block, buffer, length, overlapped);
}

BOOL Dslr1394Object::_ScanMngrScsiOperation12(BYTE operation, WORD address, BYTE* buffer,
                                              DWORD length, BYTE* srbStatus, OVERLAPPED* overlapped)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "_ScanMngrScsiOperation12(dwDataSize<0x%lx>)",
               static_cast<unsigned long>(length));
    if (operation != SCSIOP_READ12 && operation != SCSIOP_WRITE12) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "_ScanMngrScsiOperation12: unknown operation. byScsiOperation(0x%lx)",
                   static_cast<unsigned long>(operation));
        os::SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    SCSISCAN_CMD block = commandBlock(12, operation == SCSIOP_READ12, length, srbStatus);
    block.Cdb[0] = operation;
    putAddress(block.Cdb, address);
    for (int i = 0; i < 4; ++i) block.Cdb[6 + i] = static_cast<BYTE>(length >> (24 - 8 * i));
    if (m_hDevice == INVALID_HANDLE_VALUE) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "_ScanMngrScsiOperation12: m_hDevice is INVALID_HANDLE");
        os::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
               "_ScanMngrScsiOperation12: befor DeviceIoControl(m_hDevice<0x%lx>)",
               Dbg_Handle(m_hDevice));
    return ScsiScanSubmit(m_hDevice, block, buffer, length, overlapped);
}

namespace {

// The tick of the latest reset; nothing reads it back.
DWORD g_referenceTick = 0;

}  // namespace

void Dslr1394Object::ScanMngrResetTimer()
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrResetTimer");
    __atomic_store_n(&g_referenceTick, os::GetTickCount(), __ATOMIC_RELAXED);
}
