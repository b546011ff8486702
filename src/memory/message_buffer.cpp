#include "memory/message_buffer.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"

#include <cstring>

namespace {

// A length whose message would not fit a 32-bit size cannot be described on
// the channel; refusing it keeps the header arithmetic from wrapping.
bool fitsWithHeader(DWORD length, DWORD headerSize) { return length <= 0xFFFFFFFFu - headerSize; }

}  // namespace

MessageBuffer::~MessageBuffer() { MemoryBuffer::FreeBufferMemory(); }

BYTE* MessageBuffer::GetDataPointer()
{
    FunctionTrace trace(DBG_TAG_VKRN, "GetDataPointer()");
    BYTE* buffer = GetBufferPointer();
    if (buffer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "GetDataPoingter: GetBufferPointer went wrong");
    }
    return buffer == nullptr ? nullptr : buffer + kMessageHeaderSize;
}

DWORD MessageBuffer::CheckRecivedMessage(DWORD messageType, DWORD length)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CheckRecivedMessage()");
    DWORD result = vkRN_OK;
    BYTE* buffer = GetBufferPointer();
    DWORD receivedType = 0;
    DWORD receivedLength = 0;
    if (buffer != nullptr) {
        std::memcpy(&receivedType, buffer, 4);
        std::memcpy(&receivedLength, buffer + 4, 4);
    }
    if (buffer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "CheckRecivedMessage: GetBufferPointer went wrong");
        result = vkRNERROR_OUT_OF_MEMORY;
    } else if (receivedType != messageType) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "CheckRecivedMessage: messageType was not in agreement");
        result = vkRNERROR_INVALID_PARAMETER;
    } else if (receivedLength != length) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "CheckRecivedMessage: length was not in agreement(0x%lx,0x%lx)",
                   static_cast<unsigned long>(length), static_cast<unsigned long>(receivedLength));
        result = vkRNERROR_INVALID_PARAMETER;
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                   "CheckRecivedMessage: Both messageType and length were in agreement");
    }
    return result;
}

DWORD MessageBuffer::CreateRecivedMessageBuffer(DWORD length)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CreateRecivedMessageBuffer()");
    DWORD result = fitsWithHeader(length, kMessageHeaderSize)
                       ? CreateBuffer(length + kMessageHeaderSize)
                       : vkRNERROR_INVALID_PARAMETER;
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                   "CreateRecivedMessageBuffer: CreateBuffer was successful");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateRecivedMessageBuffer: CreateBuffer went wrong");
    }
    return result;
}

DWORD MessageBuffer::CreateTransferMessage(DWORD messageType, const BYTE* data, DWORD length)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CreateTransferMessage()");
    // Data that is not there cannot be copied; the message would carry
    // whatever the caller's null pointer stands for.
    DWORD result = (fitsWithHeader(length, kMessageHeaderSize) && (data != nullptr || length == 0))
                       ? CreateBuffer(length + kMessageHeaderSize)
                       : vkRNERROR_INVALID_PARAMETER;
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateTransferMessage: CreateBuffer went wrong");
        return result;
    }
    BYTE* buffer = GetBufferPointer();
    if (buffer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateTransferMessage: GetBufferPointer went wrong");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    std::memcpy(buffer, &messageType, 4);
    std::memcpy(buffer + 4, &length, 4);
    if (length != 0) std::memcpy(buffer + kMessageHeaderSize, data, length);
    return vkRN_OK;
}
