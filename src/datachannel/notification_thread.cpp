// The notification thread: hands each queued event message to the event
// handler, at most one every 50 ms, in the order they were queued.
//
// Its exit request comes from the polling thread as that thread ends, after
// the last event it queued, which after a failed sense read is the failure
// event the application must see. So the thread ends once it is asked to and
// has handed on what is queued; nothing can be queued after the request,
// since the polling thread has ended by then.

#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

namespace {

constexpr DWORD kDeliveryPace = 50;

}  // namespace

DWORD WINAPI NotificationFunction(LPVOID parameter)
{
    auto* info = static_cast<NotifyThreadInfo*>(parameter);
    Dslr1394Object* object = info->pObject;
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "NotificationFunction");
    BOOL exitValue = 0;
    bool drained = false;
    do {
        BYTE* message = nullptr;
        const DWORD size = object->_PopNotificationMessage(&message);
        if (message != nullptr) {
            // The handler runs outside the queue's lock: it may take as long
            // as the application likes without holding up the polling thread.
            Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "CallBackFunction Call in NotificationFunction()");
            if (info->pfnHandler != nullptr) info->pfnHandler(object, message, size);
            MEM_FreeMemory(message);
        }
        os::Sleep(kDeliveryPace);
        exitValue = ReadThreadFlag(object->m_bExitNotifyThreadFlg);
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_bExitNotifyThreadFlg(%d)", exitValue);
        if (exitValue == 1) drained = object->_NotifyQueueIsEmpty();
    } while (exitValue != 1 || !drained);
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "NotificationFunction End");
    return 0;
}
