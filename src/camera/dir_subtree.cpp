// Directory-subtree lists: a depth byte, a path and, with bit 0x40 of the
// depth byte, a second string per entry; an entry with an empty path ends
// the list.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

constexpr BYTE kSecondString = 0x40;
constexpr DWORD kEndEntry = 2;

// The size of the entry at `entry`: depth byte, path, and second string.
DWORD entrySize(const BYTE* entry)
{
    const char* path = reinterpret_cast<const char*>(entry + 1);
    DWORD size = 1 + static_cast<DWORD>(std::strlen(path)) + 1;
    if (entry[0] & kSecondString) {
        size += static_cast<DWORD>(std::strlen(reinterpret_cast<const char*>(entry + size))) + 1;
    }
    return size;
}

bool endsList(const BYTE* entry) { return entry[1] == '\0'; }

}  // namespace

DWORD _LenDirSubtree(const BYTE* list)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_LenDirSubtree");
    if (list == nullptr) return 0;
    DWORD length = 0;
    for (const BYTE* entry = list; !endsList(entry); entry += entrySize(entry))
        length += entrySize(entry);
    return length + kEndEntry;
}

DWORD Dslr1394Object::Utl_GetDirPathLength(BYTE* list, DWORD* length)
{
    if (list == nullptr || length == nullptr) return vkRNERROR_INVALID_PARAMETER;
    DWORD walked = 0;
    DWORD result = vkRN_OK;
    for (BYTE* entry = list; !endsList(entry); entry += entrySize(entry)) {
        const DWORD size = entrySize(entry);
        walked += size;
        result = Utl_Q317PathChange2(reinterpret_cast<char*>(entry + 1), size - 1);
        if (result != vkRN_OK) break;
    }
    *length = walked + kEndEntry;
    return result;
}

// Reads no further than `*length` bytes: an entry the bound cuts ends the
// list there. Every entry keeps or loses one byte, so the list is rebuilt in
// place, front to back, and needs no scratch space that could run out.
void Utl_TrimDirSubtree(BYTE* list, DWORD* length)
{
    if (list == nullptr || length == nullptr || *length == 0) return;
    const DWORD extent = *length;
    DWORD at = 0;       // the entry being read
    DWORD written = 0;  // where the trimmed list has got to
    while (at + 1 < extent && list[at + 1] != '\0') {
        const BYTE depth = list[at];
        const char* path = reinterpret_cast<const char*>(list + at + 1);
        const void* pathEnd = std::memchr(path, '\0', extent - at - 1);
        if (pathEnd == nullptr) break;
        const DWORD pathLength = static_cast<DWORD>(static_cast<const char*>(pathEnd) - path);
        DWORD next = at + 1 + pathLength + 1;
        DWORD secondLength = 0;  // with its NUL
        if (depth & kSecondString) {
            const void* secondEnd =
                next < extent ? std::memchr(list + next, '\0', extent - next) : nullptr;
            if (secondEnd == nullptr) break;
            secondLength =
                static_cast<DWORD>(static_cast<const BYTE*>(secondEnd) - (list + next)) + 1;
        }
        const DWORD kept = path[pathLength - 1] == '\\' ? pathLength - 1 : pathLength;
        list[written] = depth;
        std::memmove(list + written + 1, path, kept);
        list[written + 1 + kept] = '\0';
        std::memmove(list + written + 1 + kept + 1, list + next, secondLength);
        written += 1 + kept + 1 + secondLength;
        at = next + secondLength;
    }
    const DWORD newLength = written + kEndEntry < extent ? written + kEndEntry : extent;
    std::memset(list + written, 0, extent - written);
    *length = newLength;
}
