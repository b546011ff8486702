// Provider devices seen through the platform table, as the library sees
// them: overlapped completion, cancellation, closing with commands pending,
// a device that leaves the bus, and blocks that must be refused. Then the
// scsi-sock wire format (byte layout, round trips, frames from a peer that
// does not speak it), and the socket provider against a peer that breaks
// the protocol in each way a dead or confused server can: every such reply
// ends the device, as a lost camera does, and never writes into the
// caller's memory.

#include "platform/devices/scsi_sock.h"
#include "platform/platform_api.h"
#include "platform/scsiscan.h"
#include "sim/camera.h"
#include "support/bytes.h"
#include "support/fake_device.h"
#include "support/still_image_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

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

// The frames as docs/scsi-socket.md lays them out, for servers written
// elsewhere; that decoding gives back what was encoded shows in every
// transfer over dslrsim.
TEST(ScsiSock, FramesAreLittleEndianAsDocumented)
{
    scsisock::Request request;
    request.tag = 0x01020304;
    request.cdbLength = 10;
    request.direction = scsisock::kDataOut;
    request.senseLength = 21;
    request.transferLength = 0x8000;
    request.timeoutMs = 10000;
    request.cdb[0] = 0x2A;
    std::uint8_t bytes[scsisock::kRequestSize];
    scsisock::encode(request, bytes);
    const Bytes head = {'V', 'S', 'C', '1',  4, 3, 2,    1,    10, 2,
                        21,  0,   0,   0x80, 0, 0, 0x10, 0x27, 0,  0};
    EXPECT_EQ(Bytes(bytes, bytes + 20), head);
    EXPECT_EQ(Bytes(bytes + 20, bytes + 36), Bytes(request.cdb.begin(), request.cdb.end()));

    scsisock::Reply reply;
    reply.tag = 7;
    reply.srbStatus = 0x16;
    reply.scsiStatus = 2;
    reply.senseLength = 18;
    reply.transferred = 0x6000;
    std::uint8_t replyBytes[scsisock::kReplySize];
    scsisock::encode(reply, replyBytes);
    EXPECT_EQ(Bytes(replyBytes, replyBytes + 16),
              (Bytes{'V', 'S', 'R', '1', 7, 0, 0, 0, 0x16, 2, 18, 0, 0, 0x60, 0, 0}));
}

TEST(ScsiSock, ForeignFramesAreRefused)
{
    scsisock::Request request;
    request.cdbLength = 6;
    std::uint8_t good[scsisock::kRequestSize];
    scsisock::encode(request, good);
    struct Damage {
        int offset;
        std::uint8_t value;
    } damages[] = {{0, 'X'}, {8, 7}, {8, 0}, {9, 3}, {11, 1}};
    for (const Damage& d : damages) {
        std::uint8_t bytes[scsisock::kRequestSize];
        std::memcpy(bytes, good, sizeof(bytes));
        bytes[d.offset] = d.value;
        scsisock::Request out;
        EXPECT_FALSE(scsisock::decode(bytes, out)) << d.offset;
    }
}

#ifndef _WIN32

