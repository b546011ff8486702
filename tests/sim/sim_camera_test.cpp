// The in-process simulated camera behind "sim:" ports, driven through the
// library's own message channel, and its fault controls as a host sees a
// misbehaving camera.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "sim/camera.h"
#include "support/fault_plan.h"
#include "support/sim_port.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

using SimCamera = SimPort;

// The handshake learns what the camera was configured with, and a long
// message then arrives in blocks of the negotiated size; a block the camera
// takes only in part is continued where it stopped.
TEST_F(SimCamera, HandshakeLearnsModelAndBlockSizeThatLongMessagesFollow)
{
    sim::CameraOptions options;
    options.modelId = 0x80000529;
    options.blockSize = 0x8000;
    options.deviceId = 0x42;
    m_camera->configure(options);
    DWORD deviceID = 0, model = 0;
    WORD endian = 1;
    ASSERT_EQ(m_manager->ConnectCamera(&deviceID, &model, &endian), vkRN_OK);
    EXPECT_EQ(deviceID, 0x42u);
    EXPECT_EQ(model, 0x80000529u);
    EXPECT_EQ(endian, 0);
    EXPECT_EQ(m_manager->m_maxScsiDataSize, 0x8000u);
    EXPECT_EQ(m_camera->messagesReceived(),
              (std::vector<std::uint32_t>{0x10000001, 0x10000003, 0x10000004, 0x10000005}));
    // Each request is written, then its reply read; the agreed size goes back
    // to the camera in the set-negotiation message.
    const std::vector<sim::ReceivedCommand> handshake = m_camera->received();
    ASSERT_EQ(handshake.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(handshake[i].cdb[0], i % 2 == 0 ? SCSIOP_WRITE10 : SCSIOP_READ10) << i;
    EXPECT_EQ(handshake[6].data,
              (std::vector<std::uint8_t>{0x05, 0, 0, 0x10, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0}));
    m_camera->clearRecords();

    m_camera->injectFault({SCSIOP_WRITE10, SRB_STATUS_SUCCESS, 0x6000});
    std::vector<BYTE> payload(0x14000 - 8);
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<BYTE>(i * 7);
    ASSERT_EQ(m_manager->WriteSequence(0x10000010, payload.data(),
                                       static_cast<DWORD>(payload.size()), 10000),
              vkRN_OK);
    const std::vector<sim::ReceivedCommand> commands = m_camera->received();
    const DWORD expected[] = {0x8000, 0x2000, 0x8000, 0x4000};  // the first block in two
    ASSERT_EQ(commands.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(commands[i].cdb[0], SCSIOP_WRITE10);
        EXPECT_EQ(commands[i].length, expected[i]);
        EXPECT_EQ(static_cast<DWORD>((commands[i].cdb[7] << 8) | commands[i].cdb[8]), expected[i]);
    }
    // The second command starts where the first one stopped: message byte
    // 0x6000 is payload byte 0x6000 - 8.
    EXPECT_EQ(commands[1].data.front(), payload[0x6000 - 8]);
    EXPECT_EQ(m_camera->messagesReceived(), std::vector<std::uint32_t>{0x10000010});
    EXPECT_EQ(m_manager->DisConnectCamera(), vkRN_OK);
}

// A camera serving others for hours keeps no records, and answers the same.
TEST_F(SimCamera, WithoutRecordsItStillAnswers)
{
    sim::CameraOptions options;
    options.keepRecords = false;
    m_camera->configure(options);
    EXPECT_EQ(connect(), vkRN_OK);
    EXPECT_TRUE(m_camera->received().empty());
    EXPECT_TRUE(m_camera->messagesReceived().empty());
    EXPECT_EQ(m_manager->DisConnectCamera(), vkRN_OK);
    m_camera->configure({});
}

using sim::CommandFault;
using sim::Disposition;
using sim::ReplyOverride;

using SimFaults = SimPort;

TEST_F(SimFaults, HandshakeAgainstEachFault)
{
    constexpr BYTE kRead = SCSIOP_READ10, kWrite = SCSIOP_WRITE10;
    struct Case {
        const char* name;
        std::vector<CommandFault> faults;
        bool silent;
        ReplyOverride reply;
        DWORD result;
        bool flagLowered;
    } cases[] = {
        // clang-format off
        {"busy, error and bus reset repeat", {{kRead, SRB_STATUS_BUSY, 0},
         {kRead, SRB_STATUS_ERROR, 0}, {kWrite, SRB_STATUS_BUS_RESET, 0}}, false, {}, vkRN_OK,
         false},
        {"flushed request: device gone", {{kWrite, SRB_STATUS_REQUEST_FLUSHED, 0}}, false, {},
         vkRNERROR_DEVICE_NOT_AVAILABLE, true},
        {"off the bus", {{kRead, 0, 0, Disposition::kDeviceLost}}, false, {}, vkRNERROR_DEVICE_NOT_AVAILABLE, true},
        {"other SRB status", {{kRead, SRB_STATUS_NO_DEVICE, 0}}, false, {}, vkRNERROR_TRANSFER_FAILED, false},
        {"silent camera", {}, true, {}, vkRNERROR_TRANSFER_FAILED, false},
        {"wrong reply type", {}, false, {0x20000007, {}}, vkRNERROR_INVALID_PARAMETER, false},
        // Too short: the host waits for the rest until its budget is spent.
        {"short reply", {}, false, {{}, 4}, vkRNERROR_TRANSFER_FAILED, false},
        {"long reply", {}, false, {{}, 12}, vkRNERROR_INVALID_PARAMETER, false},
        // clang-format on
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        // Only the silent camera and the short reply need time to run out,
        // and they alone run the clock fast: the others must not lose a real
        // budget to a busy machine.
        std::optional<FastClock> clock;
        if (test.silent || test.reply.length == 4u) clock.emplace(1000);
        m_manager->WriteMapFile(1);
        m_camera->injectFaults(test.faults);
        m_camera->setSilent(test.silent);
        if (test.reply.type || test.reply.length) m_camera->overrideNextReply(test.reply);
        EXPECT_EQ(connect(), test.result);
        EXPECT_EQ(m_manager->ReadMapFile() == 0, test.flagLowered);
        m_camera->setSilent(false);
        m_camera->attach();
        // Whatever the fault left half-done, the next case starts afresh.
        ASSERT_EQ(m_manager->ClosePort(), vkRN_OK);
        ASSERT_EQ(m_manager->OpenPort(("sim:" + m_name).c_str()), vkRN_OK);
        m_camera->clearRecords();
    }
}

}  // namespace
