#include "rapi/rapi_call.h"

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"

#include <cstring>
#include <functional>

namespace {

// Reply allocated, request sent, the reply handed to `takeReply` unless the
// transport failed or the command has no reply, reply freed.
DWORD exchange(Dslr1394Object* object, const RapiCommand& command, const BYTE* request,
               DWORD recordSize, const RapiCallTexts& texts, bool* sendFailed,
               const std::function<DWORD(const BYTE* reply)>& takeReply)
{
    if (sendFailed != nullptr) *sendFailed = false;
    DWORD replySize = 0;
    BYTE* reply = _AllocReceiveMessageBuffer(recordSize, &replySize);
    if (reply == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", texts.replyNotAllocated);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result =
        dsl1394SendRemoteAPICommand(object, command.transport, 0, request,
                                    MEM_GetMemorySize(request), reply, replySize, command.timeout);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.sendFailed, static_cast<unsigned long>(result));
        if (sendFailed != nullptr) *sendFailed = true;
    } else if (command.transport != kNoReplyTransport) {
        // A request sent with the no-reply number has no reply to check.
        result = takeReply(reply);
        if (result != vkRN_OK && texts.replyFailed != nullptr) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.replyFailed,
                       static_cast<unsigned long>(result));
        }
    }
    MEM_FreeMemory(reply);
    return result;
}

}  // namespace

DWORD Rapi_Exchange(Dslr1394Object* object, const RapiCommand& command, const BYTE* request,
                    DWORD refConst, void* record, DWORD recordSize, const RapiCallTexts& texts,
                    bool clearRecord, bool* sendFailed)
{
    return exchange(object, command, request, recordSize, texts, sendFailed,
                    [&](const BYTE* reply) {
                        if (clearRecord && record != nullptr) std::memset(record, 0, recordSize);
                        return _GetDataFromMessage(object, record, reply, command.reply, refConst,
                                                   recordSize);
                    });
}

DWORD Rapi_ExchangeIntoNewBlock(Dslr1394Object* object, const RapiCommand& command,
                                const BYTE* request, DWORD refConst, BYTE** record,
                                DWORD recordSize, const RapiCallTexts& texts,
                                const char* recordNotAllocated)
{
    *record = nullptr;
    return exchange(object, command, request, recordSize, texts, nullptr, [&](const BYTE* reply) {
        *record = static_cast<BYTE*>(MEM_AllocateAndInitMemory(recordSize));
        if (*record == nullptr) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", recordNotAllocated);
            return static_cast<DWORD>(vkRNERROR_OUT_OF_MEMORY);
        }
        return _GetDataFromMessage(object, *record, reply, command.reply, refConst, recordSize);
    });
}

DWORD Rapi_Call(Dslr1394Object* object, const RapiCommand& command, const void* params,
                DWORD paramSize, void* record, DWORD recordSize, const RapiCallTexts& texts,
                bool clearRecord)
{
    const DWORD refConst = Rapi_NewRefConst();
    BYTE* request =
        _CreateRemoteAPIMessage(kRapiKindCommand, params, paramSize, command.request, refConst);
    if (request == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", texts.requestNotAllocated);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    const DWORD result =
        Rapi_Exchange(object, command, request, refConst, record, recordSize, texts, clearRecord);
    MEM_FreeMemory(request);
    return result;
}
