// The message channel against a scripted driver that plays the camera: the
// SCSI commands' bytes, how one transfer becomes a sequence of them, messages
// and the connection handshake. Then every failure the system can hand it
// during a connection and a sense read with the in-process camera, one call
// at a time: each ends with its documented result code and leaves no block
// and no handle behind.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "memory/message_buffer.h"
#include "memory/sense_message.h"
#include "support/bytes.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"
#include "support/scripted_device.h"
#include "support/sim_port.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

namespace {

// The scripted driver plays the device that the fake port stands for.
using ScsiSequence = FakePort;

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
        // clang-format off
        {0xA8, 0x12345678, {0xA8, 0, 0, 0, 0, 0, 0x12, 0x34, 0x56, 0x78, 0, 0}, SRB_FLAGS_DATA_IN,
         0},
        // clang-format on
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
        // clang-format off
        {0x8000, 0x100, {{0, SRB_STATUS_BUSY}, {0, SRB_STATUS_BUS_RESET}, {0, SRB_STATUS_ERROR}},
         {0x100, 0x100, 0x100, 0x100}, {0, 0, 0, 0}},
        // clang-format on
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
            EXPECT_EQ(command.length10(), c.lengths[i]);
            EXPECT_EQ(command.buffer - data.data(), static_cast<std::ptrdiff_t>(c.offsets[i]));
        }
    }
    ScriptedDevice none({});
    EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, nullptr, 0, 10000), vkRN_OK);
    EXPECT_TRUE(none.commands().empty());
}

// A command that reports more bytes than it asked for ends the transfer; the
// device is not taken for gone. (The SRB statuses that end a transfer are the
// simulator suite's, against the in-process camera.)
TEST_F(ScsiSequence, CompletionLongerThanAskedEndsTheTransfer)
{
    LogCapture log(0x1);
    ASSERT_EQ(m_manager->WriteMapFile(1), vkRN_OK);
    Bytes data(0x100);
    ScriptedDevice device({ScriptedCompletion{0x200}});
    EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_READ10, data.data(), 0x100, 10000),
              vkRNERROR_TRANSFER_FAILED);
    EXPECT_EQ(m_manager->ReadMapFile(), 1u);
    EXPECT_TRUE(log.contains("exceeds 0x100"));
}

TEST_F(ScsiSequence, TimeBudgetsRunOutWithoutWaitingRealSeconds)
{
    {
        // A device that stays busy is asked again until the budget is spent;
        // one that stops being busy is served.
        FastClock clock(100, FastClock::Time::kCounted);
        LogCapture log(0x1);
        ScriptedDevice device({{0, SRB_STATUS_BUSY}}, true);
        Bytes data(16);
        EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, data.data(), 16, 10000),
                  vkRNERROR_TRANSFER_FAILED);
        EXPECT_TRUE(log.contains("ScsiScanSequence: TimeOut Error."));
    }
    {
        ScriptedDevice device({{0, SRB_STATUS_BUSY}, {0, SRB_STATUS_BUSY}, {}});
        Bytes data(16);
        EXPECT_EQ(m_manager->ScsiScanSequence(SCSIOP_WRITE10, data.data(), 16, 10000), vkRN_OK);
        EXPECT_EQ(device.commands().size(), 3u);
    }
    FastClock clock(1000);
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

// A reply message: type, data length, then the words.
ScriptedCompletion reply(DWORD type, std::initializer_list<DWORD> words)
{
    std::vector<DWORD> message = {type, static_cast<DWORD>(4 * words.size())};
    message.insert(message.end(), words);
    Bytes bytes(message.size() * 4);
    std::memcpy(bytes.data(), message.data(), bytes.size());
    return {ScriptedCompletion::kAll, SRB_STATUS_SUCCESS, false, bytes};
}

const ScriptedCompletion kSent{};  // a write that goes out whole

// The camera's side of a handshake; `connectCode` answers connect.
std::vector<ScriptedCompletion> camera(DWORD connectCode, DWORD deviceID, DWORD idBlock,
                                       DWORD negotiatedBlock, DWORD negotiationError = 0)
{
    return {kSent, reply(0x20000001, {0, connectCode}),
            kSent, reply(0x20000003, {0, deviceID, 0x80000402, idBlock}),
            kSent, reply(0x20000004, {negotiationError, negotiatedBlock}),
            kSent, reply(0x20000005, {0, negotiatedBlock})};
}

