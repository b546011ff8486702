// Provider devices seen through the platform table, as the library sees
// them: overlapped completion, cancellation, closing with commands pending,
// a device that leaves the bus, and blocks that must be refused.

#include "platform/platform_api.h"
#include "platform/scsiscan.h"
#include "sim/camera.h"
#include "support/bytes.h"
#include "support/fake_device.h"
#include "support/still_image_command.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Command = StillImageCommand;

class ProviderDevice : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_camera = sim::cameraNamed(m_name);
        m_device = open();
        ASSERT_NE(m_device, INVALID_HANDLE_VALUE);
    }
    void TearDown() override
    {
        m_camera->setSilent(false);
        m_camera->attach();
        if (m_device != INVALID_HANDLE_VALUE) os::CloseHandle(m_device);
    }
    HANDLE open() { return openStillImageDevice("sim:" + m_name); }

    std::string m_name = uniqueName("provider");
    std::shared_ptr<sim::Camera> m_camera;
    HANDLE m_device = INVALID_HANDLE_VALUE;
};

// The in-process camera answers at once: the call returns with the command
// complete, its record and event set as for a command that was pending.
TEST_F(ProviderDevice, CompletesAtOnceWithStatusAndCount)
{
    const BYTE connect[8] = {0x01, 0x00, 0x00, 0x10};
    Command write(SCSIOP_WRITE10, sizeof(connect));
    std::memcpy(write.data.data(), connect, sizeof(connect));
    ASSERT_TRUE(write.issue(m_device));
    ASSERT_EQ(os::WaitForSingleObject(write.event, 0), WAIT_OBJECT_0);
    DWORD count = 0, error = 0;
    ASSERT_TRUE(write.result(m_device, count, error));
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(write.srbStatus, SRB_STATUS_SUCCESS);

    Command read(SCSIOP_READ10, 0x100, 0xAA);
    ASSERT_TRUE(read.issue(m_device));
    ASSERT_TRUE(read.result(m_device, count, error));
    ASSERT_EQ(count, 16u);
    EXPECT_EQ(wordAt(read.data.data()), 0x20000001u);
    EXPECT_EQ(read.data[16], 0xAA) << "bytes past the count are left alone";
}

// A hung camera: whatever ends the wait (CancelIo or closing the handle)
// completes the command as aborted, and nothing is written into the
// caller's memory afterwards.
TEST_F(ProviderDevice, HungCommandsEndAsAbortedWhenCancelledOrClosed)
{
    for (bool closeInstead : {false, true}) {
        SCOPED_TRACE(closeInstead ? "close" : "cancel");
        HANDLE device = open();
        ASSERT_NE(device, INVALID_HANDLE_VALUE);
        m_camera->setSilent(true);
        Command first(SCSIOP_READ10, 0x40, 0x5A), second(SCSIOP_READ10, 0x40, 0x5A);
        ASSERT_FALSE(first.issue(device));
        ASSERT_FALSE(second.issue(device));
        EXPECT_EQ(os::WaitForSingleObject(first.event, 20), static_cast<DWORD>(WAIT_TIMEOUT));
        if (closeInstead) {
            ASSERT_TRUE(os::CloseHandle(device));
        } else {
            ASSERT_TRUE(os::CancelIo(device));
        }
        for (Command* command : {&first, &second}) {
            ASSERT_EQ(os::WaitForSingleObject(command->event, 5000), WAIT_OBJECT_0);
            EXPECT_EQ(command->overlapped.InternalHigh, 0u);
            EXPECT_EQ(command->srbStatus, 0xEE);
            EXPECT_EQ(command->data, std::vector<BYTE>(0x40, 0x5A));
        }
        if (!closeInstead) {
            DWORD count = 1, error = 0;
            EXPECT_FALSE(first.result(device, count, error));
            EXPECT_EQ(error, static_cast<DWORD>(ERROR_OPERATION_ABORTED));
            os::CloseHandle(device);
        }
        m_camera->setSilent(false);
    }
}

// A camera that has left the bus flushes the command under way and every
// later one on that handle, even once it is back; a new handle reaches it.
TEST_F(ProviderDevice, LostDeviceFlushesLaterCommandsOfTheHandle)
{
    m_camera->dropOffBus();
    DWORD count = 1, error = 0;
    for (int i = 0; i < 2; ++i) {
        Command command(SCSIOP_READ10, 0x10);
        ASSERT_TRUE(command.issue(m_device));
        ASSERT_TRUE(command.result(m_device, count, error));
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(command.srbStatus, SRB_STATUS_REQUEST_FLUSHED);
        m_camera->attach();
    }
    HANDLE again = open();
    Command sense(SCSIOP_REQUEST_SENSE, 18);
    sense.block.CdbLength = 6;
    ASSERT_TRUE(sense.issue(again));
    ASSERT_TRUE(sense.result(again, count, error));
    EXPECT_EQ(sense.srbStatus, SRB_STATUS_SUCCESS);
    EXPECT_EQ(count, 18u);
    os::CloseHandle(again);
}

TEST_F(ProviderDevice, RefusesBlocksItCannotServeSafely)
{
    struct Case {
        const char* what;
        DWORD outSize;
        bool overlapped, block;
        BYTE cdbLength;
    } cases[] = {
        {"transfer longer than the buffer", 0x1F, true, true, 10},
        {"no OVERLAPPED record", 0x20, false, true, 10},
        {"no command block", 0x20, true, false, 10},
        {"empty CDB", 0x20, true, true, 0},
        {"CDB over 16 bytes", 0x20, true, true, 17},
    };
    const std::size_t before = m_camera->received().size();
    for (const Case& test : cases) {
        SCOPED_TRACE(test.what);
        Command command(SCSIOP_READ10, 0x20);
        command.block.CdbLength = test.cdbLength;
        EXPECT_FALSE(os::DeviceIoControl(m_device, IOCTL_SCSISCAN_CMD,
                                         test.block ? &command.block : nullptr,
                                         sizeof(command.block), command.data.data(), test.outSize,
                                         nullptr, test.overlapped ? &command.overlapped : nullptr));
        EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
    }
    EXPECT_EQ(m_camera->received().size(), before) << "nothing reached the camera";
}

TEST(ProviderPaths, UnreachableOrMalformedSocketPathsAreNotOpened)
{
    struct Case {
        std::string path;
        DWORD error;
    };
    const Case cases[] = {
        {"unix:" + uniqueName("/tmp/nobody-listens"), ERROR_FILE_NOT_FOUND},
        {"tcp:127.0.0.1:1", ERROR_FILE_NOT_FOUND},
        {"tcp:127.0.0.1:99999", ERROR_INVALID_NAME},
        {"tcp:127.0.0.1", ERROR_INVALID_NAME},
        {"unix:", ERROR_INVALID_NAME},
        {"unix:" + std::string(200, 'x'), ERROR_INVALID_NAME},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.path);
        EXPECT_EQ(openStillImageDevice(test.path), INVALID_HANDLE_VALUE);
        EXPECT_EQ(os::GetLastError(), test.error);
    }
}

}  // namespace
