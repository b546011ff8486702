// Buffer objects: one zero-filled heap buffer per object, guarded by the same
// header as a tracked block, with the message channel's structures laid over
// it by the subclasses. One object is created for each message, used once and
// deleted.
#pragma once

#include "memory/os_allocated.h"
#include "memory/tracked_memory.h"

class MemoryBuffer : public OsAllocated {
public:
    MemoryBuffer() = default;
    MemoryBuffer(const MemoryBuffer&) = delete;
    MemoryBuffer& operator=(const MemoryBuffer&) = delete;

    virtual DWORD GetBufferSize();
    virtual BYTE* GetBufferPointer();
    virtual DWORD FreeBufferMemory();
    virtual DWORD CreateBuffer(DWORD size);
    virtual ~MemoryBuffer();
    virtual DWORD MemoryValid();
    virtual DWORD AllocateAndInitMemory();

protected:
    DWORD m_bufferSize = 0;
    BYTE* m_bufferPtr = nullptr;
};
