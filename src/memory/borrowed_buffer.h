// A message buffer laid over memory its caller owns, so that a reply read
// through the message channel lands straight in that memory: a large read
// is neither allocated (and zeroed) a second time nor copied afterwards.
// The memory is never freed here; a buffer the object creates for itself
// later (CreateBuffer) is its own, and freed as any other.
#pragma once

#include "VKRNQ402.h"
#include "memory/message_buffer.h"

class BorrowedBuffer : public MessageBuffer {
public:
    BorrowedBuffer(BYTE* bytes, DWORD size) : m_borrowed(bytes)
    {
        m_bufferPtr = bytes;
        m_bufferSize = size;
    }
    ~BorrowedBuffer() override { giveBack(); }

    DWORD FreeBufferMemory() override
    {
        return giveBack() ? vkRN_OK : MessageBuffer::FreeBufferMemory();
    }

private:
    bool giveBack()
    {
        if (m_bufferPtr == nullptr || m_bufferPtr != m_borrowed) return false;
        m_bufferPtr = nullptr;
        m_bufferSize = 0;
        return true;
    }

    BYTE* m_borrowed;
};
