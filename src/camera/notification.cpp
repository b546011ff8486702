// Starting and stopping event notification: the camera is told, and the two
// event threads are started by the first user and stopped by the last.

#include "VKRNQ402.h"
#include "log/function_trace.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"
#include "rapi/rapi_call.h"
#include "datachannel/notify_records.h"

DWORD WINAPI EventHandle(Dslr1394Object* object, BYTE* message, DWORD size);

namespace {

constexpr uintptr_t kHandlerParameter = 23;
constexpr DWORD kStopSlice = 50;

const RapiCallTexts kStartTexts = {
    "TxMsgPtr is NULL(alloc error) in _NotifyControlStart()",
    "vRxMsgPtr is NULL(alloc error) in _NotifyControlStart()",
    "dslrSendRemoteAPICommand has error(0x%lx) in _NotifyControlStart()",
    "Returned RemoteAPI has Error(0x%lx) in _NotifyControlStart()"};

const RapiCallTexts kTerminateTexts = {
    "TxMsgPtr is NULL(alloc error) in _NotifyControlTerminate()",
    "vRxMsgPtr is NULL(alloc error) in _NotifyControlTerminate()",
    "dslrSendRemoteAPICommand has error(0x%lx) in _NotifyControlTerminate()",
    "Returned RemoteAPI has Error(0x%lx) in _NotifyControlTerminate()"};

// The polling thread is awaited in slices, each logged; the notification
// thread gets one slice, whose time-out has no text of its own.
void logThreadWait(DWORD waited, const char* thread, bool inSlices)
{
    if (waited == WAIT_TIMEOUT && inSlices) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: WAIT_TIMEOUT(%s)", thread);
    } else if (waited == WAIT_OBJECT_0) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: WAIT_OBJECT_0(%s)", thread);
    } else if (waited == WAIT_FAILED) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: WAIT_FAILED(%s)", thread);
    } else {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: ReturnCode 0x%lx (%s)",
                   static_cast<unsigned long>(waited), thread);
    }
}

// A thread's handle is closed once its end has been seen. A thread that may
// still run (its wait failed, or the notification thread is still on its
// last turn, or it is the very thread asking) keeps its handle, so that the
// next start or the object's teardown can await it before its record goes.
void closeIfEnded(HANDLE& thread, DWORD waited)
{
    if (waited == WAIT_OBJECT_0) Utl_CloseHandle(&thread);
}

}  // namespace

DWORD Dslr1394Object::_NotifyControlStart()
{
    FunctionTrace trace(DBG_TAG_VKRN, "_NotifyControlStart");
    const DWORD result =
        Rapi_Call(this, *Rapi_FindCommand(0x121000FE), nullptr, 0, nullptr, 0, kStartTexts);
    if (result == vkRN_OK)
        Dbg_Printf(DBG_TAG_VKRN, DBG_EVENT,
                   "RAPI Send NotifyStart has dsOK in _NotifyControlStart()");
    return result;
}

DWORD Dslr1394Object::_NotifyControlTerminate()
{
    FunctionTrace trace(DBG_TAG_VKRN, "_NotifyControlTerminate");
    return Rapi_Call(this, *Rapi_FindCommand(0x121000FF), nullptr, 0, nullptr, 0, kTerminateTexts);
}

uint32_t Dslr1394Object::baseNotifyStart()
{
    FunctionTrace trace(DBG_TAG_DSCS, "baseNotifyStart");
    DWORD result = _NotifyControlStart();
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "_NotifyControlStart() return Error(0x%lx) in baseNotifyStart()",
                   static_cast<unsigned long>(result));
    }
    if (Dbg_GetLogLevel() & DBGFLAG_HOLD_NOTIFY_THREADS) return vkRN_OK;
    if (result != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "_NotifyControlStart has error(0x%lx) in baseNotifyStart()",
                   static_cast<unsigned long>(result));
        return result;
    }
    if (m_dwNotifyStartCounter == 0) {
        result = ScanMngrInitInterruptPoll(EventHandle, kHandlerParameter);
        os::Sleep(0);
    } else {
        Dbg_Printf(DBG_TAG_DSCS, DBG_DETAIL, "NotifyStart: Thread is aleady started");
    }
    ++m_dwNotifyStartCounter;
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyStart: m_dwNotifyStartCounter is 0x%lx",
               static_cast<unsigned long>(m_dwNotifyStartCounter));
    return result;
}

// The last user stops the threads: the port's flag goes down first, so that
// a polling thread inside a sense read gives up at once, then the camera is
// told, then the polling thread is awaited and the notification thread given
// one turn to follow it.
DWORD Dslr1394Object::stopNotifyThreads()
{
    if (m_scsiScanMngrPtr->WriteMapFile(0) != vkRN_OK)
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "     ScsiScanSequence: WriteMapFile went wrong");
    const DWORD told = _NotifyControlTerminate();
    if (told != vkRN_OK) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "_NotifyControlTerminate() return Error(0x%lx) in baseNotifyTerminate()",
                   static_cast<unsigned long>(told));
    }
    WriteThreadFlag(m_bExitPollThreadFlg, 1);
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "m_bExitPollThreadFlg(%d)", 1);
    os::Sleep(0);
    // With debug bit 30 there is no polling thread to wait for.
    DWORD waited = WAIT_OBJECT_0;
    if (isValidHandle(m_hInterruptThread)) {
        do {
            waited = os::WaitForSingleObject(m_hInterruptThread, kStopSlice);
            logThreadWait(waited, "m_hInterruptThread", true);
        } while (waited == WAIT_TIMEOUT);
        closeIfEnded(m_hInterruptThread, waited);
    }
    if (isValidHandle(m_hNotificationThread)) {
        // Without a polling thread nobody else asks the notification
        // thread to end.
        WriteThreadFlag(m_bExitNotifyThreadFlg, 1);
        const DWORD notified = os::WaitForSingleObject(m_hNotificationThread, kStopSlice);
        logThreadWait(notified, "m_hNotificationThread", false);
        closeIfEnded(m_hNotificationThread, notified);
    }
    releaseEndedNotifyRecord();
    return waited;
}

uint32_t Dslr1394Object::baseNotifyTerminate()
{
    FunctionTrace trace(DBG_TAG_DSCS, "baseNotifyTerminate");
    if (Dbg_GetLogLevel() & DBGFLAG_HOLD_NOTIFY_THREADS) return vkRN_OK;
    DWORD result = vkRN_OK;
    if (m_dwNotifyStartCounter == 0) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "NotifyTerminate: Notify has not started");
    } else if (m_dwNotifyStartCounter == 1) {
        result = stopNotifyThreads();
        os::Sleep(0);
    } else {
        Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: m_dwNotifyStartCounter is 0x%lx",
                   static_cast<unsigned long>(m_dwNotifyStartCounter));
    }
    if (m_dwNotifyStartCounter > 0) --m_dwNotifyStartCounter;
    Dbg_Printf(DBG_TAG_DSCS, DBG_CHECK, "NotifyTerminate: m_dwNotifyStartCounter is 0x%lx",
               static_cast<unsigned long>(m_dwNotifyStartCounter));
    return result;
}
