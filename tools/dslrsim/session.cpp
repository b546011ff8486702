#include "tools/dslrsim/session.h"

#include "platform/devices/scsi_sock.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace dslrsim {

namespace {

bool receiveAll(int fd, void* bytes, std::size_t length)
{
    auto* position = static_cast<std::uint8_t*>(bytes);
    while (length > 0) {
        const ssize_t got = ::recv(fd, position, length, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        position += got;
        length -= static_cast<std::size_t>(got);
    }
    return true;
}

// Sends both parts in one call, so that the host wakes once for a reply
// and its data rather than once for each.
bool sendAll(int fd, const void* head, std::size_t headLength, const void* data,
             std::size_t dataLength)
{
    iovec parts[2] = {{const_cast<void*>(head), headLength}, {const_cast<void*>(data), dataLength}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    while (parts[0].iov_len + parts[1].iov_len > 0) {
        const ssize_t sent = ::sendmsg(fd, &message, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        auto left = static_cast<std::size_t>(sent);
        for (iovec& part : parts) {
            const std::size_t taken = std::min(left, part.iov_len);
            part.iov_base = static_cast<std::uint8_t*>(part.iov_base) + taken;
            part.iov_len -= taken;
            left -= taken;
        }
        if (parts[0].iov_len == 0) {
            message.msg_iov = &parts[1];
            message.msg_iovlen = 1;
        }
    }
    return true;
}

// A hung camera: everything the host sends is taken, nothing answered.
void swallowUntilClosed(int fd)
{
    std::uint8_t sink[4096];
    for (;;) {
        const ssize_t got = ::recv(fd, sink, sizeof(sink), 0);
        if (got == 0 || (got < 0 && errno != EINTR)) return;
    }
}

// How a reply goes on the wire: the header's count and tag, how many data
// bytes follow, and whether the connection ends or goes silent after them.
struct Wire {
    std::uint32_t counted;
    std::uint32_t tag;
    std::size_t sent;  // header and data bytes that go out
    enum class After { kContinue, kClose, kSilence } after = After::kContinue;
};

// A spoiled reply (sim/spoiler.h) on the wire.
Wire wireOf(const scsisock::Request& request, const sim::CommandResult& result, std::size_t count)
{
    Wire wire{result.transferred, request.tag, scsisock::kReplySize + count};
    if (!result.transport) return wire;
    const std::uint32_t bytes = result.transport->bytes;
    switch (result.transport->spoil) {
        case sim::SpoilClass::kTruncated:
            wire.sent = std::min<std::size_t>(wire.sent, scsisock::kReplySize + bytes);
            wire.after = Wire::After::kClose;
            break;
        case sim::SpoilClass::kCountsMore:
            wire.counted += bytes;
            break;
        case sim::SpoilClass::kCountsLess:
            wire.counted -= std::min(wire.counted, bytes);
            break;
        case sim::SpoilClass::kOtherTag:
            wire.tag += bytes;
            break;
        default:
            wire.sent = std::min<std::size_t>(wire.sent, bytes);
            wire.after = Wire::After::kSilence;
    }
    return wire;
}

// False when the connection is to end.
bool sendReply(int fd, const scsisock::Request& request, const sim::CommandResult& result,
               const std::vector<std::uint8_t>& data)
{
    const std::size_t count = request.direction == scsisock::kDataIn ? result.transferred : 0;
    const Wire wire = wireOf(request, result, count);
    scsisock::Reply reply;
    reply.tag = wire.tag;
    reply.srbStatus = result.srbStatus;
    reply.transferred = wire.counted;
    std::uint8_t header[scsisock::kReplySize];
    scsisock::encode(reply, header);
    const std::size_t headPart = std::min<std::size_t>(wire.sent, sizeof(header));
    if (!sendAll(fd, header, headPart, data.data(), wire.sent - headPart)) return false;
    if (wire.after == Wire::After::kSilence) swallowUntilClosed(fd);
    return wire.after == Wire::After::kContinue;
}

}  // namespace

void serveSession(int fd, sim::Camera& camera)
{
    camera.rearmSpoiler();  // a lying camera spoils something on every connection
    std::vector<std::uint8_t> data;  // one command's data; its room kept for the next
    for (;;) {
        std::uint8_t header[scsisock::kRequestSize];
        scsisock::Request request;
        if (!receiveAll(fd, header, sizeof(header)) || !scsisock::decode(header, request) ||
            request.transferLength > kMaxTransfer)
            return;
        if (data.size() < request.transferLength) data.resize(request.transferLength);
        if (request.direction == scsisock::kDataOut &&
            !receiveAll(fd, data.data(), request.transferLength))
            return;
        sim::CommandResult result = camera.execute(request.cdb.data(), request.cdbLength,
                                                   data.data(), request.transferLength);
        if (result.disposition == sim::Disposition::kDeviceLost) return;
        if (result.disposition == sim::Disposition::kSilent) {
            swallowUntilClosed(fd);
            return;
        }
        // The camera never moves more than was asked for; the reply says so too.
        if (result.transferred > request.transferLength)
            result.transferred = request.transferLength;
        if (!sendReply(fd, request, result, data)) return;
    }
}

}  // namespace dslrsim
