// Requests and reply buffers in tracked blocks.

#include "rapi/rapi_messages.h"

#include "log/dbg_log.h"
#include "memory/tracked_memory.h"

#include <cstring>

BYTE* WINAPI _CreateRemoteAPIMessage(DWORD kind, const void* params, DWORD paramSize,
                                     DWORD messageID, DWORD refConst)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_CreateRemoteAPIMessage()");
    if (paramSize != 0 && params == nullptr) {
        Dbg_Printf(
            DBG_TAG_VKRN, DBG_ERROR,
            "_CreateRemoteAPIMessage: invalid parameter. vParamPtr is NULL. but dwParamSize(0x%lx)",
            static_cast<unsigned long>(paramSize));
        return nullptr;
    }
    // A size that would wrap with the header is no request at all.
    auto* request =
        paramSize <= 0xFFFFFFFFu - kRapiRequestHeader
            ? static_cast<BYTE*>(MEM_AllocateAndInitMemory(kRapiRequestHeader + paramSize))
            : nullptr;
    if (request == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "_CreateRemoteAPIMessage: TxMsgPtr is NULL(alloc failed)");
        return nullptr;
    }
    if (paramSize != 0) std::memcpy(request + kRapiRequestHeader, params, paramSize);
    const RAPI_REQ header = {kind, messageID, kRapiRequestHeader + paramSize, refConst};
    std::memcpy(request, &header, sizeof(header));
    return request;
}

namespace {

BYTE* allocateReply(DWORD recordSize, DWORD* totalSize)
{
    BYTE* reply = recordSize <= 0xFFFFFFFFu - kRapiReplyHeader
                      ? static_cast<BYTE*>(MEM_AllocateAndInitMemory(recordSize + kRapiReplyHeader))
                      : nullptr;
    if (totalSize != nullptr) *totalSize = reply != nullptr ? recordSize + kRapiReplyHeader : 0;
    return reply;
}

}  // namespace

BYTE* _AllocReceiveMessageBuffer(DWORD recordSize, DWORD* totalSize)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_AllocReceiveMessageBuffer");
    return allocateReply(recordSize, totalSize);
}

BYTE* _AllocRxMsgBuffer(DWORD recordSize, DWORD* totalSize)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "_AllocRxMsgBuffer");
    return allocateReply(recordSize, totalSize);
}
