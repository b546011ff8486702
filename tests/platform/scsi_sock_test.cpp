// The scsi-sock wire format (byte layout, round trips, frames from a peer
// that does not speak it), and the socket provider against a peer that
// breaks the protocol in each way a dead or confused server can: every such
// reply ends the device, as a lost camera does, and never writes into the
// caller's memory.

#include "platform/devices/scsi_sock.h"
#include "platform/platform_api.h"
#include "platform/scsiscan.h"
#include "support/bytes.h"
#include "support/fake_device.h"
#include "support/still_image_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

namespace {

TEST(ScsiSock, RequestLayoutIsLittleEndianAndRoundTrips)
{
    scsisock::Request request;
    request.tag = 0x01020304;
    request.cdbLength = 10;
    request.direction = scsisock::kDataOut;
    request.senseLength = 21;
    request.transferLength = 0x8000;
    request.timeoutMs = 10000;
    const std::uint8_t cdb[10] = {0x2A, 0, 0, 0, 0, 0, 0, 0x80, 0x00, 0};
    std::memcpy(request.cdb.data(), cdb, sizeof(cdb));

    std::uint8_t bytes[scsisock::kRequestSize];
    scsisock::encode(request, bytes);
    const Bytes head = {'V', 'S', 'C', '1',  4, 3, 2,    1,    10, 2,
                        21,  0,   0,   0x80, 0, 0, 0x10, 0x27, 0,  0};
    EXPECT_EQ(Bytes(bytes, bytes + 20), head);
    EXPECT_EQ(Bytes(bytes + 20, bytes + 36), Bytes(request.cdb.begin(), request.cdb.end()));

    scsisock::Request back;
    ASSERT_TRUE(scsisock::decode(bytes, back));
    EXPECT_EQ(back.tag, request.tag);
    EXPECT_EQ(back.transferLength, request.transferLength);
    EXPECT_EQ(back.timeoutMs, request.timeoutMs);
    EXPECT_EQ(back.cdb, request.cdb);
}

TEST(ScsiSock, ReplyLayoutRoundTrips)
{
    scsisock::Reply reply;
    reply.tag = 7;
    reply.srbStatus = 0x16;
    reply.scsiStatus = 2;
    reply.senseLength = 18;
    reply.transferred = 0x6000;
    std::uint8_t bytes[scsisock::kReplySize];
    scsisock::encode(reply, bytes);
    EXPECT_EQ(Bytes(bytes, bytes + 16),
              (Bytes{'V', 'S', 'R', '1', 7, 0, 0, 0, 0x16, 2, 18, 0, 0, 0x60, 0, 0}));
    scsisock::Reply back;
    ASSERT_TRUE(scsisock::decode(bytes, back));
    EXPECT_EQ(back.transferred, 0x6000u);
    EXPECT_EQ(back.srbStatus, 0x16);
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
    std::uint8_t reply[scsisock::kReplySize] = {'V', 'S', 'C', '1'};  // a request's magic
    scsisock::Reply out;
    EXPECT_FALSE(scsisock::decode(reply, out));
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

TEST(SocketClient, GoodAndBrokenReplies)
{
    struct Case {
        const char* name;
        FakeServer::Answer answer;
        BYTE srbStatus;
        DWORD count;  // bytes delivered, 0x42 each; the rest of the buffer is left alone
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
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        FakeServer server(test.answer);
        HANDLE device = openStillImageDevice(server.portPath());
        ASSERT_NE(device, INVALID_HANDLE_VALUE);
        Bytes expected(0x20, 0x5A);
        std::fill_n(expected.begin(), test.count, 0x42);
        for (int i = 0; i < 2; ++i) {  // the command that met it, and any later one
            Read read;
            ASSERT_EQ(read.run(device), WAIT_OBJECT_0);
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

#endif  // _WIN32

}  // namespace
