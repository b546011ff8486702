// The records the event threads share: the thread-info record both threads
// start with, and a node of the notification queue. Both are tracked blocks.
// Their words are pointer-sized, so that 64-bit builds keep whole pointers;
// on 32-bit systems they are the three 32-bit words the layout describes.
#pragma once

#include "platform/win32_types.h"

#include <cstdint>

#include "object/Dslr1394Object.h"

struct NotifyThreadInfo {
    Dslr1394Object* pObject;
    NotifyEventHandler pfnHandler;
    uintptr_t handlerParam;  // kept for the handler's owner; the threads do not read it
};

struct NotifyQueueNode {
    uintptr_t dwSize;  // the message's tracked size
    BYTE* pMessage;
    NotifyQueueNode* pNext;
};

// The exit flags are single words written by one thread and polled by
// another without a lock; atomic access keeps each read whole and visible.
inline BOOL ReadThreadFlag(const BOOL& flag) { return __atomic_load_n(&flag, __ATOMIC_ACQUIRE); }
inline void WriteThreadFlag(BOOL& flag, BOOL value)
{
    __atomic_store_n(&flag, value, __ATOMIC_RELEASE);
}

// The event record in the sense data's event area: word 1 the event ID,
// word 2 the record's length in bytes including the three header words.
constexpr DWORD kEventAreaSize = 64;
constexpr DWORD kSenseFailureEvent = 0x0004000D;
