// One Remote API exchange over the message channel: the request framed and
// written, the reply frame read into the caller's reply block.

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "memory/message_buffer.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

// Message objects are released on every path.
void release(MessageBuffer* message)
{
    message->FreeBufferMemory();
    delete message;
}

}  // namespace

DWORD dsl1394SendRemoteAPICommand(Dslr1394Object* object, DWORD transport, DWORD,
                                  const BYTE* request, DWORD requestSize, BYTE* reply,
                                  DWORD replySize, DWORD timeout)
{
    FunctionTrace trace(DBG_TAG_DSCS, "dsl1394SendRemoteAPICommand()");
    if (object == nullptr) return vkRNERROR_INVALID_PARAMETER;
    object->ScanMngrResetTimer();
    const DWORD result = DS1394_SendMessageNonStream(object, transport, request, requestSize, reply,
                                                     replySize, timeout);
    object->ScanMngrResetTimer();
    return result;
}

DWORD DS1394_SendMessageNonStream(Dslr1394Object* object, DWORD transport, const BYTE* request,
                                  DWORD requestSize, BYTE* reply, DWORD replySize, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "DS1394_SendMessageNonStream()");
    if (object == nullptr || object->m_scsiScanMngrPtr == nullptr ||
        (reply == nullptr && replySize != 0 && transport != kNoReplyTransport))
        return vkRNERROR_INVALID_PARAMETER;
    ScsiScanManager* channel = object->m_scsiScanMngrPtr;
    auto* outgoing = new MessageBuffer;
    if (outgoing == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "DS1394_SendMessageNonStream: tranferMessagePtr");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = outgoing->CreateTransferMessage(kDs1394Message, request, requestSize);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "DS1394_SendMessageNonStream: CreateTranferMessage went wrong");
        release(outgoing);
        return result;
    }
    result = channel->WriteMessage(outgoing, timeout);
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK,
                   "DS1394_SendMessageNonStream: WriteMessage was successful");
    } else {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "DS1394_SendMessageNonStream: WriteMessage went wrong");
    }
    release(outgoing);
    if (result != vkRN_OK || transport == kNoReplyTransport) return result;

    auto* incoming = new MessageBuffer;
    if (incoming == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "DS1394_SendMessageNonStream: recivedMessagePtr");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    result = incoming->CreateRecivedMessageBuffer(replySize);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "DS1394_SendMessageNonStream: CreateRecivedMessageBuffer went wrong");
    } else if ((result = channel->ReadMessage(incoming, timeout)) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "DS1394_SendMessageNonStream: ReadMessage went wrong");
    } else if (replySize != 0) {
        std::memcpy(reply, incoming->GetDataPointer(), replySize);
    }
    release(incoming);
    return result;
}
