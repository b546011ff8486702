// Starting and stopping the two event threads.

#include "datachannel/no_device_report.h"
#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

DWORD WINAPI InterruptPollingFunction(LPVOID parameter);
DWORD WINAPI NotificationFunction(LPVOID parameter);

namespace {

constexpr DWORD kStopPollStep = 50;

bool isThread(HANDLE handle) { return handle != INVALID_HANDLE_VALUE && handle != nullptr; }

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

// Starts one of the pair, running at once with the thread-info record; a
// thread that cannot be made leaves its handle unset.
bool startThread(HANDLE& handle, LPTHREAD_START_ROUTINE procedure, NotifyThreadInfo* info,
                 const StartTexts& texts)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, "%s", texts.before);
    DWORD threadId = 0;
    handle = os::CreateThread(nullptr, 0, procedure, info, 0, &threadId);
    if (handle == nullptr) {
        handle = INVALID_HANDLE_VALUE;
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.failed);
        return false;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, texts.started, static_cast<unsigned long>(threadId));
    return true;
}

bool stillRunning(HANDLE thread)
{
    DWORD code = 0;
    return isThread(thread) && os::GetExitCodeThread(thread, &code) && code == STILL_ACTIVE;
}

}  // namespace

DWORD Dslr1394Object::ScanMngrInitInterruptPoll(NotifyEventHandler handler, uintptr_t param)
{
    Dbg_Printf(DBG_TAG_SSCM, DBG_ENTRY, "ScanMngrInitInterruptPoll");
    // A pair that is still running cannot be started again without losing
    // track of the threads (and of the record they use).
    if (stillRunning(m_hNotificationThread) || stillRunning(m_hInterruptThread)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "ScanMngrInitInterruptPoll: threads are still running");
        return vkRNERROR_TRANSFER_FAILED;
    }
    // The handles of ended threads are closed here, not leaked.
    Utl_CloseHandle(&m_hNotificationThread);
    Utl_CloseHandle(&m_hInterruptThread);
    // A record left by a stop that could not finish is reused, not lost.
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
    if (!startThread(m_hNotificationThread, NotificationFunction, m_pThreadInfo, kNotifyTexts))
        return vkRNERROR_TRANSFER_FAILED;
    if (Dbg_GetLogLevel() & DBGFLAG_NO_POLLING_THREAD) return vkRN_OK;

    WriteThreadFlag(m_bExitPollThreadFlg, 0);
    if (!startThread(m_hInterruptThread, InterruptPollingFunction, m_pThreadInfo, kPollTexts))
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
    // A thread that was never started (its handle unset) has nothing to
    // stop: with the polling thread switched off by the debug flag word, the
    // stop must still reach the notification thread.
    if (!isThread(thread)) return vkRN_OK;
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
    for (;;) {
        const auto value = Dbg_Handle(thread);
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
                   "befor GetExitCodeThread(0x%lx) in _TerminateThreadBlocking()", value);
        DWORD code = 0;
        const BOOL read = os::GetExitCodeThread(thread, &code);
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL,
                   "after GetExitCodeThread(0x%lx) in _TerminateThreadBlocking()", value);
        if (!read) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "GetExitCodeThread Error in _TerminateThreadBlocking()");
            Dbg_PrintErrorString(DBG_TAG_SSCM, os::GetLastError());
            return vkRNERROR_TRANSFER_FAILED;
        }
        if (code != STILL_ACTIVE) break;
        Dbg_Printf(DBG_TAG_SSCM, DBG_VALUE,
                   "GetExitCodeThread has dwExitCode(0x%lx) in _TerminateThreadBlocking()",
                   static_cast<unsigned long>(code));
        os::Sleep(kStopPollStep);
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