bool readAll(int fd, void* bytes, std::size_t length)
{
    auto* position = static_cast<std::uint8_t*>(bytes);
    while (length > 0) {
        ssize_t got = ::read(fd, position, length);
        if (got <= 0) return false;
        position += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

void writeAll(int fd, const void* bytes, std::size_t length)
{
    (void)!::send(fd, bytes, length, MSG_NOSIGNAL);
}

// Serves one connection: reads each request (and its data), then lets the
// case answer it. The answer returns false to close the connection.
class FakeServer {
public:
    using Answer = std::function<bool(int fd, const scsisock::Request&)>;

    explicit FakeServer(Answer answer) : m_answer(std::move(answer))
    {
        m_listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, m_path.c_str(), sizeof(address.sun_path) - 1);
        ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        ::listen(m_listener, 1);
        m_thread = std::thread([this] { serve(); });
    }
    ~FakeServer()
    {
        ::shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        ::close(m_listener);
        ::unlink(m_path.c_str());
    }
    std::string portPath() const { return "unix:" + m_path; }

private:
    void serve()
    {
        int fd = ::accept(m_listener, nullptr, nullptr);
        if (fd < 0) return;
        for (;;) {
            std::uint8_t header[scsisock::kRequestSize];
            scsisock::Request request;
            if (!readAll(fd, header, sizeof(header)) || !scsisock::decode(header, request)) break;
            std::vector<std::uint8_t> data(
                request.direction == scsisock::kDataOut ? request.transferLength : 0);
            if (!readAll(fd, data.data(), data.size()) || !m_answer(fd, request)) break;
        }
        ::close(fd);
    }

    std::string m_path = "/tmp/" + uniqueName("vkrn-fake") + ".sock";
    Answer m_answer;
    int m_listener = -1;
    std::thread m_thread;
};

// Answers with a good status; the data is cut after `cutAt` bytes, and
// then the connection is to be closed (false). A stalled reply sends the
// first `stallAt` bytes of header, data and sense, then nothing more, and
// keeps the connection open.
bool reply(int fd, const scsisock::Request& request, std::uint32_t tag, std::uint32_t transferred,
           std::uint32_t magicOverride = 0, std::size_t cutAt = SIZE_MAX,
           std::size_t stallAt = SIZE_MAX)
{
    scsisock::Reply answer;
    answer.tag = tag;
    answer.srbStatus = SRB_STATUS_SUCCESS;
    answer.transferred = transferred;
    answer.senseLength = stallAt != SIZE_MAX ? 8 : 0;
    std::uint8_t header[scsisock::kReplySize];
    scsisock::encode(answer, header);
    if (magicOverride != 0) std::memcpy(header, &magicOverride, 4);
    std::vector<std::uint8_t> bytes(header, header + sizeof(header));
    bytes.resize(bytes.size() + (request.direction == scsisock::kDataIn ? transferred : 0), 0x42);
    bytes.resize(bytes.size() + answer.senseLength, 0x70);
    std::size_t sent = bytes.size();
    if (cutAt != SIZE_MAX) sent = std::min(sent, sizeof(header) + cutAt);
    writeAll(fd, bytes.data(), std::min(sent, stallAt));
    return cutAt == SIZE_MAX;
}

FakeServer::Answer stalledAt(std::uint32_t transferred, std::size_t at)
{
    return [=](int fd, const scsisock::Request& r) {
        return reply(fd, r, r.tag, transferred, 0, SIZE_MAX, at);
    };
}

TEST(SocketClient, GoodAndBrokenReplies)
{
    struct Case {
        const char* name;
        FakeServer::Answer answer;
        BYTE srbStatus;
        DWORD count;       // bytes delivered, 0x42 each; the rest of the buffer is left alone
    } cases[] = {
        {"good reply", [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 4); },
         SRB_STATUS_SUCCESS, 4},
        // Each of these ends the device.
        {"reply to another tag",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag + 1, 4); },
         SRB_STATUS_REQUEST_FLUSHED, 0},
        {"more data than asked for",
         [](int fd, const scsisock::Request& r) {
             return reply(fd, r, r.tag, r.transferLength + 1);
         },
         SRB_STATUS_REQUEST_FLUSHED, 0},
        {"wrong magic",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 4, 0x12345678); },
         SRB_STATUS_REQUEST_FLUSHED, 0},
        {"closed before replying", [](int, const scsisock::Request&) { return false; },
         SRB_STATUS_REQUEST_FLUSHED, 0},
        {"closed in the middle of the data",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 0x10, 0, 3); },
         SRB_STATUS_REQUEST_FLUSHED, 0},
        // A camera that stops in the middle of a reply and stays connected:
        // the command's time-out ends the wait, whichever part is missing.
        {"stalled in the header", stalledAt(4, 5), SRB_STATUS_REQUEST_FLUSHED, 0},
        {"stalled in the data", stalledAt(0x10, scsisock::kReplySize + 3), SRB_STATUS_REQUEST_FLUSHED, 0},
        {"stalled in the sense", stalledAt(4, scsisock::kReplySize + 6), SRB_STATUS_REQUEST_FLUSHED, 0},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FakeServer server(test.answer);
        HANDLE device = openStillImageDevice(server.portPath());
        ASSERT_NE(device, INVALID_HANDLE_VALUE);
        DWORD timeoutSeconds = 1;
        ASSERT_TRUE(os::DeviceIoControl(device, IOCTL_SCSISCAN_SET_TIMEOUT, &timeoutSeconds,
                                        sizeof(timeoutSeconds), nullptr, 0, nullptr, nullptr));
        for (int i = 0; i < 2; ++i) {  // the command that met it, and any later one
            Bytes expected(0x20, 0x5A);
            std::fill_n(expected.begin(), test.count, 0x42);  // a broken reply lands nothing
            Command read(SCSIOP_READ10, 0x20, 0x5A);
            ASSERT_EQ(read.run(device, 30000), WAIT_OBJECT_0);  // a hang guard, not a bound
            EXPECT_EQ(read.srbStatus, test.srbStatus);
            EXPECT_EQ(read.overlapped.InternalHigh, test.count);
            EXPECT_EQ(read.data, expected);
        }
        os::CloseHandle(device);
    }
}

