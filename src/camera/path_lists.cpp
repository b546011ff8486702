// Path lists (a base directory, then names, moves and absolute paths) and
// their expansion into one full path per file. Measuring and writing share
// one walk, so the measured size always covers what is written.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "memory/tracked_memory.h"
#include "object/Dslr1394Object.h"

#include <cstring>

namespace {

bool isSeparator(char c) { return c == '\\' || c == '/'; }

// One string of a list, without its NUL.
struct Piece {
    const char* text;
    DWORD length;
};

// The string at `at`, read no further than `total` bytes: a string the bound
// cuts ends there, and an empty string ends the list.
bool stringAt(const char* list, DWORD total, DWORD at, Piece& piece)
{
    if (at >= total || list[at] == '\0') return false;
    const void* end = std::memchr(list + at, '\0', total - at);
    piece.text = list + at;
    piece.length = end != nullptr ? static_cast<DWORD>(static_cast<const char*>(end) - piece.text)
                                  : total - at;
    return true;
}

bool holdsTwoStrings(const char* list, DWORD total)
{
    Piece first{}, second{};
    return stringAt(list, total, 0, first) && stringAt(list, total, first.length + 1, second);
}

bool startsWithMove(const Piece& e, const char* move)
{
    const DWORD n = static_cast<DWORD>(std::strlen(move));
    return e.length > n && std::memcmp(e.text, move, n) == 0 && isSeparator(e.text[n]);
}

bool isMoveUp(const Piece& e) { return e.length == 2 && e.text[0] == '.' && e.text[1] == '.'; }

char separatorOf(const char* list, DWORD total)
{
    return std::memchr(list, '\\', total) != nullptr ? '\\' : '/';
}

// The base directory of the walk, in scratch space of the list's length: all
// that is ever appended to it comes from another string of the list.
struct Base {
    char* text;
    DWORD length;

    void set(const Piece& piece)
    {
        length = 0;
        append(piece.text, piece.length);
    }
    void append(const char* bytes, DWORD count)
    {
        std::memcpy(text + length, bytes, count);
        length += count;
    }
    // A move up from a base with no separator leaves nothing of it.
    void cutAtLastSeparator()
    {
        while (length > 0 && !isSeparator(text[length - 1])) --length;
        if (length > 0) --length;
    }
};

// Where the expanded paths go: always counted, written when there is an
// output. The count includes each path's NUL and the list's final one.
class PathSink {
public:
    explicit PathSink(char* output) : m_output(output) {}
    void path(const Piece& whole)
    {
        put(whole.text, whole.length);
        put("", 1);
    }
    void path(const Base& base, char separator, const Piece& name)
    {
        put(base.text, base.length);
        put(&separator, 1);
        put(name.text, name.length);
        put("", 1);
    }
    void end() { put("", 1); }
    DWORD written() const { return m_written; }

private:
    void put(const char* bytes, DWORD count)
    {
        if (m_output != nullptr) std::memcpy(m_output + m_written, bytes, count);
        m_written += count;
    }
    char* m_output;
    DWORD m_written = 0;
};

// The paths a list of two or more strings expands to, in order.
void expand(const char* list, DWORD total, Base& base, PathSink& sink)
{
    const char separator = separatorOf(list, total);
    Piece previous{};
    stringAt(list, total, 0, previous);
    base.set(previous);
    Piece e{};
    for (DWORD at = previous.length + 1; stringAt(list, total, at, e); at += e.length + 1) {
        if (isSeparator(e.text[0])) {
            if (isSeparator(previous.text[0])) sink.path(previous);
            base.set(e);
        } else if (startsWithMove(e, "..")) {
            base.cutAtLastSeparator();
            if (e.length > 3) base.append(e.text + 2, e.length - 2);
        } else if (isMoveUp(e)) {
            base.cutAtLastSeparator();
        } else if (startsWithMove(e, ".")) {
            base.append(e.text + 1, e.length - 1);
        } else {
            // Any other entry is a name, "..NAME" included: a file may be
            // called that, and a move needs a separator after its dots.
            sink.path(base, separator, e);
        }
        previous = e;
    }
    if (isSeparator(previous.text[0])) sink.path(previous);
    sink.end();
}

// False when the scratch space for the base cannot be had.
bool expandList(const char* list, DWORD total, PathSink& sink)
{
    Base base{static_cast<char*>(MEM_AllocateMemory(total)), 0};
    if (base.text == nullptr) return false;
    expand(list, total, base, sink);
    MEM_FreeMemory(base.text);
    return true;
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

// 0 when the walk's scratch space cannot be had: no list needs 0 bytes.
DWORD Utl_ExpandedPathLength(const char* list, DWORD total)
{
    if (list == nullptr || !holdsTwoStrings(list, total)) return total;
    PathSink counter(nullptr);
    if (!expandList(list, total, counter)) return 0;
    return counter.written() > total ? counter.written() : total;
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
    if (!holdsTwoStrings(list, total)) {
        std::memcpy(output, list, total);
        if (outputLength != nullptr) *outputLength = total;
        return 0;
    }
    PathSink writer(output);
    const bool expanded = expandList(list, total, writer);
    if (outputLength != nullptr) *outputLength = expanded ? writer.written() : 0;
    return expanded ? 1 : vkRNERROR_OUT_OF_MEMORY;
}