using Handshake = FakePort;

TEST_F(Handshake, EveryWayItCanEnd)
{
    struct Case {
        const char* name;
        std::vector<ScriptedCompletion> script;
        DWORD result;
        std::size_t commands;
        const char* text;
    } cases[] = {
        {"already connected", camera(1, 7, 0x8000, 0x8000), vkRNERROR_PORT_IS_IN_USE, 8,
         "ConnectResponceCode is ALREADY"},
        {"refused", camera(2, 7, 0x8000, 0x8000), vkRNERROR_CONNECT_REFUSED, 2,
         "ConnectResponceCode is FAILED"},
        {"wait", camera(3, 7, 0x8000, 0x8000), vkRNERROR_PORT_NOT_OPEN, 2,
         "ConnectResponceCode is WAIT"},
        {"unknown", camera(7, 7, 0x8000, 0x8000), vkRNERROR_PORT_NOT_OPEN, 2,
         "ConnectResponceCode(0x7) is nothing"},
        {"no device ID", camera(0, 0, 0x8000, 0x8000), vkRNERROR_NO_DEVICE_ID, 4, "deviceIDData"},
        {"sizes disagree", camera(0, 7, 0x8000, 0x10000), vkRNERROR_TRANSFER_FAILED, 6,
         "m_maxScsiDataSize(0x8000) differs from the gotten maxSizeScsiData(0x10000)"},
        {"negotiation error", camera(0, 7, 0x8000, 0x8000, 5), vkRNERROR_NOT_SUPPORTED, 6,
         "ErrorCode was returned from Device"},
        // clang-format off
        {"wrong reply", {kSent, reply(0x20000003, {0, 0})}, vkRNERROR_INVALID_PARAMETER, 2,
         "messageType was not in agreement"},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log(0x1 | 0x4 | 0x20);
        ScriptedDevice device(c.script);
        DWORD deviceID = 0xAAAA, model = 0xBBBB;
        WORD endian = 0;
        EXPECT_EQ(m_manager->ConnectCamera(&deviceID, &model, &endian), c.result);
        EXPECT_EQ(device.commands().size(), c.commands);
        EXPECT_TRUE(log.contains(c.text));
        if (c.result == vkRNERROR_NO_DEVICE_ID) {
            EXPECT_EQ(deviceID, 0u);
            EXPECT_EQ(model, 0xBBBBu);  // untouched
        }
    }
}

TEST_F(Handshake, StoppedChannelFailsBeforeTheMutex)
{
    ASSERT_EQ(m_manager->WriteMapFile(0), vkRN_OK);
    ScriptedDevice device({});
    FaultPlan counting;
    EXPECT_EQ(m_manager->WriteSequence(0x10000010, nullptr, 0, 10000),
              vkRNERROR_DEVICE_NOT_AVAILABLE);
    BYTE replyBytes[8];
    EXPECT_EQ(m_manager->ReadSequence(0x20000010, replyBytes, 8, 10000),
              vkRNERROR_DEVICE_NOT_AVAILABLE);
    EXPECT_EQ(counting.calls(Op::WaitForSingleObject), 0u);
    EXPECT_TRUE(device.commands().empty());
    EXPECT_EQ(counting.outstandingAllocations(), 0u);
}

TEST_F(Handshake, DisconnectNeedsTheOnlyUser)
{
    EXPECT_EQ(m_manager->DisConnectCamera(), vkRN_OK);
    ASSERT_EQ(m_manager->OpenPort(m_device.path()), vkRN_OK);
    EXPECT_EQ(m_manager->DisConnectCamera(), vkRNERROR_PORT_IS_IN_USE);
    EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
    ScsiScanManager closed;
    EXPECT_EQ(closed.DisConnectCamera(), vkRNERROR_PORT_NOT_OPEN);
}

