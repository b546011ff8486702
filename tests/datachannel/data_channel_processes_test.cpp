// Two processes on the data channel of one camera served by dslrsim: the
// data-channel mutex lets one of them at a time at the device.

#if !defined(_WIN32) && defined(DSLRSIM_PATH)

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "support/child_process.h"
#include "support/fake_device.h"
#include "support/fault_plan.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(DataChannelProcesses, OneProcessAtATimeReachesTheCamera)
{
    // The port path must fit the device object's 32-byte copy of it.
    const std::string address = "unix:/tmp/" + uniqueName("d") + ".s";
    ASSERT_LT(address.size(), 32u);
    Dslrsim camera(address);
    ASSERT_TRUE(camera.ready());
    auto* object = static_cast<Dslr1394Object*>(DSLR_GetObject());
    ASSERT_EQ(object->ScanMngrOpenPort(address.c_str()), vkRN_OK);

    ChildProcess peer({PORT_PEER_PATH, address});
    ASSERT_EQ(peer.readLine(), "open 0x00000000");
    peer.writeLine("dataopen");
    ASSERT_EQ(peer.readLine(), "dataopen 0x00000000");
    peer.writeLine("datahold");
    ASSERT_EQ(peer.readLine(), "held");

    const std::vector<BYTE> data = {0x01, 0, 0, 0x10, 0, 0, 0, 0};  // a connect message
    DWORD written = 0xDEAD;
    {
        FastClock clock(1000);  // the 30-second mutex wait passes in 30 ms
        EXPECT_EQ(object->ScanMngrScsiWrite(data.data(), 8, &written, 10000), vkRN_OK);
        EXPECT_EQ(written, 0u) << "the other process holds the data channel";
    }
    peer.writeLine("datarelease");
    ASSERT_EQ(peer.readLine(), "released");
    EXPECT_EQ(object->ScanMngrScsiWrite(data.data(), 8, &written, 10000), vkRN_OK);
    EXPECT_EQ(written, 8u);
    std::vector<BYTE> reply(16);
    DWORD read = 0;
    EXPECT_EQ(object->_ScanMngrScsiRead(reply.data(), 16, &read, 10000), vkRN_OK);
    EXPECT_EQ(read, 16u);
    EXPECT_EQ(reply[3], 0x20) << "the camera answered the connect message";

    peer.writeLine("close");
    EXPECT_EQ(peer.wait(), 0);
    EXPECT_EQ(object->ScanMngrClosePort(), vkRN_OK);
    DSLR_DeleteObject(object);
}

}  // namespace

#endif
