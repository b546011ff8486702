#include "memory/memory_buffer.h"

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "platform/platform_api.h"

#include <cstring>

DWORD MemoryBuffer::GetBufferSize()
{
    FunctionTrace trace(DBG_TAG_VKRN, "GetBufferSize()");
    return m_bufferSize;
}

BYTE* MemoryBuffer::GetBufferPointer()
{
    FunctionTrace trace(DBG_TAG_VKRN, "GetBufferPointer()");
    return m_bufferPtr;
}

DWORD MemoryBuffer::CreateBuffer(DWORD size)
{
    FunctionTrace trace(DBG_TAG_VKRN, "CreateBuffer()");
    if (size == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateBuffer: Parameter is NULL");
        return vkRNERROR_INVALID_PARAMETER;
    }
    // A buffer already held is freed first rather than lost; one that cannot
    // be freed (it fails its check) stays, and the object keeps it.
    if (m_bufferPtr != nullptr) {
        const DWORD freed = FreeBufferMemory();
        if (freed != vkRN_OK) return freed;
    }
    m_bufferSize = size;
    DWORD result = AllocateAndInitMemory();
    if (result == vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "CreateBuffer: AllocateAndInitMemory was successful");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "CreateBuffer: AllocateAndInitMemory went wrong");
    }
    return result;
}

DWORD MemoryBuffer::AllocateAndInitMemory()
{
    FunctionTrace trace(DBG_TAG_VKRN, "AllocateAndInitMemory()");
    void* allocation = MEM_FitsWithHeader(m_bufferSize)
                           ? os::Malloc(m_bufferSize + sizeof(MEMOBJ_HEADER))
                           : nullptr;
    if (allocation == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "AllocateAndInitMemory: Allocating went wrong");
        return vkRNERROR_OUT_OF_MEMORY;
    }
    m_bufferPtr = static_cast<BYTE*>(MEM_InitHeader(allocation, m_bufferSize));
    std::memset(m_bufferPtr, 0, m_bufferSize);
    return vkRN_OK;
}

DWORD MemoryBuffer::MemoryValid()
{
    FunctionTrace trace(DBG_TAG_VKRN, "MemoryValid()");
    // An empty object has no header to read: its pointer agrees with none.
    const MEMOBJ_HEADER* header = m_bufferPtr != nullptr ? MEM_HeaderOf(m_bufferPtr) : nullptr;
    DWORD result = vkRN_OK;
    if (header == nullptr || header->vMemDataPtr != m_bufferPtr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "MemoryValid: m_bufferPtr and MEMOBJ_HEADER.vMemDataPtr are not in agreement");
        Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE,
                   "MemoryValid: m_bufferPtr(0x%08lx), MEMOBJ_HEADER.vMemDataPtr(0x%08lx)",
                   Dbg_Handle(m_bufferPtr),
                   Dbg_Handle(header != nullptr ? header->vMemDataPtr : nullptr));
        result = vkRNERROR_INVALID_PARAMETER;
    } else {
        Dbg_Printf(
            DBG_TAG_VKRN, DBG_CHECK,
            "MemoryValid: m_bufferPtr and MEMOBJ_HEADER.vMemDataPtr are in agreement(0x%08lx)",
            static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(m_bufferPtr)));
        if (header->dwMemDataSize != m_bufferSize) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                       "MemoryValid: m_bufferSize and MEMOBJ_HEADER.dwMemDataSize are not in "
                       "agreement");
            Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE,
                       "MemoryValid: m_bufferSize(0x%lx), MEMOBJ_HEADER.dwMemDataSize(0x%lx)",
                       static_cast<unsigned long>(m_bufferSize),
                       static_cast<unsigned long>(header->dwMemDataSize));
            result = vkRNERROR_INVALID_PARAMETER;
        } else {
            Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                       "MemoryValid: m_bufferSize and MEMOBJ_HEADER.dwMemDataSize are in "
                       "agreement(0x%lx)",
                       static_cast<unsigned long>(m_bufferSize));
        }
    }
    return result;
}

DWORD MemoryBuffer::FreeBufferMemory()
{
    FunctionTrace trace(DBG_TAG_VKRN, "FreeBufferMemory()");
    DWORD result = vkRN_OK;
    if (m_bufferPtr == nullptr || m_bufferSize == 0) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "FreeBuffer: m_bufferPtr is NULL");
    } else if ((result = MemoryValid()) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "FreeBuffer: MemoryValid() has returned the error");
    } else {
        os::Free(MEM_HeaderOf(m_bufferPtr));
        m_bufferPtr = nullptr;
        m_bufferSize = 0;
    }
    return result;
}

// Each level's destructor frees the buffer itself, so that destroying a
// derived object frees once and the base then finds the object empty.
MemoryBuffer::~MemoryBuffer() { MemoryBuffer::FreeBufferMemory(); }
