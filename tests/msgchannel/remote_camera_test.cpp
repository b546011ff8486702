// The message channel against dslrsim running as its own process, over a
// local socket and over TCP on the loopback interface (on Windows, the one
// the test script runs natively): the handshake, the negotiated blocks, and
// what every process on the port sees when the camera's process dies in the
// middle of a transfer.

#if defined(_WIN32) || defined(DSLRSIM_PATH)

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "support/fake_device.h"

#ifndef _WIN32
#include "support/child_process.h"
#endif

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace {

// Connects, learns the model and block size, and sends a message longer
// than two blocks.
void handshakeAndLongMessage(const std::string& address, DWORD expectedModel,
                             DWORD expectedBlockSize)
{
    auto manager = std::make_unique<ScsiScanManager>();
    ASSERT_EQ(manager->OpenPort(address.c_str()), vkRN_OK);
    DWORD deviceID = 0, model = 0;
    WORD endian = 1;
    ASSERT_EQ(manager->ConnectCamera(&deviceID, &model, &endian), vkRN_OK);
    EXPECT_EQ(model, expectedModel);
    if (expectedBlockSize != 0) {
        EXPECT_EQ(manager->m_maxScsiDataSize, expectedBlockSize);
    }
    std::vector<BYTE> payload(0x14000 - 8, 0x11);
    EXPECT_EQ(manager->WriteSequence(0x10000010, payload.data(), static_cast<DWORD>(payload.size()),
                                     10000),
              vkRN_OK);
    EXPECT_EQ(manager->DisConnectCamera(), vkRN_OK);
    EXPECT_EQ(manager->ClosePort(), vkRN_OK);
}

#ifdef _WIN32

// The Windows build reaches a dslrsim that the test script runs natively and
// names in VKRN_DSLRSIM_ADDRESS ("tcp:127.0.0.1:PORT"); without one the test
// has nothing to talk to.
TEST(RemoteCamera, HandshakeWithTheCameraNamedByTheEnvironment)
{
    const char* address = std::getenv("VKRN_DSLRSIM_ADDRESS");
    if (address == nullptr) GTEST_SKIP() << "VKRN_DSLRSIM_ADDRESS is not set";
    handshakeAndLongMessage(address, 0x80000402, 0);
}

#else

std::string unixAddress() { return "unix:/tmp/" + uniqueName("dslrsim") + ".sock"; }

TEST(RemoteCamera, HandshakeAndNegotiatedBlocksOverEachTransport)
{
    for (const std::string& address :
         {unixAddress(), "tcp:127.0.0.1:" + std::to_string(freeLoopbackPort())}) {
        SCOPED_TRACE(address);
        Dslrsim camera(address, {"--model", "0x80000529", "--block-size", "32768"});
        ASSERT_TRUE(camera.ready());
        handshakeAndLongMessage(address, 0x80000529, 0x8000);
    }
}

// The camera's process is killed while this process waits for a reply it
// keeps asking for: the transfer ends as a lost device, and another process
// on the port stops at its next message without reaching the device.
TEST(RemoteCamera, KilledCameraLowersTheFlagForEveryProcessOnThePort)
{
    const std::string address = unixAddress();
    Dslrsim camera(address);
    ASSERT_TRUE(camera.ready());
    ChildProcess peer({PORT_PEER_PATH, address});
    ASSERT_EQ(peer.readLine(), "open 0x00000000");

    auto manager = std::make_unique<ScsiScanManager>();
    ASSERT_EQ(manager->OpenPort(address.c_str()), vkRN_OK);
    DWORD deviceID = 0, model = 0;
    WORD endian = 0;
    ASSERT_EQ(manager->ConnectCamera(&deviceID, &model, &endian), vkRN_OK);

    DWORD result = vkRN_OK;
    std::thread reader([&] {
        BYTE reply[8];
        result = manager->ReadSequence(0x20000010, reply, sizeof(reply), 10000);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    camera.signal(SIGKILL);
    reader.join();
    EXPECT_EQ(result, vkRNERROR_DEVICE_NOT_AVAILABLE);
    EXPECT_EQ(manager->ReadMapFile(), 0u);

    peer.writeLine("flag");
    EXPECT_EQ(peer.readLine(), "flag 0");
    peer.writeLine("message");
    EXPECT_EQ(peer.readLine(), "result 0x02000080");
    peer.writeLine("close");
    EXPECT_EQ(peer.wait(), 0);
    manager->ClosePort();
}

#endif

}  // namespace

#endif
