// Path lists (a base directory, then names, moves and absolute paths) and
// their expansion into one full path per file. Measuring and writing share
// one walk, so the measured size always covers what is written.

#include "camera/camera_paths.h"

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

bool isSeparator(char c) { return c == '\\' || c == '/'; }

// The strings of a list, read no further than `total` bytes: a string the
// bound cuts ends there, and an empty string ends the list.
std::vector<std::string> stringsOf(const char* list, DWORD total)
{
    std::vector<std::string> strings;
    DWORD at = 0;
    while (at < total && list[at] != '\0') {
        const void* end = std::memchr(list + at, '\0', total - at);
        const DWORD length = end != nullptr
                                 ? static_cast<DWORD>(static_cast<const char*>(end) - (list + at))
                                 : total - at;
        strings.emplace_back(list + at, length);
        at += length + 1;
    }
    return strings;
}

// A move up from a base with no separator leaves nothing of it.
void cutAtLastSeparator(std::string& base)
{
    const std::size_t cut = base.find_last_of("\\/");
    base.erase(cut == std::string::npos ? 0 : cut);
}

bool startsWithMove(const std::string& e, const char* move)
{
    const std::size_t n = std::strlen(move);
    return e.size() > n && e.compare(0, n, move) == 0 && isSeparator(e[n]);
}

// The paths a list expands to, in order.
std::vector<std::string> expand(const std::vector<std::string>& strings, char separator)
{
    std::vector<std::string> paths;
    std::string base = strings[0];
    for (std::size_t i = 1; i < strings.size(); ++i) {
        const std::string& e = strings[i];
        const std::string& previous = strings[i - 1];
        if (isSeparator(e[0])) {
            if (isSeparator(previous[0])) paths.push_back(previous);
            base = e;
        } else if (startsWithMove(e, "..")) {
            cutAtLastSeparator(base);
            if (e.size() > 3) base += e.substr(2);
        } else if (e == "..") {
            cutAtLastSeparator(base);
        } else if (startsWithMove(e, ".")) {
            base += e.substr(1);
        } else {
            // Any other entry is a name, "..NAME" included: a file may be
            // called that, and a move needs a separator after its dots.
            std::string path = base;
            path += separator;
            path += e;
            paths.push_back(std::move(path));
        }
    }
    if (isSeparator(strings.back()[0])) paths.push_back(strings.back());
    return paths;
}

char separatorOf(const char* list, DWORD total)
{
    return std::memchr(list, '\\', total) != nullptr ? '\\' : '/';
}

DWORD listBytes(const std::vector<std::string>& paths)
{
    DWORD bytes = 1;  // the final NUL
    for (const std::string& path : paths) bytes += static_cast<DWORD>(path.size()) + 1;
    return bytes;
}

}  // namespace

DWORD _GetTotalPathLength(const char* list)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "_GetTotalPathLength");
    if (list == nullptr) return 0;
    DWORD total = 1;
    for (const char* at = list; *at != '\0'; at += std::strlen(at) + 1)
        total += static_cast<DWORD>(std::strlen(at)) + 1;
    return total;
}

DWORD Utl_ExpandedPathLength(const char* list, DWORD total)
{
    if (list == nullptr) return total;
    const std::vector<std::string> strings = stringsOf(list, total);
    if (strings.size() < 2) return total;
    const DWORD needed = listBytes(expand(strings, separatorOf(list, total)));
    return needed > total ? needed : total;
}

DWORD Dslr1394Object::Utl_MakePathLength(const char* list, DWORD total)
{
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "Utl_MakePathLength");
    return Utl_ExpandedPathLength(list, total);
}

DWORD Utl_MakePathList(const char* list, DWORD total, char* output, DWORD* outputLength)
{
    if (list == nullptr || output == nullptr) {
        if (outputLength != nullptr) *outputLength = 0;
        return 0;
    }
    const std::vector<std::string> strings = stringsOf(list, total);
    if (strings.size() < 2) {
        std::memcpy(output, list, total);
        if (outputLength != nullptr) *outputLength = total;
        return 0;
    }
    DWORD written = 0;
    for (const std::string& path : expand(strings, separatorOf(list, total))) {
        std::memcpy(output + written, path.c_str(), path.size() + 1);
        written += static_cast<DWORD>(path.size()) + 1;
    }
    output[written++] = '\0';
    if (outputLength != nullptr) *outputLength = written;
    return 1;
}
