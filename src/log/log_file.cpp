#include "log/log_file.h"

#include "platform/platform_api.h"

#include <cstdio>
#include <ctime>

namespace {

FILE* g_logFile = nullptr;

CRITICAL_SECTION& logLock()
{
    static CRITICAL_SECTION lock;
    static const bool ready = (os::InitializeCriticalSection(&lock), true);
    (void)ready;
    return lock;
}

// The error box texts are in the Japanese ANSI code page on Windows, where
// the box shows them; elsewhere they go to a UTF-8 terminal.
#ifdef _WIN32
constexpr const char kOpenFailedText[] =
    "\x83\x8d\x83\x4f\x83\x74\x83\x40\x83\x43\x83\x8b\x82\xcc\x83\x49\x81\x5b\x83\x76\x83\x93\x82"
    "\xaa\x8f\x6f\x97\x88\x82\xdc\x82\xb9\x82\xf1\x82\xc5\x82\xb5\x82\xbd";
constexpr const char kOpenFailedCaption[] = "\x83\x47\x83\x89\x81\x5b";
constexpr const char kAppendText[] = "at";
#else
constexpr const char kOpenFailedText[] = "ログファイルのオープンが出来ませんでした";
constexpr const char kOpenFailedCaption[] = "エラー";
constexpr const char kAppendText[] = "a";
#endif

}  // namespace

LogLockGuard::LogLockGuard() { os::EnterCriticalSection(&logLock()); }
LogLockGuard::~LogLockGuard() { os::LeaveCriticalSection(&logLock()); }

bool LogFile_Open()
{
    os::timeBeginPeriod(1);
    if (g_logFile == nullptr) g_logFile = std::fopen(os::LogFilePath(), kAppendText);
    if (g_logFile == nullptr) {
        os::MessageBoxA(nullptr, kOpenFailedText, kOpenFailedCaption, MB_OK | MB_APPLMODAL);
        return false;
    }
    return true;
}

void LogFile_Write(const char* marker, const char* message)
{
    if (g_logFile == nullptr) return;
    std::time_t now = std::time(nullptr);
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &now);
#else
    localtime_r(&now, &local);
#endif
    char date[16];
    char clock[16];
    std::strftime(date, sizeof(date), "%m/%d/%y", &local);
    std::strftime(clock, sizeof(clock), "%H:%M:%S", &local);
    std::fprintf(g_logFile, "%s %s-%5.3f [0%lx-0%lx] %s %s.\n", date, clock,
                 static_cast<double>(os::timeGetTime()) * 0.001,
                 static_cast<unsigned long>(os::GetCurrentProcessId()),
                 static_cast<unsigned long>(os::GetCurrentThreadId()), marker, message);
    std::fflush(g_logFile);
}

void LogFile_Close()
{
    os::timeEndPeriod(1);
    if (g_logFile != nullptr) {
        std::fclose(g_logFile);
        g_logFile = nullptr;
    }
}
