// One whole Remote API command as most operations issue it: request built,
// sent, reply checked against the request, blocks freed.
#pragma once

#include "rapi/command_table.h"

class Dslr1394Object;

// The failure lines of the calling operation, each with a "%lx" for the code
// where it has one. replyFailed may be null: the reply check's own line is
// then the only one.
struct RapiCallTexts {
    const char* requestNotAllocated;
    const char* replyNotAllocated;
    const char* sendFailed;
    const char* replyFailed;
};

// When the camera has answered, clearRecord empties the caller's record
// before the reply is checked, so that a refused reply leaves zeros rather
// than the record's old content.
DWORD Rapi_Call(Dslr1394Object* object, const RapiCommand& command, const void* params,
                DWORD paramSize, void* record, DWORD recordSize, const RapiCallTexts& texts,
                bool clearRecord = false);

// The same for a request the operation assembled itself in a tracked block
// (header included, `refConst` in its header): reply allocated, request sent,
// reply checked, reply freed. The request stays the caller's. `sendFailed`,
// when given, says whether the transport failed (rather than the reply
// check), for operations that answer the two differently.
DWORD Rapi_Exchange(Dslr1394Object* object, const RapiCommand& command, const BYTE* request,
                    DWORD refConst, void* record, DWORD recordSize, const RapiCallTexts& texts,
                    bool clearRecord = false, bool* sendFailed = nullptr);

// The same, with the reply's data taken into a tracked block of recordSize
// bytes that is allocated only once the camera has answered (the caller frees
// it). Operations that have always allocated it after sending keep doing so:
// their allocation failures then come after the request has gone. Its failure
// writes recordNotAllocated (and replyFailed, where one is given).
DWORD Rapi_ExchangeIntoNewBlock(Dslr1394Object* object, const RapiCommand& command,
                                const BYTE* request, DWORD refConst, BYTE** record,
                                DWORD recordSize, const RapiCallTexts& texts,
                                const char* recordNotAllocated);
