#include "log/log_filter.h"

#include "log/dbg_log.h"

#include <cstring>

namespace {

constexpr std::uint32_t kErrors = 0x001;     // errors, error texts, system calls, lengths
constexpr std::uint32_t kEntryExit = 0x002;  // entry and exit of every function
constexpr std::uint32_t kChecks = 0x004;     // checks, values, timings
constexpr std::uint32_t kData = 0x008;
constexpr std::uint32_t kEvents = 0x010;
constexpr std::uint32_t kDumps = 0x020;
constexpr std::uint32_t kDetail = 0x040;  // detail, entry and exit of "_" functions
constexpr std::uint32_t kTimings = 0x200;

constexpr const char* kBlankMarker = ":       :";

bool isPublicOperation(const char* message) { return std::strncmp(message, "base", 4) == 0; }
bool isInternalStep(const char* message) { return message[0] == '_'; }

bool entryExitPasses(std::uint32_t flags, const char* message)
{
    if (isPublicOperation(message)) return (flags & (kErrors | kEntryExit)) != 0;
    if (isInternalStep(message)) return (flags & kDetail) != 0;
    return (flags & kEntryExit) != 0;
}

}  // namespace

bool LogFilter_Passes(std::uint32_t flags, std::uint32_t level, const char* message)
{
    switch (level) {
        case DBG_ATTACH:
        case DBG_THREAD_ATTACH:
            return true;
        case DBG_ERROR:
        case DBG_ERRTEXT:
        case DBG_SYSCALL:
        case DBG_DATALEN:
            return (flags & kErrors) != 0;
        case DBG_ENTRY:
        case DBG_EXIT:
            return entryExitPasses(flags, message);
        case DBG_CHECK:
        case DBG_VALUE:
            return (flags & kChecks) != 0;
        case DBG_TIME:
            return (flags & (kChecks | kTimings)) != 0;
        case DBG_DATA:
            return (flags & kData) != 0;
        case DBG_EVENT:
            return (flags & kEvents) != 0;
        case DBG_DUMPHEAD:
        case DBG_DUMPBODY:
            return (flags & kDumps) != 0;
        case DBG_DETAIL:
            return (flags & kDetail) != 0;
        default:
            return true;  // no caller uses the levels above 15
    }
}

const char* LogFilter_Marker(std::uint32_t level, const char* message)
{
    switch (level) {
        case DBG_ERROR:
            return ":<ERROR>:";
        case DBG_ENTRY:
            return isPublicOperation(message) ? ":<FNC>->:" : kBlankMarker;
        case DBG_EXIT:
            return isPublicOperation(message) ? ":<FNC><-:" : kBlankMarker;
        case DBG_SYSCALL:
            return ":<W_API>:";
        case DBG_DATALEN:
            return ":<D_LEN>:";
        case DBG_CHECK:
            return ":<CHECK>:";
        case DBG_VALUE:
            return ":<VALUE>:";
        case DBG_TIME:
            return ":<TIME> :";
        case DBG_DATA:
            return ":<DATA> :";
        case DBG_EVENT:
            return ":<EVENT>:";
        case DBG_DUMPHEAD:
            return ":<DUMP> :";
        default:
            return kBlankMarker;
    }
}
