// Single camera paths: upper case, the volume syntax of earlier cameras, and
// the hooks that turn camera paths back into the application's syntax.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {


void upperCase(char* bytes, DWORD length)
{
    for (DWORD i = 0; i < length; ++i) {
        if (bytes[i] >= 'a' && bytes[i] <= 'z') bytes[i] = static_cast<char>(bytes[i] - 'a' + 'A');
    }
}

}  // namespace

// Any volume length is rewritten: the move stays inside the string, so a
// name longer than a card's volume name cannot write past it.
void _ChangeDrivePrefix(char* path)
{
    if (path == nullptr) return;
    char* colon = std::strchr(path, ':');
    if (colon == nullptr) return;
    const std::size_t volume = static_cast<std::size_t>(colon - path);
    std::memmove(path + 1, path, volume);
    path[0] = '/';
}

void Utl_ReplaceChar(char* string, char find, char replacement)
{
    if (string == nullptr) return;
    for (char* at = string; *at != '\0'; ++at) {
        if (*at == find) *at = replacement;
    }
}

DWORD Dslr1394Object::Utl_Q317PathChange(const char* source, char* destination, DWORD length)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_Q317PathChange()");
    if (source == nullptr || destination == nullptr) return 1;  // nothing to convert
    Dbg_Dump(DBG_TAG_VKRN, "Utl_Q317PathChange: enter", source, length);
    std::memmove(destination, source, length);
    upperCase(destination, length);
    if (m_dwModelID != DSLR_MODEL_ID_Q402) {
        // Only strings that end inside the region are rewritten: a string
        // cut by the region's end has no terminator to stop at.
        DWORD start = 0;
        for (DWORD i = 0; i < length; ++i) {
            if (destination[i] != '\0') continue;
            _ChangeDrivePrefix(destination + start);
            start = i + 1;
        }
    }
    Dbg_Dump(DBG_TAG_VKRN, "Utl_Q317PathChange: leave", source, length);
    return 1;
}

DWORD Dslr1394Object::Utl_Q317PathChange2(char* region, DWORD length)
{
    if (region == nullptr) return vkRNERROR_INVALID_PARAMETER;
    Dbg_Dump(DBG_TAG_VKRN, "Utl_Q317PathChange2: cPathStrPtr", region, length);
    // The first string, read no further than the region.
    const void* end = std::memchr(region, '\0', length);
    const DWORD first =
        end != nullptr ? static_cast<DWORD>(static_cast<char*>(const_cast<void*>(end)) - region)
                       : length;
    const bool rooted = first > 0 && region[0] == '/';
    if (!rooted && std::memchr(region, ':', first) == nullptr) return vkRNERROR_INVALID_PARAMETER;
    upperCase(region, length);
    return vkRN_OK;
}

BOOL Dslr1394Object::Utl_APPPathChange(char*) { return TRUE; }

BOOL Dslr1394Object::Utl_APPDriveChange(const char*, char*) { return TRUE; }
