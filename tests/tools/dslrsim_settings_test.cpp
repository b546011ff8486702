// The camera's settings through the library against dslrsim in its own
// process, with the identity, owner and seconds given on its command line.

#if !defined(_WIN32) && defined(DSLRSIM_PATH)

#include "VKRNQ402.h"
#include "support/child_process.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <ctime>

namespace {

TEST(DslrsimSettings, CommandLineIdentityAndSettingsRoundTrips)
{
    const std::string address = "unix:/tmp/" + uniqueName("dslrsim-settings") + ".sock";
    Dslrsim server(address,
                   {"--model", "0x80000611", "--owner", "Jo Example", "--clock-offset", "3600"});
    ASSERT_TRUE(server.ready()) << server.readAll(2000);
    DslrObject* camera = DSLR_GetObject();
    ASSERT_EQ(camera->baseDslrOpenPort(address.c_str()), vkRN_OK);
    ASSERT_EQ(camera->baseOpenCameraComm(0, nullptr, 0), vkRN_OK);

    dsMODEL_DESCRIP model = {};
    EXPECT_EQ(camera->baseGetModelDescrip(&model), vkRN_OK);
    EXPECT_EQ(+model.dwModelID, 0x80000611u);
    EXPECT_STREQ(model.cModelName, "ARX-4D");
    char owner[32] = {};
    EXPECT_EQ(camera->baseReadSetting(OWNER_NAME, owner), vkRN_OK);
    EXPECT_STREQ(owner, "Jo Example");
    uint32_t seconds = 0;
    EXPECT_EQ(camera->baseReadSetting(CAMERA_TIME, &seconds), vkRN_OK);
    const uint32_t ahead = static_cast<uint32_t>(std::time(nullptr)) + 3600;
    EXPECT_LE(ahead - 3, seconds);
    EXPECT_LE(seconds, ahead + 3);

    EXPECT_EQ(camera->baseWriteSetting(OWNER_NAME, "Kim Example"), vkRN_OK);
    EXPECT_EQ(camera->baseReadSetting(OWNER_NAME, owner), vkRN_OK);
    EXPECT_STREQ(owner, "Kim Example");
    const dsFILE_NAME_PREFIX prefix = {"ABCD", "EFGH", "IJKL"};
    EXPECT_EQ(camera->baseWriteSetting(NAME_PREFIX_EX, &prefix), vkRN_OK);
    dsFILE_NAME_PREFIX read = {};
    EXPECT_EQ(camera->baseReadSetting(NAME_PREFIX_EX, &read), vkRN_OK);
    EXPECT_EQ(std::memcmp(&read, &prefix, sizeof(read)), 0);
    const uint32_t utc = 1700000000;
    seconds = utc;
    EXPECT_EQ(camera->baseWriteSetting(CAMERA_TIME, &seconds), vkRN_OK);
    EXPECT_EQ(camera->baseReadSetting(CAMERA_TIME, &seconds), vkRN_OK);
    EXPECT_LE(seconds - utc, 2u);
    dsCAMERA_FUNCTION_INFO info = {};
    EXPECT_EQ(camera->baseReadSetting(READ_CAMERA_FUNCTION_INFO, &info), vkRN_OK);
    EXPECT_EQ(+info.dwModelID, 0x80000611u);
    char version[33] = {};
    EXPECT_EQ(camera->baseReadSetting(READ_FIRM_VERSION, version), vkRN_OK);
    EXPECT_STREQ(version, "Firmware Version 1.2.3.0");

    EXPECT_EQ(camera->baseCloseCameraComm(), vkRN_OK);
    EXPECT_EQ(camera->baseDslrClosePort(), vkRN_OK);
    DSLR_DeleteObject(camera);
    server.signal(SIGTERM);  // a clean stop removes the socket file
    EXPECT_EQ(server.wait(), 0);
}

}  // namespace

#endif
