#include "object/Dslr1394Object.h"

#include "log/dbg_log.h"
#include "platform/platform_api.h"

#include <cstdint>

void Utl_CloseHandle(HANDLE* handle)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_CloseHandle()");
    // A missing location has nothing to close.
    if (handle == nullptr) return;
    Dbg_Printf(DBG_TAG_VKRN, DBG_VALUE, "HandleRef(0x%lx) in Utl_CloseHandle()",
               Dbg_Handle(*handle));
    if (!isValidHandle(*handle)) return;
    if (os::CloseHandle(*handle)) {
        *handle = INVALID_HANDLE_VALUE;
        return;
    }
    DWORD error = os::GetLastError();
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "Failed to CloseHandle in Utl_CloseHandle()");
    Dbg_PrintErrorString(DBG_TAG_VKRN, error);
}
