// A message of the message channel: messageType and length (32-bit, host
// order), then length data bytes.
#pragma once

#include "memory/memory_buffer.h"

constexpr DWORD kMessageHeaderSize = 8;

class MessageBuffer : public MemoryBuffer {
public:
    ~MessageBuffer() override;
    virtual BYTE* GetDataPointer();
    virtual DWORD CheckRecivedMessage(DWORD messageType, DWORD length);
    virtual DWORD CreateRecivedMessageBuffer(DWORD length);
    virtual DWORD CreateTransferMessage(DWORD messageType, const BYTE* data, DWORD length);
};
