// Every Remote API command the library sends, as data in one place: request
// and reply codes, the transport command number, the reply record size and
// the time-out.
#pragma once

#include "platform/win32_types.h"

#include <cstddef>

struct RapiCommand {
    DWORD request;
    DWORD reply;  // 0 when no reply is read or checked
    DWORD transport;
    DWORD recordSize;  // kRecordSizeOfCaller: the operation's record size decides
    DWORD timeout;     // milliseconds
    const char* operation;
};

constexpr DWORD kRecordSizeOfCaller = 0xFFFFFFFFu;
constexpr DWORD kDefaultRapiTimeout = 10000;

// The command of this request code, or null.
const RapiCommand* Rapi_FindCommand(DWORD request);
const RapiCommand* Rapi_Commands(std::size_t* count);
