#include "memory/sense_message.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"

namespace {

constexpr int kSenseKeyByte = 2;
constexpr int kAscByte = 12;
constexpr int kAscqByte = 13;

}  // namespace

SenseMessage::~SenseMessage() { MemoryBuffer::FreeBufferMemory(); }

BYTE* SenseMessage::GetDataPointer()
{
    FunctionTrace trace(DBG_TAG_VKRN, "GetDataPointer()");
    BYTE* buffer = GetBufferPointer();
    if (buffer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "GetDataPoingter: GetBufferPointer went wrong");
    }
    return buffer == nullptr ? nullptr : buffer + kSenseDataSize;
}

BYTE SenseMessage::CheckSenseMessage(BYTE senseKey, BYTE additionalSenseCode)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CheckSenseMessage()");
    BYTE qualifier = 0;
    BYTE* buffer = GetBufferPointer();
    // A buffer shorter than the fixed sense data cannot be read as one.
    if (buffer == nullptr || m_bufferSize < kSenseDataSize) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "CheckSenseMessage: GetBufferPointer went wrong");
    } else if ((buffer[kSenseKeyByte] & 0x0F) == senseKey &&
               buffer[kAscByte] == additionalSenseCode) {
        qualifier = buffer[kAscqByte];
    }
    return qualifier;
}

DWORD SenseMessage::CreateSenseMessageBuffer(DWORD length)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CreateSenseMessageBuffer()");
    DWORD result = length <= 0xFFFFFFFFu - kSenseDataSize ? CreateBuffer(length + kSenseDataSize)
                                                          : vkRNERROR_INVALID_PARAMETER;
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                   "CreateSenseMessageBuffer: CreateBuffer was successful");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateSenseMessageBuffer: CreateBuffer went wrong");
    }
    return result;
}
