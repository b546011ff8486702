// Directory-subtree lists: a depth byte, a path and, with bit 0x40 of the
// depth byte, a second string per entry; an entry with an empty path ends
// the list.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>
#include <vector>

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
// list there.
void Utl_TrimDirSubtree(BYTE* list, DWORD* length)
{
    if (list == nullptr || length == nullptr || *length == 0) return;
    const DWORD extent = *length;
    std::vector<BYTE> trimmed;
    trimmed.reserve(extent);
    DWORD at = 0;
    while (at + 1 < extent && list[at + 1] != '\0') {
        const BYTE depth = list[at];
        const char* path = reinterpret_cast<const char*>(list + at + 1);
        const void* pathEnd = std::memchr(path, '\0', extent - at - 1);
        if (pathEnd == nullptr) break;
        std::size_t pathLength = static_cast<std::size_t>(static_cast<const char*>(pathEnd) - path);
        DWORD next = at + 1 + static_cast<DWORD>(pathLength) + 1;
        const char* second = reinterpret_cast<const char*>(list + next);
        std::size_t secondLength = 0;
        if (depth & kSecondString) {
            const void* secondEnd =
                next < extent ? std::memchr(second, '\0', extent - next) : nullptr;
            if (secondEnd == nullptr) break;
            secondLength = static_cast<std::size_t>(static_cast<const char*>(secondEnd) - second);
        }
        trimmed.push_back(depth);
        const std::size_t kept = path[pathLength - 1] == '\\' ? pathLength - 1 : pathLength;
        trimmed.insert(trimmed.end(), path, path + kept);
        trimmed.push_back('\0');
        if (depth & kSecondString) {
            trimmed.insert(trimmed.end(), second, second + secondLength + 1);
            next += static_cast<DWORD>(secondLength) + 1;
        }
        at = next;
    }
    trimmed.push_back(0);
    trimmed.push_back('\0');
    // Never longer than the original: every entry keeps or loses one byte.
    const DWORD newLength =
        static_cast<DWORD>(trimmed.size()) < extent ? static_cast<DWORD>(trimmed.size()) : extent;
    std::memset(list, 0, extent);
    std::memcpy(list, trimmed.data(), newLength);
    *length = newLength;
}
