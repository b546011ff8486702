#include "tools/dslrsim/session.h"

#include "platform/devices/scsi_sock.h"

#include <cerrno>
#include <vector>

#include <sys/socket.h>
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

bool sendAll(int fd, const void* bytes, std::size_t length)
{
    const auto* position = static_cast<const std::uint8_t*>(bytes);
    while (length > 0) {
        const ssize_t sent = ::send(fd, position, length, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        position += sent;
        length -= static_cast<std::size_t>(sent);
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

bool sendReply(int fd, const scsisock::Request& request, const sim::CommandResult& result,
               const std::vector<std::uint8_t>& data)
{
    scsisock::Reply reply;
    reply.tag = request.tag;
    reply.srbStatus = result.srbStatus;
    reply.transferred = result.transferred;
    std::uint8_t header[scsisock::kReplySize];
    scsisock::encode(reply, header);
    if (!sendAll(fd, header, sizeof(header))) return false;
    return request.direction != scsisock::kDataIn || sendAll(fd, data.data(), result.transferred);
}

}  // namespace

void serveSession(int fd, sim::Camera& camera)
{
    for (;;) {
        std::uint8_t header[scsisock::kRequestSize];
        scsisock::Request request;
        if (!receiveAll(fd, header, sizeof(header)) || !scsisock::decode(header, request) ||
            request.transferLength > kMaxTransfer)
            return;
        std::vector<std::uint8_t> data(request.transferLength);
        if (request.direction == scsisock::kDataOut && !receiveAll(fd, data.data(), data.size()))
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
