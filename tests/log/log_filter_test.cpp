// Which records each flag word lets through, and with which marker.

#include "log/dbg_log.h"
#include "log/log_filter.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct FilterCase {
    std::uint32_t flags;
    std::uint32_t level;
    const char* message;
    bool passes;
    const char* marker;
};

const FilterCase kCases[] = {
    // Bit 0: errors and system traces, entry and exit of "base" operations only.
    {0x1, DBG_ERROR, "x failed", true, ":<ERROR>:"},
    {0x1, DBG_ERRTEXT, "ErrorString = y", true, ":       :"},
    {0x1, DBG_SYSCALL, "befor CreateFile", true, ":<W_API>:"},
    {0x1, DBG_DATALEN, "len", true, ":<D_LEN>:"},
    {0x1, DBG_ENTRY, "baseGetVols()", true, ":<FNC>->:"},
    {0x1, DBG_EXIT, "baseGetVols()", true, ":<FNC><-:"},
    {0x1, DBG_ENTRY, "MEM_AllocateMemory()", false, ":       :"},
    {0x1, DBG_CHECK, "check", false, ":<CHECK>:"},
    // Bit 1: entry and exit of everything except "_" steps; no errors.
    {0x2, DBG_ENTRY, "MEM_AllocateMemory()", true, ":       :"},
    {0x2, DBG_ENTRY, "     OpenPort->", true, ":       :"},
    {0x2, DBG_EXIT, "baseGetVols()", true, ":<FNC><-:"},
    {0x2, DBG_ENTRY, "_MEM_IsMemoryValid()", false, ":       :"},
    {0x2, DBG_ERROR, "x failed", false, ":<ERROR>:"},
    // Bit 6: detail, and the "_" steps.
    {0x40, DBG_ENTRY, "_MEM_IsMemoryValid()", true, ":       :"},
    {0x40, DBG_DETAIL, "detail", true, ":       :"},
    {0x40, DBG_ENTRY, "baseGetVols()", false, ":<FNC>->:"},
    // Bit 2 and bit 9: timings; bit 9 alone lets nothing else of bit 2 through.
    {0x4, DBG_TIME, "t", true, ":<TIME> :"},
    {0x4, DBG_VALUE, "v", true, ":<VALUE>:"},
    {0x200, DBG_TIME, "t", true, ":<TIME> :"},
    {0x200, DBG_VALUE, "v", false, ":<VALUE>:"},
    // One bit each for data, events and dumps.
    {0x8, DBG_DATA, "d", true, ":<DATA> :"},
    {0x10, DBG_EVENT, "e", true, ":<EVENT>:"},
    {0x20, DBG_DUMPHEAD, "h", true, ":<DUMP> :"},
    {0x20, DBG_DUMPBODY, " 00", true, ":       :"},
    {0x10, DBG_DUMPBODY, " 00", false, ":       :"},
    // Attach records and unused levels pass whatever the bits.
    {0x8000, DBG_ATTACH, "DllMain: DLL_PROCESS_ATTACH", true, ":       :"},
    {0x8000, DBG_THREAD_ATTACH, "DllMain: DLL_THREAD_ATTACH", true, ":       :"},
    {0x8000, 16, "sixteen", true, ":       :"},
};

TEST(LogFilter, FlagBitsSelectRecordsAndMarkers)
{
    for (const FilterCase& c : kCases) {
        SCOPED_TRACE(std::string(c.message) + " level " + std::to_string(c.level) + " flags " +
                     std::to_string(c.flags));
        EXPECT_EQ(LogFilter_Passes(c.flags, c.level, c.message), c.passes);
        EXPECT_STREQ(LogFilter_Marker(c.level, c.message), c.marker);
    }
}

}  // namespace
