// What distinguishes a block read from a block write inside their common
// command loop: the texts they log and the no-device report they make.
#pragma once

#include "datachannel/no_device_report.h"

#include "platform/win32_types.h"

struct TransferTexts {
    const char* sendTime;  // "SendMsgTime = %d(ms) in ..."
    const char* busReset;
    const char* busy;
    const char* noDevice;
    const char* waitError;  // with the result
    const char* flushed;
    bool progressLines;      // the read's level-15 progress lines
    bool skipReportOnFlush;  // the read's debug-flag exception
    NoDeviceReportTexts report;
    // The line for a command that moved nothing with an unexpected status.
    void (*lengthError)(DWORD remaining, BYTE srbStatus);
};
