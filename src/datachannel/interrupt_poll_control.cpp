// Starting and stopping the two event threads.

#include "datachannel/no_device_report.h"
#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

#include <initializer_list>

DWORD WINAPI InterruptPollingFunction(LPVOID parameter);
DWORD WINAPI NotificationFunction(LPVOID parameter);

namespace {

constexpr DWORD kStopPollStep = 50;

struct StartTexts {
    const char* before;
    const char* failed;
    const char* started;  // with the thread ID
};

const StartTexts kNotifyTexts = {
    "ScanMngrInitInterruptPoll: befor CreateThread(NotificationFunction)",
    "ScanMngrInitInterruptPoll: CreateThread error for NotificationThread",
    "ScanMngrInitInterruptPoll: Create NotifyThread(0x%lx) Success"};
const StartTexts kPollTexts = {
    "ScanMngrInitInterruptPoll: befor CreateThread(InterruptPollingFunction)",
    "ScanMngrInitInterruptPoll: CreateThread error for PollingThread",
    "ScanMngrInitInterruptPoll: Create PollingThread(0x%lx) Success"};

bool stillRunning(HANDLE thread)
{
    DWORD code = 0;
    return isValidHandle(thread) && os::GetExitCodeThread(thread, &code) && code == STILL_ACTIVE;
}

// Starts one of the pair, running at once with the thread-info record. A
// thread that is still running from an earlier start is kept instead: a
// second one would poll twice, or deliver twice, and its handle would be
// lost. The handle of an ended thread is closed before it is replaced.
bool startThread(HANDLE& handle, DWORD& threadId, LPTHREAD_START_ROUTINE procedure,
                 NotifyThreadInfo* info, const StartTexts& texts)
{
    if (stillRunning(handle)) return true;
    if (isValidHandle(handle)) os::CloseHandle(handle);
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "%s", texts.before);
    handle = os::CreateThread(nullptr, 0, procedure, info, 0, &threadId);
    if (handle == nullptr) {
        handle = INVALID_HANDLE_VALUE;
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.failed);
        return false;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, texts.started, static_cast<unsigned long>(threadId));
    return true;
}

// Reads the thread's exit code every 50 ms until it is no longer
// STILL_ACTIVE. The handle stays open.
DWORD awaitThreadEnd(HANDLE thread)
{
    for (;;) {
        const auto value = Dbg_Handle(thread);
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
                   "befor GetExitCodeThread(0x%lx) in _TerminateThreadBlocking()", value);
        DWORD code = 0;
        const BOOL read = os::GetExitCodeThread(thread, &code);
        const DWORD error = os::GetLastError();
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
                   "after GetExitCodeThread(0x%lx) in _TerminateThreadBlocking()", value);
        if (!read) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "GetExitCodeThread Error in _TerminateThreadBlocking()");
            Dbg_PrintErrorString(DBG_TAG_SSCM, error);
            return vkRNERROR_TRANSFER_FAILED;
        }
        if (code != STILL_ACTIVE) return vkRN_OK;
        Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE,
                   "GetExitCodeThread has dwExitCode(0x%lx) in _TerminateThreadBlocking()",
                   static_cast<unsigned long>(code));
        os::Sleep(kStopPollStep);
    }
}

}  // namespace

// A thread ID can be given again once its thread has ended, so the thread
// must also still be running to be the caller.
bool Dslr1394Object::isNotificationThreadCalling() const
{
    return os::GetCurrentThreadId() == m_dwNotifyThreadId && stillRunning(m_hNotificationThread);
}

bool Dslr1394Object::exitRequested(HANDLE thread) const
{
    if (thread == m_hInterruptThread) return ReadThreadFlag(m_bExitPollThreadFlg) != 0;
    return ReadThreadFlag(m_bExitNotifyThreadFlg) == 1;
}

// Threads of an earlier start that were asked to end but may not have yet
// (a stop could wait only 50 ms for the notification thread) are awaited
// before a new pair starts: an old polling thread would otherwise end the
// new notification thread as it leaves. The notification thread itself, when
// the application starts notification from its callback, is not awaited: it
// simply carries on once its exit request is withdrawn.
DWORD Dslr1394Object::awaitStoppingThreads()
{
    for (HANDLE thread : {m_hInterruptThread, m_hNotificationThread}) {
        if (!stillRunning(thread) || !exitRequested(thread)) continue;
        if (thread == m_hNotificationThread && isNotificationThreadCalling()) continue;
        const DWORD result = _TerminateThreadBlocking(thread);
        if (result != vkRN_OK) return result;
    }
    return vkRN_OK;
}

