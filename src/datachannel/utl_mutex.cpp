// Waiting for and releasing a named mutex, with the handle value logged.

#include "datachannel/utl_mutex.h"

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

namespace {

// The one time-out that means "as long as it takes".
constexpr DWORD kWaitWithoutLimit = 60000;

}  // namespace

BOOL Utl_WaitForMutexObject(HANDLE handle, DWORD timeout)
{
    if (!isValidHandle(handle)) return 0;
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "befor WaitForSingleObject in Utl_WaitForMutexObject()");
    for (;;) {
        const DWORD waited = os::WaitForSingleObject(handle, timeout);
        const DWORD error = os::GetLastError();
        switch (waited) {
            case WAIT_OBJECT_0:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           "WaitForSingleObject(MutexHandle=0x%lx) return WAIT_OBJECT_0 in "
                           "Utl_WaitForMutexObject()",
                           Dbg_Handle(handle));
                return 1;
            case WAIT_ABANDONED:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           "WaitForSingleObject(MutexHandle=0x%lx) return WAIT_ABANDONED in "
                           "Utl_WaitForMutexObject()",
                           Dbg_Handle(handle));
                return 1;
            case WAIT_TIMEOUT:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           "WaitForSingleObject(MutexHandle=0x%lx) return WAIT_TIMEOUT in "
                           "Utl_WaitForMutexObject()",
                           Dbg_Handle(handle));
                if (timeout == kWaitWithoutLimit) continue;
                return 0;
            case WAIT_FAILED:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           "WaitForSingleObject(MutexHandle=0x%lx) return WAIT_FAILED in "
                           "Utl_WaitForMutexObject()",
                           Dbg_Handle(handle));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return 0;
            default:
                Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                           "WaitForSingleObject(MutexHandle=0x%lx) return Unknown_ErrorValue in "
                           "Utl_WaitForMutexObject()",
                           Dbg_Handle(handle));
                Dbg_PrintErrorString(DBG_TAG_VKRN, error);
                return 0;
        }
    }
}

void Utl_ReleaseMutexObject(HANDLE handle)
{
    if (!isValidHandle(handle)) return;
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "befor ReleaseMutex in Utl_ReleaseMutexObject()");
    if (!os::ReleaseMutex(handle)) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Failed to release mutex in Utl_ReleaseMutexObject()");
    } else {
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                   "Release MutexHandle(0x%lx) in Utl_ReleaseMutexObject()", Dbg_Handle(handle));
    }
}
