// The still-image driver's pass-through interface: the command block handed
// to DeviceIoControl, its control codes, and the SRB status values. Device
// providers read the same block the library fills.
#pragma once

#include "platform/platform_api.h"
#include "platform/win32_types.h"

constexpr DWORD IOCTL_SCSISCAN_CMD = 0x190012;
constexpr DWORD IOCTL_SCSISCAN_SET_TIMEOUT = 0x19001C;

constexpr DWORD SRB_FLAGS_DATA_IN = 0x40;
constexpr DWORD SRB_FLAGS_DATA_OUT = 0x80;

constexpr BYTE SRB_STATUS_SUCCESS = 0x01;
constexpr BYTE SRB_STATUS_ERROR = 0x04;
constexpr BYTE SRB_STATUS_BUSY = 0x05;
constexpr BYTE SRB_STATUS_INVALID_REQUEST = 0x06;
constexpr BYTE SRB_STATUS_NO_DEVICE = 0x08;
constexpr BYTE SRB_STATUS_BUS_RESET = 0x0E;
constexpr BYTE SRB_STATUS_REQUEST_FLUSHED = 0x16;

constexpr BYTE SCSIOP_REQUEST_SENSE = 0x03;
constexpr BYTE SCSIOP_READ10 = 0x28;
constexpr BYTE SCSIOP_WRITE10 = 0x2A;
constexpr BYTE SCSIOP_READ12 = 0xA8;
constexpr BYTE SCSIOP_WRITE12 = 0xAA;

// 44 bytes on 32-bit systems; the two pointers make it larger on 64-bit
// ones, where Size carries the actual size.
struct SCSISCAN_CMD {
    DWORD Reserved1;
    DWORD Size;
    DWORD SrbFlags;
    BYTE CdbLength;
    BYTE SenseLength;
    BYTE Reserved2;
    BYTE Reserved3;
    DWORD TransferLength;
    BYTE Cdb[16];
    BYTE* pSrbStatus;
    BYTE* pSenseBuffer;
};

// Hands one command block to the driver. Both channels go through here, so
// the block's Size and the input length given with it are always the same
// real size: 44 bytes on 32-bit systems, more where pointers are wider. The
// data buffer is the output buffer for reads and writes alike: the driver
// takes the direction from the block.
inline BOOL ScsiScanSubmit(HANDLE device, SCSISCAN_CMD& block, void* data, DWORD length,
                           OVERLAPPED* overlapped)
{
    block.Size = sizeof(SCSISCAN_CMD);
    return os::DeviceIoControl(device, IOCTL_SCSISCAN_CMD, &block, sizeof(block), data, length,
                               nullptr, overlapped);
}