// A server that never answers: cancelling frees the caller at once, and
// closing the handle does not wait for the reply that never comes.
TEST(SocketClient, HungServerCanBeCancelledAndClosed)
{
    FakeServer server([](int, const scsisock::Request&) { return true; });
    HANDLE device = openStillImageDevice(server.portPath());
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    Command read(SCSIOP_READ10, 0x20, 0x5A);
    EXPECT_EQ(read.run(device, 50), static_cast<DWORD>(WAIT_TIMEOUT));
    ASSERT_TRUE(os::CancelIo(device));
    ASSERT_EQ(os::WaitForSingleObject(read.overlapped.hEvent, 5000), WAIT_OBJECT_0);
    DWORD count = 0;
    EXPECT_FALSE(os::GetOverlappedResult(device, &read.overlapped, &count, FALSE));
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(read.data, std::vector<BYTE>(0x20, 0x5A));
    EXPECT_TRUE(os::CloseHandle(device));
}

// A reply that stopped half-way and was then given up: the connection is
// dropped at once, so the next command does not queue behind the stalled
// one for its whole time-out (60 s here, past the guard).
TEST(SocketClient, CancelledHalfReplyDoesNotHoldTheNextCommand)
{
    FakeServer server(stalledAt(4, 5));
    HANDLE device = openStillImageDevice(server.portPath());
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    Command stalled(SCSIOP_READ10, 0x20, 0x5A);
    EXPECT_FALSE(stalled.issue(device));  // the header began: left to the worker
    ASSERT_TRUE(os::CancelIo(device));
    Command next(SCSIOP_READ10, 0x20, 0x5A);
    ASSERT_EQ(next.run(device, 30000), WAIT_OBJECT_0);
    EXPECT_EQ(next.srbStatus, SRB_STATUS_REQUEST_FLUSHED);
    EXPECT_TRUE(os::CloseHandle(device));
}

// An answer held back until the call has returned leaves the command
// pending (the caller's thread does not wait for it); it completes, into the
// caller's buffer, when it comes.
TEST(SocketClient, SlowAnswerCompletesAfterTheCallReturns)
{
    std::promise<void> released;
    std::shared_future<void> release = released.get_future().share();
    FakeServer server([release](int fd, const scsisock::Request& r) {
        release.wait();
        return reply(fd, r, r.tag, 4);
    });
    HANDLE device = openStillImageDevice(server.portPath());
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    Command read(SCSIOP_READ10, 0x20, 0x5A);
    EXPECT_FALSE(read.issue(device));
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    released.set_value();
    ASSERT_EQ(os::WaitForSingleObject(read.overlapped.hEvent, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(read.srbStatus, SRB_STATUS_SUCCESS);
    EXPECT_EQ(read.overlapped.InternalHigh, 4u);
    EXPECT_EQ(read.data[3], 0x42);
    os::CloseHandle(device);
}

#endif  // _WIN32

}  // namespace
