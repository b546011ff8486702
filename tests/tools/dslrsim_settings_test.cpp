// The camera's settings through the library against dslrsim in its own
// process: on POSIX systems started here with the identity, owner and clock
// given on its command line; on Windows the native one the test script runs
// with its defaults (VKRN_DSLRSIM_ADDRESS), reached over TCP.

#if defined(_WIN32) || defined(DSLRSIM_PATH)

#include "VKRNQ402.h"
#include "support/connected_object.h"
#include "support/fake_device.h"

#ifndef _WIN32
#include "support/child_process.h"
#endif

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>

namespace {

// What a camera fresh from its command line says; a shared camera that
// earlier runs may have changed has no owner or clock to expect (null owner).
struct Expected {
    uint32_t modelId;
    const char* owner;
    uint32_t clockOffset;
};

// What the command line decides, and a write read back over the socket; the
// settings themselves are the camera suite's.
void roundTrips(const std::string& address, const Expected& expected)
{
    ConnectedObject camera(address);
    ASSERT_TRUE(camera.connected());
    dsMODEL_DESCRIP model = {};
    EXPECT_EQ(camera->baseGetModelDescrip(&model), vkRN_OK);
    EXPECT_EQ(+model.dwModelID, expected.modelId);
    EXPECT_STREQ(model.cModelName, "ARX-4D");
    dsCAMERA_FUNCTION_INFO info = {};
    EXPECT_EQ(camera->baseReadSetting(READ_CAMERA_FUNCTION_INFO, &info), vkRN_OK);
    EXPECT_EQ(+info.dwModelID, expected.modelId);
    char owner[32] = {};
    if (expected.owner != nullptr) {
        EXPECT_EQ(camera->baseReadSetting(OWNER_NAME, owner), vkRN_OK);
        EXPECT_STREQ(owner, expected.owner);
        uint32_t seconds = 0;
        // The camera read its running clock between these two looks at ours.
        const uint32_t before = static_cast<uint32_t>(std::time(nullptr)) + expected.clockOffset;
        EXPECT_EQ(camera->baseReadSetting(CAMERA_TIME, &seconds), vkRN_OK);
        const uint32_t after = static_cast<uint32_t>(std::time(nullptr)) + expected.clockOffset;
        EXPECT_LE(before, seconds);
        EXPECT_LE(seconds, after);
    }
    EXPECT_EQ(camera->baseWriteSetting(OWNER_NAME, "Kim Example"), vkRN_OK);
    EXPECT_EQ(camera->baseReadSetting(OWNER_NAME, owner), vkRN_OK);
    EXPECT_STREQ(owner, "Kim Example");
}

#ifdef _WIN32

TEST(DslrsimSettings, RoundTripsOverTcp)
{
    const char* address = std::getenv("VKRN_DSLRSIM_ADDRESS");
    if (address == nullptr) GTEST_SKIP() << "VKRN_DSLRSIM_ADDRESS is not set";
    roundTrips(address, {0x80000402, nullptr, 0});
}

#else

TEST(DslrsimSettings, CommandLineIdentityAndSettingsRoundTrips)
{
    const std::string address = "unix:/tmp/" + uniqueName("dslrsim-settings") + ".sock";
    Dslrsim server(address,
                   {"--model", "0x80000611", "--owner", "Jo Example", "--clock-offset", "3600"});
    ASSERT_TRUE(server.ready()) << server.readAll(2000);
    roundTrips(address, {0x80000611, "Jo Example", 3600});
    server.signal(SIGTERM);  // a clean stop removes the socket file
    EXPECT_EQ(server.wait(), 0);
}

#endif

}  // namespace

#endif
