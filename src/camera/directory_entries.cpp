// A directory listing as the camera sends it: records of attribute (16
// bits), size and time (32 bits each) and a NUL-terminated path, one after
// the other, ended by an all-zero record with an empty path.

#include "camera/camera_paths.h"

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

constexpr DWORD kRecordHead = 10;

}  // namespace

// Only records that lie wholly inside the buffer are read: one the buffer
// cuts (head or path without its NUL) ends the walk.
DWORD Dslr1394Object::Utl_SwapBufferData(BYTE* buffer, DWORD length)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_SwapBufferData");
    if (length == 0 || buffer == nullptr) {
        Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "indwLength is zero in Utl_SwapBufferData()");
        return 0;
    }
    Dbg_Dump(DBG_TAG_VKRN, "strDirEntryPtr swap befor", buffer, length);
    const BYTE* last = buffer + length - 1;
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
               "1.strDirEntryPtr(0x%lx) cTempPtr(0x%lx) in Utl_SwapBufferData()",
               Dbg_Handle(buffer), Dbg_Handle(last));
    DWORD at = 0;
    while (at < length - 1 && length - at > kRecordHead) {
        BYTE* record = buffer + at;
        char* path = reinterpret_cast<char*>(record + kRecordHead);
        const void* end = std::memchr(path, '\0', length - at - kRecordHead);
        if (end == nullptr) break;
        WORD attribute;
        DWORD size, time;
        std::memcpy(&attribute, record, 2);
        std::memcpy(&size, record + 2, 4);
        std::memcpy(&time, record + 6, 4);
        if (attribute == 0 && size == 0 && time == 0 && path[0] == '\0') {
            Dbg_Printf(DBG_TAG_VKRN, DBG_DETAIL, "Loop Exit in Utl_SwapBufferData()");
            break;
        }
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
                   "Attrib(0x%x) Size(0x%lx) Time(0x%lx) Path(%s) in Utl_SwapBufferData()",
                   attribute, static_cast<unsigned long>(size), static_cast<unsigned long>(time),
                   path);
        Utl_APPPathChange(path);
        if ((Dbg_GetLogLevel() & DBGFLAG_RENAME_ATA02) && m_bDirSubtreeMode == 1 &&
            std::strstr(path, "ATA01:") != nullptr) {
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "  Utl_SwapBufferData: bingo!!");
            std::memcpy(path, "ATA02", 5);
        }
        Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK, "Original Str(%s) in Utl_SwapBufferData()", path);
        at = static_cast<DWORD>(static_cast<const BYTE*>(end) - buffer) + 1;
    }
    Dbg_Printf(DBG_TAG_VKRN, DBG_CHECK,
               "2.strDirEntryPtr(0x%lx) cTempPtr(0x%lx) in Utl_SwapBufferData()",
               Dbg_Handle(buffer), Dbg_Handle(last));
    Dbg_Dump(DBG_TAG_VKRN, "strDirEntryPtr swap after", buffer, length);
    return 1;
}
