// Whether a reply answers its request: the camera's error word first, then
// the reply code, then the reference constant.

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

// The commands whose reply announces data that follows: the record's first
// word is its length.
bool announcesData(DWORD replyID)
{
    return replyID == 0x21200001 || replyID == 0x2120000B || replyID == 0x2120000E ||
           replyID == 0x22200026;
}

struct CheckTexts {
    const char* sizeOut;
    const char* cameraError;
    const char* wrongID;
    const char* wrongRefConst;
};

const CheckTexts kMessageTexts = {
    "Message size is out of range in _GetDataFromMessage()",
    "RemoteAPI ErrorCode(0x%lx) from Device in _GetDataFromMessage()",
    "MessageID is different from Device in _GetDataFromMessage(). ReturnID(0x%lx) SendID(0x%lx)",
    "RefConst is different from Device in _GetDataFromMessage(). ReturnRefConst(0x%lx) "
    "SendRefConst(0x%lx)"};

const CheckTexts kRxTexts = {
    "Message size is out of range in _GetDataFromRxMessage()",
    "RemoteAPI ErrorCode(0x%lx) from Device in _GetDataFromRxMessage()",
    "MessageID is different from Device in _GetDataFromRxMessage(). ReturnID(0x%lx) SendID(0x%lx)",
    "RefConst is different from Device in _GetDataFromRxMessage(). ReturnRefConst(0x%lx) "
    "SendRefConst(0x%lx)"};

struct Checked {
    DWORD result = vkRN_OK;
    DWORD command = 0;
    DWORD status = 0;
    DWORD announced = 0;
};

// A reply block larger than a header and the expected record says the camera
// sent more than was asked for. A smaller one is not refused, but it is never
// read past: one that cannot hold a header counts as out of range, and a
// record cut short is copied as far as it goes, the rest of the caller's
// record zeroed.
Checked check(void* record, const BYTE* reply, DWORD expectedID, DWORD refConst, DWORD recordSize,
              bool mapCameraError, const CheckTexts& texts)
{
    Checked checked;
    const DWORD size = reply != nullptr ? MEM_GetMemorySize(reply) : 0;
    if (reply == nullptr || recordSize > 0xFFFFFFFFu - kRapiReplyHeader ||
        size > recordSize + kRapiReplyHeader || size < kRapiReplyHeader) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", texts.sizeOut);
        Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "dwMsgSize(0x%lx) dwParamSize(0x%lx) RAPI_HED(0x%lx)",
                   static_cast<unsigned long>(size), static_cast<unsigned long>(recordSize),
                   static_cast<unsigned long>(kRapiReplyHeader));
        checked.result = vkRNERROR_OUT_OF_MEMORY;
        return checked;
    }
    const DWORD held = size - kRapiReplyHeader;
    RAPI_HED header;
    std::memcpy(&header, reply, sizeof(header));
    checked.command = header.dwMessageID;
    checked.status = header.dwErrorCode;
    if (header.dwErrorCode != 0) {
        checked.result =
            mapCameraError ? ((header.dwErrorCode & 0xFFFF) | 0x02000000u) : header.dwErrorCode;
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.cameraError,
                   static_cast<unsigned long>(checked.result));
    } else if (header.dwMessageID != expectedID) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.wrongID,
                   static_cast<unsigned long>(header.dwMessageID),
                   static_cast<unsigned long>(expectedID));
        checked.result = vkRNERROR_INVALID_PARAMETER;
    } else if (header.dwRefConst != refConst) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, texts.wrongRefConst,
                   static_cast<unsigned long>(header.dwRefConst),
                   static_cast<unsigned long>(refConst));
        checked.result = vkRNERROR_INVALID_PARAMETER;
    } else if (record != nullptr) {
        std::memcpy(record, reply + kRapiReplyHeader, held);
        std::memset(static_cast<BYTE*>(record) + held, 0, recordSize - held);
        if (announcesData(header.dwMessageID) && held >= 4)
            std::memcpy(&checked.announced, reply + kRapiReplyHeader, 4);
    }
    return checked;
}

}  // namespace

DWORD _GetDataFromMessage(Dslr1394Object* object, void* record, const BYTE* reply, DWORD expectedID,
                          DWORD refConst, DWORD recordSize)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_GetDataFromMessage");
    const Checked checked =
        check(record, reply, expectedID, refConst, recordSize, true, kMessageTexts);
    if (object != nullptr)
        object->m_lastRapi = {checked.command, checked.status, checked.announced};
    return checked.result;
}

DWORD _GetDataFromRxMessage(void* record, const BYTE* reply, DWORD expectedID, DWORD refConst,
                            DWORD recordSize)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_GetDataFromRxMessage");
    return check(record, reply, expectedID, refConst, recordSize, false, kRxTexts).result;
}
