// The buffer of a REQUEST SENSE: 20 bytes of fixed-format sense data, then
// the payload (an event record).
#pragma once

#include "memory/memory_buffer.h"

constexpr DWORD kSenseDataSize = 20;

class SenseMessage : public MemoryBuffer {
public:
    ~SenseMessage() override;
    virtual BYTE* GetDataPointer();
    virtual BYTE CheckSenseMessage(BYTE senseKey, BYTE additionalSenseCode);
    virtual DWORD CreateSenseMessageBuffer(DWORD length);
};
