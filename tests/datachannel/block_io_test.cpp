// Block reads and writes of the data channel against a scripted driver:
// the commands they send, how partial and failed completions continue or
// end, and what the caller is told.

#include "support/bytes.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/fresh_object.h"
#include "support/log_capture.h"
#include "support/scripted_device.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class BlockIo : public FreshObject {
protected:
    void SetUp() override
    {
        ASSERT_NE(m_object, nullptr);
        ASSERT_EQ(m_object->ScanMngrOpenPort(m_port.c_str()), vkRN_OK);
    }
    void TearDown() override
    {
        m_object->ScanMngrClosePort();
        FreshObject::TearDown();
    }

    // The scripted driver answers in place of the camera; the port path
    // only has to open and fit the object's 32-byte copy of it.
    std::string m_port = "sim:" + uniqueName("d");
};

// Which commands a read of each length becomes, and what the caller learns.
TEST_F(BlockIo, ReadsAreSplitIntoBlocksOfAtMost0xFF00)
{
    struct Case {
        const char* name;
        bool direct;
        DWORD length;
        std::vector<DWORD> commands;
        DWORD result;
    } cases[] = {
        {"one full block", false, 0xFF00, {0xFF00}, vkRN_OK},
        {"over a block, refused before the mutex", false, 0xFF01, {}, vkRNERROR_TRANSFER_FAILED},
        {"direct, two full blocks", true, 0x1FE00, {0xFF00, 0xFF00}, vkRN_OK},
        {"direct, two blocks and one byte", true, 0x1FE01, {0xFF00, 0xFF00, 1}, vkRN_OK},
        {"direct, nothing", true, 0, {}, vkRN_OK},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FaultPlan counting;
        ScriptedDevice device({});
        Bytes buffer(test.length + 1);
        DWORD read = 0xDEAD;
        const DWORD result =
            test.direct ? m_object->ScanMngrScsiReadDirect(buffer.data(), test.length, &read, 10000)
                        : m_object->_ScanMngrScsiRead(buffer.data(), test.length, &read, 10000);
        EXPECT_EQ(result, test.result);
        ASSERT_EQ(device.commands().size(), test.commands.size());
        DWORD offset = 0;
        for (std::size_t i = 0; i < test.commands.size(); ++i) {
            const IssuedCommand& command = device.commands()[i];
            EXPECT_EQ(command.cdb,
                      (Bytes{0x28, 0, 0, 0, 0, 0, 0, static_cast<BYTE>(test.commands[i] >> 8),
                             static_cast<BYTE>(test.commands[i]), 0}));
            EXPECT_EQ(command.buffer, buffer.data() + offset);
            offset += test.commands[i];
        }
        EXPECT_EQ(read, test.result == vkRN_OK ? test.length : 0u);
        if (test.commands.empty() && !test.direct) {
            EXPECT_EQ(counting.calls(Op::WaitForSingleObject), 0u) << "the mutex was not touched";
        }
    }
}

TEST_F(BlockIo, EitherRead12FlagSelectsTheTwelveByteCommand)
{
    for (DWORD flag : {DBGFLAG_READ12, DBGFLAG_READ12_BLOCKWISE}) {
        Dbg_SetLogLevelForTest(flag);
        ScriptedDevice device({});
        Bytes buffer(0x1234);
        DWORD read = 0;
        ASSERT_EQ(m_object->_ScanMngrScsiRead(buffer.data(), 0x1234, &read, 10000), vkRN_OK);
        ASSERT_EQ(device.commands().size(), 1u);
        EXPECT_EQ(device.commands()[0].cdb, (Bytes{0xA8, 0, 0, 0, 0, 0, 0, 0, 0x12, 0x34, 0, 0}));
    }
}

