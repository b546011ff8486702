// The example host program, in its own process, against dslrsim in another,
// over a local socket: the whole session goes as a working camera lets it.

#if !defined(_WIN32) && defined(DSLRSIM_PATH) && defined(HOST_SESSION_PATH)

#include "support/child_process.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

namespace {

TEST(HostSession, RunsAgainstDslrsimOverALocalSocket)
{
    const std::string address = "unix:/tmp/" + uniqueName("host") + ".sock";
    Dslrsim camera(address);
    ASSERT_TRUE(camera.ready());
    ChildProcess host({HOST_SESSION_PATH, address});
    const std::string output = host.readAll(20000);
    EXPECT_EQ(host.wait(), 0) << output;
    EXPECT_NE(output.find("the reply announces 0x1000 bytes"), std::string::npos) << output;
    EXPECT_NE(output.find("raw data read right after it"), std::string::npos) << output;
    EXPECT_NE(output.find("-> 0x020000E7\n"), std::string::npos) << output;
    EXPECT_NE(output.find("session complete"), std::string::npos) << output;
}

}  // namespace

#endif
