// SCSI commands of the message channel: their bytes, and how one transfer
// becomes a sequence of them against a scripted driver.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "support/fake_port.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"
#include "support/scripted_device.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

class ScsiSequence : public FakePort {
protected:
    // The length field of a 10-byte CDB.
    static DWORD cdbLength10(const IssuedCommand& c) { return (c.cdb[7] << 8) | c.cdb[8]; }
};

TEST_F(ScsiSequence, CommandBlocksCarryTheDocumentedBytes)
{
    struct Case {
        DWORD operation;
        DWORD length;
        Bytes cdb;
        DWORD flags;
        BYTE senseLength;
    } cases[] = {
        {0x03, 84, {0x03, 0, 0, 0, 0x54, 0}, SRB_FLAGS_DATA_IN, 21},
        {0x28, 0x1234, {0x28, 0, 0, 0, 0, 0, 0, 0x12, 0x34, 0}, SRB_FLAGS_DATA_IN, 0},
        {0x2A, 0x8000, {0x2A, 0, 0, 0, 0, 0, 0, 0x80, 0x00, 0}, SRB_FLAGS_DATA_OUT, 0},
        {0xA8,
         0x12345678,
         {0xA8, 0, 0, 0, 0, 0, 0x12, 0x34, 0x56, 0x78, 0, 0},
         SRB_FLAGS_DATA_IN,
         0},
        {0xAA, 0x10000, {0xAA, 0, 0, 0, 0, 0, 0, 0x01, 0, 0, 0, 0}, SRB_FLAGS_DATA_OUT, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.operation);
        SCSISCAN_CMD block = {};
        g_bySrbStatus = 0x77;
        ASSERT_EQ(m_manager->CreateScsiScanCommand(&block, c.operation, c.length), vkRN_OK);
        EXPECT_EQ(g_bySrbStatus, 0);
        EXPECT_EQ(Bytes(block.Cdb, block.Cdb + block.CdbLength), c.cdb);
        EXPECT_EQ(block.Size, sizeof(SCSISCAN_CMD));
        EXPECT_EQ(block.SrbFlags, c.flags);
        EXPECT_EQ(block.SenseLength, c.senseLength);
        EXPECT_EQ(block.TransferLength, c.length);
        EXPECT_EQ(block.pSrbStatus, &g_bySrbStatus);
        EXPECT_EQ(block.pSenseBuffer, c.senseLength ? g_senseData : nullptr);
    }
    LogCapture log(0x1);
    SCSISCAN_CMD block = {};
    EXPECT_EQ(m_manager->CreateScsiScanCommand(&block, 0x12, 8), vkRNERROR_INVALID_PARAMETER);
    EXPECT_TRUE(log.contains("CreateScsiScanCommand: scsiOperation is ERROR(0x12)."));
}

TEST_F(ScsiSequence, TransfersAreCutIntoNegotiatedBlocksAndPartialCompletionsContinue)
{
    struct Case {
        DWORD blockSize;
        DWORD size;
        std::vector<ScriptedCompletion> script;
        std::vector<DWORD> lengths;  // of the commands, in order
        std::vector<DWORD> offsets;  // where each pointed into the data
    } cases[] = {
        {0x8000, 0x14000, {}, {0x8000, 0x8000, 0x4000}, {0, 0x8000, 0x10000}},
        {0x8000, 0x8000, {{0x6000}}, {0x8000, 0x2000}, {0, 0x6000}},
        // Without a negotiated size a command still cannot describe more
        // than 16 bits of length.
        {0, 0x14000, {}, {0xFFFF, 0x4001}, {0, 0xFFFF}},
        // Busy, bus reset and error without data: the same command again.
        {0x8000,
         0x100,
         {{0, SRB_STATUS_BUSY}, {0, SRB_STATUS_BUS_RESET}, {0, SRB_STATUS_ERROR}},
         {0x100, 0x100, 0x100, 0x100},
         {0, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.size);
        Bytes data(c.size, 0x5A);
        m_manager->m_maxScsiDataSize = c.blockSize;
        ScriptedDevice device(c.script);
        ASSERT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, data.data(), c.size, 10000), vkRN_OK);
        ASSERT_EQ(device.commands().size(), c.lengths.size());
        for (std::size_t i = 0; i < c.lengths.size(); ++i) {
            const IssuedCommand& command = device.commands()[i];
            EXPECT_EQ(command.transferLength, c.lengths[i]);
            EXPECT_EQ(cdbLength10(command), c.lengths[i]);
            EXPECT_EQ(command.buffer - data.data(), static_cast<std::ptrdiff_t>(c.offsets[i]));
        }
    }
    ScriptedDevice none({});
    EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, nullptr, 0, 10000), vkRN_OK);
    EXPECT_TRUE(none.commands().empty());
}

TEST_F(ScsiSequence, StatusesThatEndATransfer)
{
    struct Case {
        std::vector<ScriptedCompletion> script;
        DWORD result;
        DWORD flagAfter;
        const char* text;
    } cases[] = {
        {{{0, SRB_STATUS_REQUEST_FLUSHED}},
         vkRNERROR_DEVICE_NOT_AVAILABLE,
         0,
         "Transmission went wrong"},
        {{{0, SRB_STATUS_NO_DEVICE}}, vkRNERROR_TRANSFER_FAILED, 1, "SrbStatus Error(0x8)"},
        {{{0x200}}, vkRNERROR_TRANSFER_FAILED, 1, "exceeds 0x100"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        LogCapture log(0x1);
        ASSERT_EQ(m_manager->WriteMapFile(1), vkRN_OK);
        Bytes data(0x100);
        ScriptedDevice device(c.script);
        EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_READ10, data.data(), 0x100, 10000), c.result);
        EXPECT_EQ(m_manager->ReadMapFile(), c.flagAfter);
        EXPECT_TRUE(log.contains(c.text));
    }
}

TEST_F(ScsiSequence, TimeBudgetsRunOutWithoutWaitingRealSeconds)
{
    FastClock clock(1000);
    {
        // A device that stays busy is asked again until the budget is spent.
        LogCapture log(0x1);
        std::vector<ScriptedCompletion> busy(100000, {0, SRB_STATUS_BUSY});
        ScriptedDevice device(busy);
        Bytes data(16);
        EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, data.data(), 16, 10000),
                  vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(log.contains("ScsiScanSequence: TimeOut Error."));
        EXPECT_GT(device.commands().size(), 1u);
    }
    for (auto [timeout, steps] :
         {std::pair<DWORD, unsigned>{30000, 10}, {180000, 180}, {5000, 10}}) {
        // A command that never completes: one-second steps up to the limit,
        // then the command is taken back.
        ScriptedDevice device({{0, SRB_STATUS_SUCCESS, true}});
        FaultPlan counting;
        Bytes data(16);
        EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_READ10, data.data(), 16, timeout),
                  vkRNERROR_TRANSFER_FAILED);
        EXPECT_EQ(counting.calls(Op::WaitForSingleObject), steps) << timeout;
        EXPECT_EQ(device.cancels(), 1u);
    }
}

}  // namespace
