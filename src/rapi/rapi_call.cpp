#include "rapi/rapi_call.h"

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"

#include <cstring>

DWORD Rapi_Exchange(Dslr1394Object* object, const RapiCommand& command, const BYTE* request,
                    DWORD refConst, void* record, DWORD recordSize, const RapiCallTexts& texts,
                    bool clearRecord, bool* sendFailed)
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
        if (clearRecord && record != nullptr) std::memset(record, 0, recordSize);
        result = _GetDataFromMessage(object, record, reply, command.reply, refConst, recordSize);
        if (result != vkRN_OK && texts.replyFailed != nullptr) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.replyFailed,
                       static_cast<unsigned long>(result));
        }
    }
    MEM_FreeMemory(reply);
    return result;
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
