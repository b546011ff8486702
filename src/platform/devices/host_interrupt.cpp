#include "platform/devices/host_interrupt.h"

#include <climits>
#include <cstdlib>

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace devices {

namespace {

// What the still-image driver applies to a command sent before any time-out
// was set, and the library's own default for messages.
constexpr std::uint32_t kUnsetTimeoutMs = 60000;
// Long enough for the caller's wait of the same length to end first, short
// next to any time-out.
constexpr std::uint32_t kDeadlineMarginMs = 500;

#ifndef _WIN32
int readInterruptFd()
{
    const char* text = std::getenv("VKRN_INTERRUPT_FD");
    if (text == nullptr || *text == '\0') return -1;
    char* end = nullptr;
    const long fd = std::strtol(text, &end, 10);
    if (*end != '\0' || fd < 0 || fd > INT_MAX) return -1;
    struct stat info {};
    if (::fstat(static_cast<int>(fd), &info) != 0) return -1;
    if (!S_ISFIFO(info.st_mode) && !S_ISSOCK(info.st_mode)) return -1;
    return static_cast<int>(fd);
}
#endif

}  // namespace

int hostInterruptFd()
{
#ifdef _WIN32
    return -1;
#else
    // Read at each port open (not once per process), so that a host that
    // sets the variable in main(), after the library was loaded, is heard.
    return readInterruptFd();
#endif
}

Deadline commandDeadline(std::uint32_t timeoutMs)
{
    const std::uint32_t limit = timeoutMs != 0 ? timeoutMs : kUnsetTimeoutMs;
    return std::chrono::steady_clock::now() +
           std::chrono::milliseconds(std::uint64_t{limit} + kDeadlineMarginMs);
}

int millisecondsUntil(Deadline deadline)
{
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return 0;
    // Rounded up, so that a wait never ends before its deadline.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
    return left > INT_MAX ? INT_MAX : static_cast<int>(left);
}

}  // namespace devices
