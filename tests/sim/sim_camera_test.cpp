// The in-process simulated camera behind "sim:" ports, driven through the
// library's own message channel.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "memory/sense_message.h"
#include "sim/camera.h"
#include "support/sim_port.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using SimCamera = SimPort;

// The handshake learns what the camera was configured with, and a long
// message then arrives in blocks of the negotiated size.
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
    EXPECT_EQ(m_manager->m_maxScsiDataSize, 0x8000u);
    EXPECT_EQ(m_camera->messagesReceived(),
              (std::vector<std::uint32_t>{0x10000001, 0x10000003, 0x10000004, 0x10000005}));
    m_camera->clearRecords();

    std::vector<BYTE> payload(0x14000 - 8, 0x33);
    ASSERT_EQ(m_manager->WriteSequence(0x10000010, payload.data(),
                                       static_cast<DWORD>(payload.size()), 10000),
              vkRN_OK);
    const std::vector<sim::ReceivedCommand> commands = m_camera->received();
    ASSERT_EQ(commands.size(), 3u);
    const DWORD expected[] = {0x8000, 0x8000, 0x4000};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(commands[i].cdb[0], SCSIOP_WRITE10);
        EXPECT_EQ(commands[i].length, expected[i]);
        EXPECT_EQ(static_cast<DWORD>((commands[i].cdb[7] << 8) | commands[i].cdb[8]), expected[i]);
    }
    EXPECT_EQ(m_camera->messagesReceived(), std::vector<std::uint32_t>{0x10000010});
    EXPECT_EQ(m_manager->DisConnectCamera(), vkRN_OK);
}

TEST_F(SimCamera, SenseReadAnswersWithFixedFormatData)
{
    SenseMessage* sense = new SenseMessage;
    ASSERT_EQ(sense->CreateSenseMessageBuffer(64), vkRN_OK);
    ASSERT_EQ(m_manager->ReadRequestSense(sense), vkRN_OK);
    EXPECT_EQ(sense->GetBufferPointer()[0], 0x70);
    EXPECT_EQ(sense->CheckSenseMessage(9, 0x80), 0);  // no events waiting
    EXPECT_EQ(m_camera->received().back().cdb, (std::vector<std::uint8_t>{0x03, 0, 0, 0, 0x54, 0}));
    delete sense;
}

// Each sense read hands out the oldest event; the ASCQ counts those still
// waiting after it, so the host reads again at once until it is 0.
TEST_F(SimCamera, SenseReadsDrainQueuedEventsInOrder)
{
    m_camera->setEventReports(true);
    m_camera->raiseEvent(0x00040001, {1, 2, 3, 4, 5, 6, 7, 8});
    m_camera->raiseEvent(0x00040002);
    std::vector<BYTE> oversized = sim::eventRecord(0x00040003, std::vector<BYTE>(80, 0xEE));
    m_camera->raiseEventRecord(oversized);
    struct Expected {
        DWORD id, length;
        BYTE waiting;
    };
    const Expected expected[] = {{0x00040001, 20, 2}, {0x00040002, 12, 1}, {0x00040003, 92, 0}};
    for (const Expected& event : expected) {
        SenseMessage* sense = new SenseMessage;
        ASSERT_EQ(sense->CreateSenseMessageBuffer(64), vkRN_OK);
        ASSERT_EQ(m_manager->ReadRequestSense(sense), vkRN_OK);
        EXPECT_EQ(sense->CheckSenseMessage(9, 0x80), event.waiting);
        DWORD words[3];
        std::memcpy(words, sense->GetDataPointer(), sizeof(words));
        EXPECT_EQ(words[1], event.id);
        EXPECT_EQ(words[2], event.length) << "the length word is passed on as the camera wrote it";
        delete sense;
    }
    EXPECT_EQ(m_camera->eventsWaiting(), 0u);
}

}  // namespace
