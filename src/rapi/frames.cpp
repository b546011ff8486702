// DS1394 frames (type, length, payload) in tracked blocks, for the data
// channel.

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"

#include <cstring>

namespace {

BYTE* allocateFrame(DWORD length)
{
    return length <= 0xFFFFFFFFu - kFrameHeader
               ? static_cast<BYTE*>(MEM_AllocateAndInitMemory(length + kFrameHeader))
               : nullptr;
}

}  // namespace

BYTE* Utl_CreateDS1394Message(const BYTE* data, DWORD length, DWORD messageType, DWORD,
                              DWORD* totalSize)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "Utl_CreateDS1394Message");
    if (totalSize != nullptr) *totalSize = 0;
    if (data == nullptr && messageType == 0) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "Utl_CreateDS1394Message: pSendMessage is NULL");
        return nullptr;
    }
    BYTE* frame = allocateFrame(length);
    if (frame == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   data != nullptr ? "Utl_CreateDS1394Message: MEM_AllocMemory Error"
                                   : "Utl_CreateDS1394Message: pBuffer is NULL(alloc error)");
        return nullptr;
    }
    std::memcpy(frame, &messageType, 4);
    std::memcpy(frame + 4, &length, 4);
    if (data != nullptr && length != 0) std::memcpy(frame + kFrameHeader, data, length);
    if (totalSize != nullptr) *totalSize = length + kFrameHeader;
    return frame;
}

BYTE* Utl_AllocateDS1394Message(DWORD length, DWORD* totalSize)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "Utl_AllocateDS1394Message");
    BYTE* frame = allocateFrame(length);
    if (frame == nullptr)
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "Utl_AllocateDS1394Message: pBuffer is NULL(alloc error)");
    if (totalSize != nullptr) *totalSize = frame != nullptr ? length + kFrameHeader : 0;
    return frame;
}

void Utl_GetRemoteAPIMessage(const BYTE* frame, BYTE* buffer, DWORD length)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "Utl_GetRemoteAPIMessage");
    if (frame != nullptr && buffer != nullptr && length != 0)
        std::memcpy(buffer, frame + kFrameHeader, length);
}

void Utl_Free1394Message(BYTE* frame)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "Utl_Free1394Message");
    if (frame != nullptr && MEM_FreeMemory(frame) != vkRN_OK)
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "Utl_Free1394Message: Unable to free memory");
}
