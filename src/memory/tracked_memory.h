// Tracked memory blocks: zero-filled data areas preceded by a header that
// records their size and their own address, so that any layer can ask for the
// size of a block it was handed and foreign pointers are refused.
#pragma once

#include "platform/win32_types.h"

#include <cstdint>

struct MEMOBJ_HEADER {
    DWORD dwMemDataSize;  // size of the data area in bytes, as requested
    void* vMemDataPtr;    // address of the data area, just after this header
};

void* MEM_AllocateMemory(DWORD size);
void* MEM_AllocateAndInitMemory(DWORD size);
DWORD MEM_FreeMemory(void* block);
DWORD _MEM_IsMemoryValid(const void* block);
DWORD MEM_GetMemorySize(const void* block);

// Whether a data area of this size plus its header can be allocated at all
// (on 32-bit systems the sum can wrap around).
bool MEM_FitsWithHeader(DWORD size);
// Writes the header at the start of a fresh allocation and returns the data
// area behind it.
void* MEM_InitHeader(void* allocation, DWORD size);

// The header in front of a data area. Only meaningful for pointers that
// passed _MEM_IsMemoryValid or that the caller allocated itself.
inline MEMOBJ_HEADER* MEM_HeaderOf(const void* data)
{
    return reinterpret_cast<MEMOBJ_HEADER*>(const_cast<char*>(static_cast<const char*>(data)) -
                                            sizeof(MEMOBJ_HEADER));
}
