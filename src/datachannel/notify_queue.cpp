// The notification queue: first in, first out, unbounded, guarded by
// m_csNotifyQueue, which is held only while a node is linked or unlinked.

#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

void Dslr1394Object::_NotifyQueueAppend(NotifyQueueNode* node)
{
    if (m_pNotifyQueueTail == nullptr) {
        m_pNotifyQueueHead = node;
    } else {
        m_pNotifyQueueTail->pNext = node;
    }
    m_pNotifyQueueTail = node;
}

NotifyQueueNode* Dslr1394Object::_NotifyQueueTake()
{
    NotifyQueueNode* node = m_pNotifyQueueHead;
    if (node == nullptr) return nullptr;
    m_pNotifyQueueHead = node->pNext;
    if (m_pNotifyQueueHead == nullptr) m_pNotifyQueueTail = nullptr;
    return node;
}

DWORD Dslr1394Object::_PushNotificationMessage(BYTE* message)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "befor Queue Set in _PushNotificationMessage()");
    os::EnterCriticalSection(&m_csNotifyQueue);
    const DWORD size = MEM_GetMemorySize(message);
    auto* node = static_cast<NotifyQueueNode*>(MEM_AllocateMemory(sizeof(NotifyQueueNode)));
    if (node == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "pNotifyMessage == NULL");
        os::LeaveCriticalSection(&m_csNotifyQueue);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    node->dwSize = size;
    node->pMessage = message;
    node->pNext = nullptr;
    _NotifyQueueAppend(node);
    os::LeaveCriticalSection(&m_csNotifyQueue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "after Queue Set in _PushNotificationMessage()");
    return vkRN_OK;
}

DWORD Dslr1394Object::_PopNotificationMessage(BYTE** message)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "befor Queue Get in _PopNotificationMessage()");
    os::EnterCriticalSection(&m_csNotifyQueue);
    DWORD size = 0;
    *message = nullptr;
    if (NotifyQueueNode* node = _NotifyQueueTake()) {
        *message = node->pMessage;
        size = static_cast<DWORD>(node->dwSize);
        MEM_FreeMemory(node);
    }
    os::LeaveCriticalSection(&m_csNotifyQueue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "after Queue Get in _PopNotificationMessage()");
    return size;
}

bool Dslr1394Object::_NotifyQueueIsEmpty()
{
    os::EnterCriticalSection(&m_csNotifyQueue);
    const bool empty = m_pNotifyQueueHead == nullptr;
    os::LeaveCriticalSection(&m_csNotifyQueue);
    return empty;
}

// Events still queued when the object goes are nobody's any more: free them
// with their nodes. Runs when no thread can touch the queue.
void Dslr1394Object::_NotifyQueueDiscard()
{
    while (NotifyQueueNode* node = _NotifyQueueTake()) {
        MEM_FreeMemory(node->pMessage);
        MEM_FreeMemory(node);
    }
}
