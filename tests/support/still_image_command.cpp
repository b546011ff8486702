#include "support/still_image_command.h"

HANDLE openStillImageDevice(const std::string& path)
{
    return os::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                           FILE_FLAG_OVERLAPPED, nullptr);
}

StillImageCommand::StillImageCommand(BYTE opcode, DWORD length, BYTE fill)
    : data(length, fill), event(os::CreateEventA(nullptr, TRUE, FALSE, nullptr))
{
    block.Size = sizeof(block);
    block.SrbFlags = opcode == SCSIOP_WRITE10 ? SRB_FLAGS_DATA_OUT : SRB_FLAGS_DATA_IN;
    block.CdbLength = 10;
    block.TransferLength = length;
    block.Cdb[0] = opcode;
    block.Cdb[7] = static_cast<BYTE>(length >> 8);
    block.Cdb[8] = static_cast<BYTE>(length);
    block.pSrbStatus = &srbStatus;
    overlapped.hEvent = event;
}

StillImageCommand::~StillImageCommand() { os::CloseHandle(event); }

BOOL StillImageCommand::issue(HANDLE device)
{
    return os::DeviceIoControl(device, IOCTL_SCSISCAN_CMD, &block, sizeof(block), data.data(),
                               static_cast<DWORD>(data.size()), nullptr, &overlapped);
}

DWORD StillImageCommand::run(HANDLE device, DWORD milliseconds)
{
    issue(device);
    return os::WaitForSingleObject(event, milliseconds);
}

BOOL StillImageCommand::result(HANDLE device, DWORD& count, DWORD& error)
{
    BOOL done = os::GetOverlappedResult(device, &overlapped, &count, TRUE);
    error = done ? 0 : os::GetLastError();
    return done;
}
