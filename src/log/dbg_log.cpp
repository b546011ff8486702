// Trace records, hex dumps and system error texts.
//
// With a flag word of 0 (the normal case on a user's machine) every call
// returns after one cached read, so callers log unconditionally.

#include "log/dbg_log.h"

#include "log/log_file.h"
#include "log/log_filter.h"
#include "platform/platform_api.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<std::uint32_t> g_flagWord{0};
std::atomic<bool> g_flagWordRead{false};

constexpr std::size_t kMessageChars = 2048;
constexpr std::size_t kDumpChars = 2048;

// Formats into the record buffer. A message that does not fit is cut and
// ends in "..." so that a reader of the log sees that text is missing.
void formatMessage(char (&message)[kMessageChars], const char* format, va_list args)
{
    int written = std::vsnprintf(message, kMessageChars, format, args);
    if (written < 0) {
        message[0] = '\0';
    } else if (static_cast<std::size_t>(written) >= kMessageChars) {
        std::memcpy(message + kMessageChars - 4, "...", 4);
    }
}

bool beginsWith(const char* text, const char* prefix)
{
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// Appends to the dump buffer; the composition never exceeds it because a
// record is written out after at most 256 bytes (under 1,000 characters).
void appendText(char (&buffer)[kDumpChars], std::size_t& used, const char* text)
{
    std::size_t length = std::strlen(text);
    if (used + length >= kDumpChars) return;
    std::memcpy(buffer + used, text, length + 1);
    used += length;
}

}  // namespace

std::uint32_t Dbg_GetLogLevel()
{
    if (g_flagWordRead.load(std::memory_order_acquire)) return g_flagWord.load();
    g_flagWordRead.store(true, std::memory_order_release);

    HKEY key = nullptr;
    if (os::RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE\\Velor\\ARXdebug", 0, KEY_QUERY_VALUE,
                          &key) != ERROR_SUCCESS) {
        return 0;
    }
    DWORD value = 0;
    DWORD type = 0;
    DWORD size = sizeof(value);
    // The value's type is not checked: any 4-byte value is taken as the word.
    if (os::RegQueryValueExA(key, "dslrLogLevel", nullptr, &type, reinterpret_cast<LPBYTE>(&value),
                             &size) != ERROR_SUCCESS) {
        value = 0;
    }
    g_flagWord.store(value);
    os::RegCloseKey(key);
    return value;
}

void Dbg_SetLogLevelForTest(std::uint32_t flags)
{
    g_flagWord.store(flags);
    g_flagWordRead.store(true, std::memory_order_release);
}

void Dbg_ResetLogLevelForTest()
{
    g_flagWord.store(0);
    g_flagWordRead.store(false, std::memory_order_release);
}

void Dbg_Printf(const char* tag, std::uint32_t level, const char* format, ...)
{
    (void)tag;  // the tag is accepted for the callers' benefit but not written
    std::uint32_t flags = Dbg_GetLogLevel();
    if (flags == 0 || format == nullptr) return;

    LogLockGuard lock;
    char message[kMessageChars];
    va_list args;
    va_start(args, format);
    formatMessage(message, format, args);
    va_end(args);

    if (level == DBG_ATTACH && beginsWith(format, "DllMain: DLL_PROCESS_ATTACH")) {
        if (!LogFile_Open()) return;
    }
    if (LogFilter_Passes(flags, level, message)) {
        LogFile_Write(LogFilter_Marker(level, message), message);
    }
    if (level == DBG_ATTACH && beginsWith(format, "DllMain: DLL_PROCESS_DETACH")) {
        LogFile_Close();
    }
}

void Dbg_Dump(const char* tag, const char* title, const void* data, std::uint32_t length)
{
    std::uint32_t flags = Dbg_GetLogLevel();
    if (flags == 0) return;
    if (title == nullptr) title = "";

    const std::uint32_t limit = (flags & DBGFLAG_LONG_DUMPS) ? 1024u : 100u;
    std::uint32_t count = length;
    if (length > limit) {
        count = limit;
        Dbg_Printf(tag, DBG_DUMPHEAD, "    %s: (Length = 0x%lX) output first (%ld) bytes", title,
                   static_cast<unsigned long>(length), static_cast<long>(limit));
    } else {
        Dbg_Printf(tag, DBG_DUMPHEAD, "    %s: (Length = 0x%lX)", title,
                   static_cast<unsigned long>(length));
    }

    // One buffer per call, so that threads dumping at once do not share it.
    char buffer[kDumpChars] = {};
    std::size_t used = 0;
    if (data == nullptr) return;

    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (i != 0 && i % 16 == 0) {
            Dbg_Printf(tag, DBG_VALUE, "%d", static_cast<int>(i));
            appendText(buffer, used, "\r\n\t\t\t\t\t\t ");
        }
        char hex[8];
        std::snprintf(hex, sizeof(hex), " %2.2X", bytes[i]);
        appendText(buffer, used, hex);
        if (count > 256 && (i + 1) % 256 == 0) {
            Dbg_Printf(tag, DBG_DUMPBODY, "%s", buffer);
            buffer[0] = '\0';
            used = 0;
        }
    }
    Dbg_Printf(tag, DBG_DUMPBODY, "%s", buffer);
}

void Dbg_PrintErrorString(const char* tag, DWORD errorCode)
{
    if (Dbg_GetLogLevel() == 0) return;

    LPSTR text = nullptr;
    DWORD length = os::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, errorCode, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
        reinterpret_cast<LPSTR>(&text), 0, nullptr);
    if (length == 0 || text == nullptr) {
        // No system text: the code itself is the most useful thing to show.
        Dbg_Printf(tag, DBG_ERRTEXT, "ErrorString = Unknown error (0x%08lX)",
                   static_cast<unsigned long>(errorCode));
        return;
    }
    Dbg_Printf(tag, DBG_ERRTEXT, "ErrorString = %s", text);
    os::LocalFree(text);
}

BOOL Dbg_LibraryEntry(DWORD reason)
{
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            Dbg_Printf(DBG_TAG_VKRN, DBG_ATTACH, "DllMain: DLL_PROCESS_ATTACH");
            Dbg_Printf(DBG_TAG_VKRN, DBG_ATTACH, "DllMain: Version(%s)", __DATE__ " " __TIME__);
            break;
        case DLL_PROCESS_DETACH:
            Dbg_Printf(DBG_TAG_VKRN, DBG_ATTACH, "DllMain: DLL_PROCESS_DETACH");
            break;
        case DLL_THREAD_ATTACH:
            Dbg_Printf(DBG_TAG_VKRN, DBG_THREAD_ATTACH, "DllMain: DLL_THREAD_ATTACH");
            break;
        case DLL_THREAD_DETACH:
            Dbg_Printf(DBG_TAG_VKRN, DBG_THREAD_ATTACH, "DllMain: DLL_THREAD_DETACH");
            break;
        default:
            Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "DllMain: Invalid 'reason' parameter.");
            break;
    }
    return TRUE;
}
