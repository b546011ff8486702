// Every camera event on its way from the notification thread to the
// application's callback.

#include "VKRNQ402.h"
#include "datachannel/notify_records.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

constexpr DWORD kEventHead = 12;

DWORD wordAt(const BYTE* bytes, DWORD offset)
{
    DWORD value;
    std::memcpy(&value, bytes + offset, sizeof(value));
    return value;
}

// Whether the record holds together as the camera builds one: its length
// word covers at least its own header and no more than the bytes that came,
// and a known event has the parameters of its kind. A record the sense
// channel put together from two answers can fail this; it is no event.
bool wellFormed(DWORD id, DWORD lengthWord, DWORD size)
{
    if (id == kSenseFailureEvent) return true;  // the library's own, with no parameters
    if (lengthWord < kEventHead || lengthWord > size) return false;
    const DWORD paramSize = lengthWord - kEventHead;
    switch (id) {
        case 8:
        case 12:
        case 16:
            return paramSize >= 9;  // SequenceID, FormatType, SizeOfData
        case 10:
            return paramSize == 4 || paramSize == 8;
        case 14:
            return paramSize == 4;
        default:
            return true;
    }
}

}  // namespace

// The parameters arrive in host order: each known event is only logged.
void _EventParamSwap(DWORD eventID, DWORD paramSize, BYTE* params)
{
    Dbg_Printf(DBG_TAG_DSCS, DBG_ENTRY, "_EventParamSwap");
    Dbg_Printf(DBG_TAG_DSCS, DBG_VALUE, "dwParamSize(0x%lx) in _EventParamSwap()",
               static_cast<unsigned long>(paramSize));
    switch (eventID) {
        case 8:
        case 12:
        case 16:
            if (paramSize >= 9) {
                BYTE format = params[4];
                Dbg_Printf(DBG_TAG_DSCS, DBG_EVENT,
                           "ImageNotify SequenceID(0x%lx) FormatType(%d) SizeOfData(0x%lx) in "
                           "_EventParamSwap()",
                           static_cast<unsigned long>(wordAt(params, 0)), format,
                           static_cast<unsigned long>(wordAt(params, 5)));
            }
            break;
        case 10:
            if (paramSize == 4) {
                Dbg_Printf(DBG_TAG_DSCS, DBG_VALUE, "dwParam[0](0x%lx)",
                           static_cast<unsigned long>(wordAt(params, 0)));
            } else if (paramSize >= 8) {
                Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR, "dwParam[0](0x%lx) dwParam[1](0x%lx)",
                           static_cast<unsigned long>(wordAt(params, 0)),
                           static_cast<unsigned long>(wordAt(params, 4)));
            }
            break;
        case 14:
            if (paramSize == 4) {
                Dbg_Printf(DBG_TAG_DSCS, DBG_VALUE, "dwParam(0x%lx)",
                           static_cast<unsigned long>(wordAt(params, 0)));
            }
            break;
        default:
            break;
    }
}

// The event's own length word sizes the parameters; a record whose word
// does not fit it, or the message that carries it, is dropped.
DWORD WINAPI EventHandle(Dslr1394Object* object, BYTE* message, DWORD size)
{
    if (object == nullptr || message == nullptr) return 0;
    // Read once: a stop waits only so long for this thread, so the
    // application may close or replace the callback while an event is
    // still on its way; the event goes to the callback that was set.
    const DslrNotifyCallback callback =
        __atomic_load_n(&object->m_pfnNotifyCallback, __ATOMIC_ACQUIRE);
    const uintptr_t context = __atomic_load_n(&object->m_notifyContext, __ATOMIC_ACQUIRE);
    if (callback == nullptr) return 0;
    Dbg_Dump(DBG_TAG_DSCS, "EventHandle: EventBuffer swap befor", message, size);
    const DWORD id = size >= 8 ? wordAt(message, 4) : 0;
    const DWORD lengthWord = size >= kEventHead ? wordAt(message, 8) : 0;
    if (!wellFormed(id, lengthWord, size)) {
        Dbg_Printf(DBG_TAG_DSCS, DBG_ERROR,
                   "EventHandle: malformed record ID(0x%lx) Length(0x%lx) Size(0x%lx) dropped",
                   static_cast<unsigned long>(id), static_cast<unsigned long>(lengthWord),
                   static_cast<unsigned long>(size));
        return 0;
    }
    // The length word is the camera's: the parameters handed on never reach
    // past the message that was queued, though the record shows the word.
    const DWORD length = lengthWord > size ? size : lengthWord;
    const DWORD paramSize = length > kEventHead ? length - kEventHead : 0;
    BYTE* params = message + (size >= kEventHead ? kEventHead : size);
    if (paramSize > 0) _EventParamSwap(id, paramSize, params);
    Dbg_Printf(DBG_TAG_DSCS, DBG_EVENT, "EventHandle: ID(0x%lx) Length(0x%lx) param(0x%lx)",
               static_cast<unsigned long>(id), static_cast<unsigned long>(lengthWord),
               static_cast<unsigned long>(paramSize >= 4 ? wordAt(params, 0) : 0));
    callback(id, params, paramSize, context);
    Dbg_Dump(DBG_TAG_DSCS, "EventHandle: EventBuffer swap after", message, size);
    return 0;
}