DWORD Dslr1394Object::ScanMngrInitInterruptPoll(NotifyEventHandler handler, uintptr_t param)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrInitInterruptPoll");
    if (awaitStoppingThreads() != vkRN_OK) return vkRNERROR_TRANSFER_FAILED;
    // A record left by a stop that could not see both threads end is
    // reused, not lost.
    if (m_pThreadInfo == nullptr) {
        m_pThreadInfo =
            static_cast<NotifyThreadInfo*>(MEM_AllocateAndInitMemory(sizeof(NotifyThreadInfo)));
    }
    if (m_pThreadInfo == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "ScanMngrInitInterruptPoll: m_pThreadInfo is NULL(alloc error)");
        return vkRNERROR_TRANSFER_FAILED;
    }
    m_pThreadInfo->pfnHandler = handler;
    m_pThreadInfo->handlerParam = param;
    m_pThreadInfo->pObject = this;
    _ScanMngrCritSecInit();

    WriteThreadFlag(m_bExitNotifyThreadFlg, 0);
    if (!startThread(m_hNotificationThread, m_dwNotifyThreadId, NotificationFunction, m_pThreadInfo,
                     kNotifyTexts))
        return vkRNERROR_TRANSFER_FAILED;
    if (Dbg_GetLogLevel() & DBGFLAG_NO_POLLING_THREAD) return vkRN_OK;

    WriteThreadFlag(m_bExitPollThreadFlg, 0);
    DWORD pollThreadId = 0;
    if (!startThread(m_hInterruptThread, pollThreadId, InterruptPollingFunction, m_pThreadInfo,
                     kPollTexts))
        return vkRNERROR_TRANSFER_FAILED;
    return vkRN_OK;
}

DWORD Dslr1394Object::_TerminateThreadBlocking(HANDLE thread)
{
    reportNoDevice({"_TerminateThreadBlocking: befor MapViewOfFile(0x%lx)",
                    "_TerminateThreadBlocking: bNoDeviceFlagPtr is NULL",
                    "_TerminateThreadBlocking: befor UnmapViewOfFile(0x%lx)",
                    "_TerminateThreadBlocking: UnmapViewOfFile sccess",
                    "_TerminateThreadBlocking: UnmapViewOfFile has error"});
    if (thread == m_hNotificationThread) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   "Handle is m_hNotificationThread in _TerminateThreadBlocking");
        WriteThreadFlag(m_bExitNotifyThreadFlg, 1);
    } else if (thread == m_hInterruptThread) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK,
                   "Handle is m_hInterruptThread in _TerminateThreadBlocking");
        WriteThreadFlag(m_bExitPollThreadFlg, 1);
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "Unknown Handle(0x%lx) in _TerminateThreadBlocking()",
                   Dbg_Handle(thread));
        return vkRNERROR_TRANSFER_FAILED;
    }
    // A member that holds no thread (never started, as the polling thread
    // with debug bit 30) has nothing to wait for; asking for its exit code
    // would fail, or on Windows ask about the process instead.
    if (isValidHandle(thread)) {
        // The callback runs on the notification thread: it cannot wait for
        // its own end. The thread ends once the callback has returned.
        if (thread == m_hNotificationThread && isNotificationThreadCalling()) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "Handle is the calling thread in _TerminateThreadBlocking()");
            return vkRNERROR_TRANSFER_FAILED;
        }
        const DWORD result = awaitThreadEnd(thread);
        if (result != vkRN_OK) return result;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "_TerminateThreadBlocking Success");
    return vkRN_OK;
}

DWORD Dslr1394Object::ScanMngrTermInterruptPoll()
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrTermInterruptPoll");
    DWORD result = _TerminateThreadBlocking(m_hInterruptThread);
    if (result == vkRN_OK) result = _TerminateThreadBlocking(m_hNotificationThread);
    if (result == vkRN_OK && m_pThreadInfo != nullptr) {
        MEM_FreeMemory(m_pThreadInfo);
        m_pThreadInfo = nullptr;
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_pThreadInfo free");
        _ScanMngrCritSecDest();
        return vkRN_OK;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "Result Error(0x%lx) or m_pThreadInfo is NULL",
               static_cast<unsigned long>(result));
    // The queue's lock goes only when no thread can still be using it: a
    // thread whose end could not be confirmed keeps it (and the record).
    if (result == vkRN_OK) _ScanMngrCritSecDest();
    return result;
}

// Once both threads are known to have ended (a stop closes a thread's handle
// only then), nothing can reach the thread record or the queue's lock any
// more and both go. This is housekeeping beyond the stop's own records, so it
// writes none. Events still queued stay for the next start.
void Dslr1394Object::releaseEndedNotifyRecord()
{
    if (isValidHandle(m_hInterruptThread) || isValidHandle(m_hNotificationThread)) return;
    if (m_pThreadInfo != nullptr) {
        MEM_FreeMemory(m_pThreadInfo);
        m_pThreadInfo = nullptr;
    }
    if (m_bCritObjFlg == 1) {
        os::DeleteCriticalSection(&m_csNotifyQueue);
        m_bCritObjFlg = 0;
    }
}

// Whether the event machinery still holds a thread, its record, the queue's
// lock or a queued event: what the device object must not be freed under.
bool Dslr1394Object::eventMachineryLeft() const
{
    return m_pThreadInfo != nullptr || m_bCritObjFlg == 1 || m_pNotifyQueueHead != nullptr ||
           isValidHandle(m_hInterruptThread) || isValidHandle(m_hNotificationThread);
}
