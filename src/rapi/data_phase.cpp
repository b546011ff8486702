// Data phases: the bytes a reply announced, read after it; and a framed
// block written on the data channel with its framed reply.

#include "rapi/rapi_messages.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

constexpr DWORD kDirectoryListing = 0x2120000B;

DWORD DS1394_GetData(Dslr1394Object* object, BYTE* buffer, DWORD length, DWORD timeout,
                     DWORD command, BOOL direct)
{
    const DWORD flags = Dbg_GetLogLevel();
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "DS1394_GetData");
    if (object == nullptr || (buffer == nullptr && length != 0)) return vkRNERROR_INVALID_PARAMETER;
    BYTE* frame = nullptr;
    DWORD total = length;
    if (!direct) {
        frame = Utl_AllocateDS1394Message(length, &total);
        if (frame == nullptr) {
            Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                       "DS1394_GetData: vRx1394MessagePtr is NULL(alloc error)");
            return vkRNERROR_OUT_OF_MEMORY;
        }
    }
    if (!(command & kDataFromCamera)) {
        Utl_Free1394Message(frame);
        return vkRNERROR_NO_DATA_PHASE;
    }
    const DWORD start = os::GetTickCount();
    BYTE* target = frame != nullptr ? frame : buffer;
    DWORD read = 0;
    const bool blockwise = (flags & DBGFLAG_READ12_BLOCKWISE) != 0;
    const DWORD readResult = blockwise
                                 ? object->ScanMngrScsiReadDirect(target, total, &read, timeout)
                                 : object->ScanMngrScsiRead(target, total, &read, timeout);
    if (readResult != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   blockwise ? "DS1394_GetData: ScanMngrReadDataDirect timeout"
                             : "DS1394_GetData: ScanMngrReadData timeout");
        Utl_Free1394Message(frame);
        return vkRNERROR_TRANSFER_FAILED;
    }
    DWORD result = vkRN_OK;
    if (read != total) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "DS1394_GetData: dwReadLength(0x%lx) != dwRxMsgTotalLength(0x%lx)",
                   static_cast<unsigned long>(read), static_cast<unsigned long>(total));
        result = vkRNERROR_TRANSFER_FAILED;
    } else if (frame != nullptr) {
        Utl_GetRemoteAPIMessage(frame, buffer, length);
    } else if (command == kDirectoryListing && !object->Utl_SwapBufferData(buffer, length)) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "DS1394_GetData: Utl_SwapBufferData has error");
        result = vkRNERROR_TRANSFER_FAILED;
    }
    Utl_Free1394Message(frame);
    Dbg_Printf(DBG_TAG_DSCS, DBG_DATA, "DS1394_GetData: ReadData Time=%ld(ms) Size=%ld(bytes)",
               static_cast<long>(os::GetTickCount() - start), static_cast<long>(total));
    return result;
}

DWORD DS1394_PutData(Dslr1394Object* object, const BYTE* data, DWORD length, BYTE* reply,
                     DWORD replyLength, DWORD timeout)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "DS1394_PutData");
    if (object == nullptr || (data == nullptr && length != 0) ||
        (reply == nullptr && replyLength != 0))
        return vkRNERROR_INVALID_PARAMETER;
    DWORD requestTotal = 0, replyTotal = 0;
    BYTE* request = Utl_CreateDS1394Message(data, length, kDs1394Message, 0, &requestTotal);
    if (request == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "vTx1394Message is NULL(alloc error) in DS1394_PutData()");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    BYTE* answer = Utl_AllocateDS1394Message(replyLength, &replyTotal);
    if (answer == nullptr) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "vRx1394Message is NULL(alloc error) in DS1394_PutData()");
        Utl_Free1394Message(request);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    DWORD result = vkRN_OK;
    DWORD moved = 0;
    if (object->ScanMngrScsiWrite(request, requestTotal, &moved, timeout) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "ScanMngrScsiWrite timeout in DS1394_PutData()");
        result = vkRNERROR_TRANSFER_FAILED;
    } else if (moved != requestTotal) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "dwWrittenLength(0x%lx) != dwTxMsgTotalLength(0x%lx) in DS1394_PutData()",
                   static_cast<unsigned long>(moved), static_cast<unsigned long>(requestTotal));
        result = vkRNERROR_TRANSFER_FAILED;
    } else if (object->ScanMngrScsiRead(answer, replyTotal, &moved, timeout) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "ScanMngrScsiRead timeout in DS1394_PutData()");
        result = vkRNERROR_TRANSFER_FAILED;
    } else if (moved != replyTotal) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "dwReadLength(0x%lx) != dwRxMsgTotalLength(0x%lx) in DS1394_PutData()",
                   static_cast<unsigned long>(moved), static_cast<unsigned long>(replyTotal));
        result = vkRNERROR_TRANSFER_FAILED;
    } else {
        Utl_GetRemoteAPIMessage(answer, reply, replyLength);
    }
    Utl_Free1394Message(request);
    Utl_Free1394Message(answer);
    return result;
}
