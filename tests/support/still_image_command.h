// One still-image command handed to a device through the platform table, as
// the library hands them, with everything the driver writes into.
#pragma once

#include "platform/platform_api.h"
#include "platform/scsiscan.h"

#include <string>
#include <vector>

// A port path opened for overlapped commands, as the library opens it.
HANDLE openStillImageDevice(const std::string& path);

struct StillImageCommand {
    // A 10-byte read or write of `length` bytes from or into a buffer filled
    // with `fill`.
    explicit StillImageCommand(BYTE opcode, DWORD length, BYTE fill = 0);
    ~StillImageCommand();
    StillImageCommand(const StillImageCommand&) = delete;
    StillImageCommand& operator=(const StillImageCommand&) = delete;

    BOOL issue(HANDLE device);
    // Issues the command and waits up to `milliseconds` for its end.
    DWORD run(HANDLE device, DWORD milliseconds = 5000);
    // The command's result once complete: TRUE/FALSE, count, last error.
    BOOL result(HANDLE device, DWORD& count, DWORD& error);

    SCSISCAN_CMD block = {};
    std::vector<BYTE> data;
    BYTE srbStatus = 0xEE;
    HANDLE event;
    OVERLAPPED overlapped = {};
};