// The SRB status after a command that moved nothing decides: ask again,
// give up as a lost device, or stop with what has arrived.
TEST_F(BlockIo, StatusesOfEmptyCompletions)
{
    struct Case {
        const char* name;
        std::vector<ScriptedCompletion> script;
        DWORD result;
        DWORD count;
        std::size_t commands;
        DWORD lastAt;  // where the last command started in the data
        const char* text;
    } cases[] = {
        // clang-format off
        {"partial, then the rest at the advanced offset", {{0x800}, {ScriptedCompletion::kAll}},
         vkRN_OK, 0x1000, 2, 0x800, "SendMsgTime"},
        {"busy, error and bus reset are repeated",
         {{0, SRB_STATUS_BUSY}, {0, SRB_STATUS_ERROR}, {0, SRB_STATUS_BUS_RESET}, {}},
         vkRN_OK, 0x1000, 4, 0, "ScanMngrScsiWrite: SRB_STATUS_BUS_RESET"},
        {"request flushed", {{0x400}, {0, SRB_STATUS_REQUEST_FLUSHED}}, vkRNERROR_TRANSFER_FAILED,
         0x400, 2, 0x400, "bNoDeviceFlagPtr is NULL in ScanMngrScsiWrite()"},
        {"no device: stops with what has moved", {{0x400}, {0, SRB_STATUS_NO_DEVICE}}, vkRN_OK,
         0x400, 2, 0x400, "Output Length Error in ScanMngrScsiWrite(). dwOutputLength(0xc00)"},
        // clang-format on
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        LogCapture log(0x1 | 0x4);
        ScriptedDevice device(test.script);
        Bytes data(0x1000, 0x5A);
        DWORD written = 0;
        EXPECT_EQ(m_object->ScanMngrScsiWrite(data.data(), 0x1000, &written, 10000), test.result);
        EXPECT_EQ(written, test.count);
        ASSERT_EQ(device.commands().size(), test.commands);
        EXPECT_TRUE(log.contains(test.text));
        // Each command asks for the rest of the data, with the same address bytes.
        const IssuedCommand& last = device.commands().back();
        EXPECT_EQ(last.buffer, data.data() + test.lastAt);
        EXPECT_EQ(last.length10(), 0x1000 - test.lastAt);
        EXPECT_EQ(last.cdb[4], 0);
    }
}

TEST_F(BlockIo, BusyDeviceIsAskedAgainOnlyUntilTheTimeOut)
{
    FastClock clock(1000, FastClock::Time::kCounted);
    // The device stays busy for ever: only the time-out can end the read.
    ScriptedDevice device({{0, SRB_STATUS_BUSY}}, true);
    Bytes buffer(0x100);
    DWORD read = 0xDEAD;
    EXPECT_EQ(m_object->_ScanMngrScsiRead(buffer.data(), 0x100, &read, 20000),
              vkRNERROR_TRANSFER_FAILED);
    EXPECT_EQ(read, 0u);
    EXPECT_GE(device.commands().size(), 1u);
}

// A flushed read logs the no-device report unless debug bit 28 says not to.
TEST_F(BlockIo, FlushedReadReportsUnlessTheFlagSaysNot)
{
    for (bool quiet : {false, true}) {
        LogCapture log(0x1u | (quiet ? DBGFLAG_NO_READ_NODEVICE : 0u));
        ScriptedDevice device({{0, SRB_STATUS_REQUEST_FLUSHED}});
        Bytes buffer(0x10);
        DWORD read = 0;
        EXPECT_EQ(m_object->_ScanMngrScsiRead(buffer.data(), 0x10, &read, 1000),
                  vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(
            log.contains("bySrbStatus is SRB_STATUS_REQUEST_FLUSHED in _ScanMngrScsiRead()"));
        EXPECT_EQ(log.contains("bNoDeviceFlagPtr is NULL in _ScanMngrScsiRead()"), !quiet);
    }
}

TEST_F(BlockIo, ClosedChannelAndEmptyWrite)
{
    ScriptedDevice device({});
    Bytes data(0x10);
    DWORD count = 0xDEAD;
    EXPECT_EQ(m_object->ScanMngrScsiWrite(data.data(), 0, &count, 1000), vkRN_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(device.commands().empty());
    ASSERT_EQ(m_object->ScanMngrClosePort(), vkRN_OK);
    EXPECT_EQ(m_object->ScanMngrClosePort(), vkRN_OK) << "closing a closed port is fine";
    EXPECT_EQ(m_object->ScanMngrScsiWrite(data.data(), 0x10, &count, 1000),
              vkRNERROR_DEVICE_NOT_AVAILABLE);
    EXPECT_EQ(m_object->_ScanMngrScsiRead(data.data(), 0x10, &count, 1000),
              vkRNERROR_DEVICE_NOT_AVAILABLE);
    EXPECT_EQ(count, 0u);
}

}  // namespace