TEST_F(Handshake, FactoryMessagesRunUnderTheLongDriverTimeOut)
{
    LogCapture log(0x4);
    ScriptedDevice device({kSent, reply(0x20000099, {5})});
    auto request = std::make_unique<MessageBuffer>();
    ASSERT_EQ(request->CreateTransferMessage(0x10000099, nullptr, 0), vkRN_OK);
    EXPECT_EQ(m_manager->FactoryWriteMessage(request.get(), 10000), vkRN_OK);
    auto answer = std::make_unique<MessageBuffer>();
    ASSERT_EQ(answer->CreateRecivedMessageBuffer(4), vkRN_OK);
    EXPECT_EQ(m_manager->FactoryReadMessage(answer.get(), 10000), vkRN_OK);
    EXPECT_EQ(answer->CheckRecivedMessage(0x20000099, 4), vkRN_OK);
    EXPECT_EQ(device.timeouts(), (std::vector<DWORD>{600, 60, 600, 60}));
    EXPECT_TRUE(log.contains("\tFactoryWriteMessage: WriteMessage() was successful."));
    EXPECT_TRUE(log.contains("\tFactoryReadMessage: ReadMessage() was successful."));
}

TEST_F(Handshake, SenseReadsRestoreTheDriverTimeOut)
{
    for (BYTE status : {SRB_STATUS_SUCCESS, SRB_STATUS_NO_DEVICE}) {
        auto sense = std::make_unique<SenseMessage>();
        ASSERT_EQ(sense->CreateSenseMessageBuffer(64), vkRN_OK);
        Bytes senseBytes(84, 0);
        senseBytes[2] = 0x09;
        senseBytes[12] = 0x80;
        senseBytes[13] = 2;
        ScriptedCompletion answer{status == SRB_STATUS_SUCCESS ? ScriptedCompletion::kAll : 0,
                                  status, false,
                                  status == SRB_STATUS_SUCCESS ? senseBytes : Bytes()};
        ScriptedDevice device({answer});
        DWORD result = m_manager->ReadRequestSense(sense.get());
        EXPECT_EQ(result, status == SRB_STATUS_SUCCESS ? vkRN_OK : vkRNERROR_TRANSFER_FAILED);
        EXPECT_EQ(device.timeouts(), (std::vector<DWORD>{10, 60}));
        ASSERT_EQ(device.commands().size(), 1u);
        EXPECT_EQ(device.commands()[0].cdb, (Bytes{0x03, 0, 0, 0, 0x54, 0}));
        if (result == vkRN_OK) {
            EXPECT_EQ(sense->CheckSenseMessage(9, 0x80), 2);
        }
    }
}

class TransferFaults : public SimPort {
protected:
    // A connection followed by a sense read.
    DWORD exercise()
    {
        DWORD result = connect();
        if (result != vkRN_OK) return result;
        auto* sense = new SenseMessage;  // from the table: may fail too
        if (sense == nullptr) return vkRNERROR_OUT_OF_MEMORY;
        result = sense->CreateSenseMessageBuffer(64);
        if (result == vkRN_OK) result = m_manager->ReadRequestSense(sense);
        delete sense;
        return result;
    }
};

TEST_F(TransferFaults, EachFailingCallEndsCleanlyWithItsCode)
{
    struct Case {
        Op op;
        DWORD result;
    };
    const Case cases[] = {
        {Op::Malloc, vkRNERROR_OUT_OF_MEMORY},
        {Op::DeviceIoControl, vkRNERROR_TRANSFER_FAILED},
        {Op::WaitForSingleObject, vkRNERROR_TRANSFER_FAILED},
        {Op::ReleaseMutex, vkRNERROR_TRANSFER_FAILED},
        // The device's answer cannot be had: it is treated as gone.
        {Op::GetOverlappedResult, vkRNERROR_DEVICE_NOT_AVAILABLE},
    };
    unsigned baseline[static_cast<int>(Op::Count)] = {};
    {
        FaultPlan counting;
        ASSERT_EQ(exercise(), vkRN_OK);
        for (const Case& test : cases)
            baseline[static_cast<int>(test.op)] = counting.calls(test.op);
    }
    const std::size_t handles = openHandleCount();
    for (const Case& test : cases) {
        const unsigned calls = baseline[static_cast<int>(test.op)];
        EXPECT_GT(calls, 0u) << OpName(test.op);
        for (unsigned nth = 1; nth <= calls; ++nth) {
            SCOPED_TRACE(std::string(OpName(test.op)) + " #" + std::to_string(nth));
            m_manager->WriteMapFile(1);
            FaultPlan plan;
            plan.fail(test.op, nth);
            EXPECT_EQ(exercise(), test.result);
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
            EXPECT_EQ(openHandleCount(), handles);
        }
    }
}

}  // namespace
