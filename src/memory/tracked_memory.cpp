#include "memory/tracked_memory.h"

#include "log/function_trace.h"
#include "VKRNQ402.h"
#include "platform/platform_api.h"

#include <cstring>
#include <limits>

bool MEM_FitsWithHeader(DWORD size)
{
    // Only where size_t is no wider than the size itself can the sum wrap.
    if constexpr (sizeof(std::size_t) > sizeof(DWORD)) {
        (void)size;
        return true;
    } else {
        return size <= std::numeric_limits<std::size_t>::max() - sizeof(MEMOBJ_HEADER);
    }
}

void* MEM_InitHeader(void* allocation, DWORD size)
{
    auto* header = static_cast<MEMOBJ_HEADER*>(allocation);
    header->dwMemDataSize = size;
    header->vMemDataPtr = header + 1;
    return header->vMemDataPtr;
}

void* MEM_AllocateMemory(DWORD size)
{
    FunctionTrace trace(DBG_TAG_VKRN, "MEM_AllocateMemory()");
    void* allocation =
        MEM_FitsWithHeader(size) ? os::Calloc(1, size + sizeof(MEMOBJ_HEADER)) : nullptr;
    void* data = nullptr;
    if (allocation == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "MEM_AllocateMemory:  Failed to allocate memory");
    } else {
        data = MEM_InitHeader(allocation, size);
    }
    return data;
}

void* MEM_AllocateAndInitMemory(DWORD size)
{
    FunctionTrace trace(DBG_TAG_VKRN, "MEM_AllocateAndInitMemory()");
    void* allocation =
        MEM_FitsWithHeader(size) ? os::Malloc(size + sizeof(MEMOBJ_HEADER)) : nullptr;
    void* data = nullptr;
    if (allocation == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR,
                   "MEM_AllocateAndInitMemory:  Failed to allocate memory");
    } else {
        data = MEM_InitHeader(allocation, size);
        std::memset(data, 0, size);
    }
    return data;
}

DWORD _MEM_IsMemoryValid(const void* block)
{
    FunctionTrace trace(DBG_TAG_VKRN, "_MEM_IsMemoryValid()");
    DWORD result = vkRN_OK;
    if (block == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "_MEM_IsMemoryValid: specified pointer is Null");
        result = vkRNERROR_INVALID_PARAMETER;
    } else if (MEM_HeaderOf(block)->vMemDataPtr != block) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "_MEM_IsMemoryValid: specified pointer is invalid");
        result = vkRNERROR_INVALID_PARAMETER;
    }
    return result;
}

DWORD MEM_FreeMemory(void* block)
{
    FunctionTrace trace(DBG_TAG_VKRN, "MEM_FreeMemory()");
    DWORD result = _MEM_IsMemoryValid(block);
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "MEM_FreeMemory: Pointer to memory is invalid");
    } else {
        os::Free(MEM_HeaderOf(block));
    }
    return result;
}

DWORD MEM_GetMemorySize(const void* block)
{
    FunctionTrace trace(DBG_TAG_VKRN, "MEM_GetMemorySize()");
    DWORD size = 0;
    if (_MEM_IsMemoryValid(block) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "MEM_GetMemorySize: Pointer to memory is invalid");
    } else {
        size = MEM_HeaderOf(block)->dwMemDataSize;
    }
    return size;
}
