// Records as they reach the file: which records each flag word lets through
// and with which marker, format, dumps, lifetime.

#include "log/dbg_log.h"
#include "log/log_filter.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

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

std::vector<std::string> recordsWithMarker(const LogCapture& log, const std::string& marker)
{
    std::vector<std::string> found;
    for (const std::string& record : log.records()) {
        if (record.find("] " + marker + " ") != std::string::npos) found.push_back(record);
    }
    return found;
}

int byteCount(const std::string& dumpRecord)
{
    static const std::regex hexByte(" [0-9A-F]{2}(?=( |\\r|\\.$|$))");
    return static_cast<int>(
        std::distance(std::sregex_iterator(dumpRecord.begin(), dumpRecord.end(), hexByte),
                      std::sregex_iterator()));
}

TEST(LogRecord, HasTheDocumentedLayout)
{
    LogCapture log(0x1);
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "base%s failed(%d)", "GetVols", 7);
    const std::regex layout(
        R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d- *\d+\.\d{3} \[0[0-9a-f]+-0[0-9a-f]+\] :<ERROR>: baseGetVols failed\(7\)\.)");
    std::vector<std::string> errors = recordsWithMarker(log, ":<ERROR>:");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_TRUE(std::regex_match(errors[0], layout)) << errors[0];
}

TEST(LogRecord, MarkerIsChosenOnTheFormattedMessage)
{
    LogCapture log(0x2);
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "%s()", "baseNotifyStart");
    Dbg_Printf(DBG_TAG_VKRN, DBG_ENTRY, "base%s", "");  // the format alone would not decide
    EXPECT_EQ(recordsWithMarker(log, ":<FNC>->:").size(), 2u);
}

TEST(LogRecord, FlagWordZeroCreatesNoFile)
{
    LogCapture log(0);
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "never written");
    Dbg_Dump(DBG_TAG_VKRN, "data", "abc", 3);
    log.detach();
    EXPECT_FALSE(std::ifstream(log.path()).good()) << "no file";
}

TEST(LogRecord, AttachWritesVersionAndDetachEndsLogging)
{
    LogCapture log(0x1);
    log.detach();
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "after detach");
    EXPECT_TRUE(log.contains(":       : DllMain: DLL_PROCESS_ATTACH."));
    EXPECT_TRUE(std::regex_search(
        log.text(), std::regex(R"(DllMain: Version\(\w{3} [ \d]\d \d{4} \d\d:\d\d:\d\d\)\.)")));
    EXPECT_TRUE(log.contains("DllMain: DLL_PROCESS_DETACH."));
    EXPECT_FALSE(log.contains("after detach"));
}

TEST(LogRecord, LongMessageIsCutAndMarked)
{
    LogCapture log(0x1);
    std::string longText(5000, 'x');
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "%s", longText.c_str());
    std::vector<std::string> errors = recordsWithMarker(log, ":<ERROR>:");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find(std::string(2044 - 1, 'x') + "..."), std::string::npos);
    EXPECT_EQ(errors[0].find(std::string(2048, 'x')), std::string::npos);
}

TEST(LogRecord, UnknownSystemErrorShowsItsCode)
{
    LogCapture log(0x1);
    Dbg_PrintErrorString(DBG_TAG_VKRN, 0x2BADF00Du);
    EXPECT_TRUE(log.contains("ErrorString = Unknown error (0x2BADF00D)."));
}

struct DumpCase {
    std::uint32_t flags;
    std::uint32_t length;
    const char* header;
    std::vector<int> bytesPerRecord;
    int lines;  // of the first body record
};

TEST(LogDump, LimitsSplitsAndLines)
{
    const DumpCase cases[] = {
        {0x20, 0, "    buf: (Length = 0x0)", {0}, 1},
        {0x20, 16, "    buf: (Length = 0x10)", {16}, 1},
        {0x20, 101, "    buf: (Length = 0x65) output first (100) bytes", {100}, 7},
        {0x20 | DBGFLAG_LONG_DUMPS, 101, "    buf: (Length = 0x65)", {101}, 7},
        {0x20 | DBGFLAG_LONG_DUMPS, 600, "    buf: (Length = 0x258)", {256, 256, 88}, 16},
        {0x20 | DBGFLAG_LONG_DUMPS,
         2000,
         "    buf: (Length = 0x7D0) output first (1024) bytes",
         {256, 256, 256, 256, 0},
         16},
    };
    std::vector<unsigned char> data(2000);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i);
    for (const DumpCase& c : cases) {
        SCOPED_TRACE(c.header);
        LogCapture log(c.flags);
        Dbg_Dump(DBG_TAG_VKRN, "buf", data.data(), c.length);
        std::vector<std::string> heads = recordsWithMarker(log, ":<DUMP> :");
        ASSERT_EQ(heads.size(), 1u);
        EXPECT_NE(heads[0].find(std::string(c.header) + "."), std::string::npos) << heads[0];
        std::vector<std::string> bodies;
        for (const std::string& record : recordsWithMarker(log, ":       :")) {
            if (record.find("DllMain") == std::string::npos) bodies.push_back(record);
        }
        ASSERT_EQ(bodies.size(), c.bytesPerRecord.size());
        for (std::size_t i = 0; i < bodies.size(); ++i) {
            EXPECT_EQ(byteCount(bodies[i]), c.bytesPerRecord[i]);
        }
        const std::string& first = bodies[0];
        EXPECT_EQ(std::count(first.begin(), first.end(), '\n') + 1, c.lines);
        if (c.length >= 17) {
            EXPECT_NE(first.find(" 0F\r\n\t\t\t\t\t\t  10 11"), std::string::npos);
        }
    }
}

TEST(LogDump, NullDataWritesTheHeaderOnly)
{
    LogCapture log(0x20);
    Dbg_Dump(DBG_TAG_VKRN, "none", nullptr, 8);
    EXPECT_TRUE(log.contains(":<DUMP> :     none: (Length = 0x8)."));
    EXPECT_EQ(log.messages().size(), 1u);
}

int g_boxes = 0;
int WINAPI countingMessageBox(HWND, LPCSTR, LPCSTR, UINT)
{
    ++g_boxes;
    return 1;
}
const char* unwritablePath() { return "/nonexistent-folder/vkrn/sub/log.txt"; }

TEST(LogRecord, UnopenableFileShowsTheBoxAndStaysSilent)
{
    LogCapture log(0x1, false);
    os::api().LogFilePath = unwritablePath;
    os::api().MessageBoxA = countingMessageBox;
    g_boxes = 0;
    Dbg_LibraryEntry(DLL_PROCESS_ATTACH);
    Dbg_Printf(DBG_TAG_VKRN, DBG_ERROR, "nowhere to go");
    EXPECT_EQ(g_boxes, 1);
    Dbg_LibraryEntry(DLL_PROCESS_DETACH);
}

}  // namespace
