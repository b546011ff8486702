// The polling thread: reads the camera's sense data through the message
// channel about once a second, cuts the event record out of it and queues a
// copy for the notification thread. While the camera says more events are
// waiting it reads again at once.

#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "memory/sense_message.h"
#include "memory/tracked_memory.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include "VKRNQ402.h"

#include <cstring>

namespace {

constexpr DWORD kIdlePause = 1000;
constexpr BYTE kEventsWaitingKey = 9;
constexpr BYTE kEventsWaitingCode = 0x80;

DWORD wordOf(const BYTE* bytes, int index)
{
    DWORD value;
    std::memcpy(&value, bytes + sizeof(DWORD) * static_cast<std::size_t>(index), sizeof(value));
    return value;
}

void endNotifying(Dslr1394Object* object, BOOL exitValue)
{
    WriteThreadFlag(object->m_bExitNotifyThreadFlg, exitValue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_bExitNotifyThreadFlg(%d)", exitValue);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "InterruptPollingFunction End");
}

// A failed sense read ends polling; the application learns of it through
// this event, which carries no parameters.
void queueSenseFailure(Dslr1394Object* object)
{
    auto* message = static_cast<BYTE*>(MEM_AllocateMemory(16));
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "pNotificationMsg is NULL(alloc error) in InterruptPollingFunction()");
        return;
    }
    const DWORD words[4] = {0, kSenseFailureEvent, 0, 0};
    std::memcpy(message, words, sizeof(words));
    if (object->_PushNotificationMessage(message) == vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "_PushNotificationMessage OK");
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "_PushNotificationMessage error");
        MEM_FreeMemory(message);  // the queue did not take it
    }
}

// Queues a copy of the event record; false when the copy cannot be made.
bool queueEvent(Dslr1394Object* object, BYTE* area, DWORD length)
{
    // The camera's length word is not trusted beyond the event area: a
    // longer record is cut at the area's end rather than read past the
    // sense buffer.
    if (length > kEventAreaSize) length = kEventAreaSize;
    Dbg_Dump(DBG_TAG_SSCM, "InterruptPollingFunction: Polling ExtractData", area, length);
    auto* message = static_cast<BYTE*>(MEM_AllocateMemory(length));
    if (message == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "pNotificationMsg is NULL(alloc error) in InterruptPollingFunction()");
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERRTEXT, "pNotificationMsg alloc size(0x%lx)",
                   static_cast<unsigned long>(length));
        std::memset(area, 0, kEventAreaSize);
        return false;
    }
    std::memcpy(message, area, length);
    if (object->_PushNotificationMessage(message) != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "_PushNotificationMessage error");
        MEM_FreeMemory(message);  // the queue did not take it
    }
    std::memset(area, 0, kEventAreaSize);
    return true;
}

// Returns the exit code; `exitValue` is what stopped the loop.
DWORD pollUntilStopped(Dslr1394Object* object, SenseMessage* sense, BOOL& exitValue)
{
    exitValue = ReadThreadFlag(object->m_bExitPollThreadFlg);
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_bExitPollThreadFlg(%d)", exitValue);
    DWORD exitCode = 0;
    BYTE pending = 0;
    while (exitValue == 0) {
        if (pending == 0) os::Sleep(kIdlePause);
        exitValue = ReadThreadFlag(object->m_bExitPollThreadFlg);
        if (exitValue == 1) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "m_bExitPollThreadFlg(%d)", exitValue);
            break;
        }
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "InterruptPollingFuction: ********TimeCheck********");
        const DWORD result = object->m_scsiScanMngrPtr->ReadRequestSense(sense);
        if (result != vkRN_OK) {
            Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                       "ScanMngrScsiRequestSense is Error(0x%lx) in InterruptPollingFunction()",
                       static_cast<unsigned long>(result));
            exitValue = 1;
            queueSenseFailure(object);
            break;
        }
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "InterruptPollingFuction: ********TimeCheck********");
        pending = sense->CheckSenseMessage(kEventsWaitingKey, kEventsWaitingCode);
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "InterruptPollingFuction; senseFlag(0x%lx)",
                   static_cast<unsigned long>(pending));
        BYTE* area = sense->GetDataPointer();
        const DWORD length = wordOf(area, 2);
        if (length == 0) continue;
        if (!queueEvent(object, area, length)) {
            exitValue = 1;
            exitCode = vkRNERROR_OUT_OF_MEMORY;
        }
    }
    return exitCode;
}

}  // namespace

DWORD WINAPI InterruptPollingFunction(LPVOID parameter)
{
    auto* info = static_cast<NotifyThreadInfo*>(parameter);
    Dslr1394Object* object = info->pObject;
    auto* sense = new SenseMessage;
    if (sense == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "InterruptPolling: requestSensePtr couldn't be allocated memory");
        endNotifying(object, 1);
        return vkRNERROR_OUT_OF_MEMORY;
    }
    const DWORD created = sense->CreateSenseMessageBuffer(kEventAreaSize);
    if (created != vkRN_OK) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR,
                   "InterruptPolling: CreateSenseMessageBuffer went wrong");
        if (created != vkRNERROR_OUT_OF_MEMORY) sense->FreeBufferMemory();
        delete sense;
        endNotifying(object, 1);
        return created;
    }
    Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "InterruptPolling: Creating buffer successed");
    BOOL exitValue = 0;
    const DWORD exitCode = pollUntilStopped(object, sense, exitValue);
    sense->FreeBufferMemory();
    delete sense;
    // A stop of the polling thread also stops the notification thread.
    endNotifying(object, exitValue);
    return exitCode;
}
