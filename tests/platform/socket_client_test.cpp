// The socket provider against a peer that breaks the protocol in each way a
// dead or confused server can: every such reply ends the device, as a lost
// camera does, and never writes into the caller's memory.

#ifndef _WIN32

#include "platform/devices/scsi_sock.h"
#include "platform/platform_api.h"
#include "platform/scsiscan.h"
#include "support/fake_device.h"
#include "support/still_image_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <cstdint>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

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
// then the connection is to be closed (false).
bool reply(int fd, const scsisock::Request& request, std::uint32_t tag, std::uint32_t transferred,
           std::uint32_t magicOverride = 0, std::size_t cutAt = SIZE_MAX)
{
    scsisock::Reply answer;
    answer.tag = tag;
    answer.srbStatus = SRB_STATUS_SUCCESS;
    answer.transferred = transferred;
    std::uint8_t header[scsisock::kReplySize];
    scsisock::encode(answer, header);
    if (magicOverride != 0) std::memcpy(header, &magicOverride, 4);
    writeAll(fd, header, sizeof(header));
    std::vector<std::uint8_t> data(request.direction == scsisock::kDataIn ? transferred : 0, 0x42);
    writeAll(fd, data.data(), std::min(data.size(), cutAt));
    return cutAt >= data.size();
}

// A read of 0x20 bytes into a buffer of 0x5A bytes.
struct Read : StillImageCommand {
    Read() : StillImageCommand(SCSIOP_READ10, 0x20, 0x5A) {}
};

TEST(SocketClient, BrokenRepliesEndTheDevice)
{
    struct Case {
        const char* name;
        FakeServer::Answer answer;
    } cases[] = {
        {"reply to another tag",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag + 1, 4); }},
        {"more data than asked for",
         [](int fd, const scsisock::Request& r) {
             return reply(fd, r, r.tag, r.transferLength + 1);
         }},
        {"wrong magic",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 4, 0x12345678); }},
        {"closed before replying", [](int, const scsisock::Request&) { return false; }},
        {"closed in the middle of the data",
         [](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 0x10, 0, 3); }},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FakeServer server(test.answer);
        HANDLE device = openStillImageDevice(server.portPath());
        ASSERT_NE(device, INVALID_HANDLE_VALUE);
        for (int i = 0; i < 2; ++i) {  // the command that met it, and any later one
            Read read;
            ASSERT_EQ(read.run(device), WAIT_OBJECT_0);
            EXPECT_EQ(read.srbStatus, SRB_STATUS_REQUEST_FLUSHED);
            EXPECT_EQ(read.overlapped.InternalHigh, 0u);
            EXPECT_EQ(read.data, std::vector<BYTE>(0x20, 0x5A));
        }
        os::CloseHandle(device);
    }
}

TEST(SocketClient, GoodReplyFillsTheBufferUpToTheCount)
{
    FakeServer server([](int fd, const scsisock::Request& r) { return reply(fd, r, r.tag, 4); });
    HANDLE device = openStillImageDevice(server.portPath());
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    Read read;
    ASSERT_EQ(read.run(device), WAIT_OBJECT_0);
    EXPECT_EQ(read.srbStatus, SRB_STATUS_SUCCESS);
    EXPECT_EQ(read.overlapped.InternalHigh, 4u);
    EXPECT_EQ(read.data[3], 0x42);
    EXPECT_EQ(read.data[4], 0x5A);
    os::CloseHandle(device);
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
    Read read;
    EXPECT_FALSE(read.issue(device));
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    released.set_value();
    ASSERT_EQ(os::WaitForSingleObject(read.overlapped.hEvent, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(read.srbStatus, SRB_STATUS_SUCCESS);
    EXPECT_EQ(read.overlapped.InternalHigh, 4u);
    EXPECT_EQ(read.data[3], 0x42);
    os::CloseHandle(device);
}

// A server that never answers: cancelling frees the caller at once, and
// closing the handle does not wait for the reply that never comes.
TEST(SocketClient, HungServerCanBeCancelledAndClosed)
{
    FakeServer server([](int, const scsisock::Request&) { return true; });
    HANDLE device = openStillImageDevice(server.portPath());
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    Read read;
    EXPECT_EQ(read.run(device, 50), static_cast<DWORD>(WAIT_TIMEOUT));
    ASSERT_TRUE(os::CancelIo(device));
    ASSERT_EQ(os::WaitForSingleObject(read.overlapped.hEvent, 5000), WAIT_OBJECT_0);
    DWORD count = 0;
    EXPECT_FALSE(os::GetOverlappedResult(device, &read.overlapped, &count, FALSE));
    EXPECT_EQ(os::GetLastError(), static_cast<DWORD>(ERROR_OPERATION_ABORTED));
    EXPECT_EQ(read.data, std::vector<BYTE>(0x20, 0x5A));
    EXPECT_TRUE(os::CloseHandle(device));
}

}  // namespace

#endif  // _WIN32
