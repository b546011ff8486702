// "unix:PATH" and "tcp:HOST:PORT": a camera served by dslrsim over the
// scsi-sock protocol, one connection per opened handle, one command in
// flight at a time (the protocol answers in order). Every wait on the
// connection ends by the command's deadline (its time-out and a small
// margin): a camera that stops in the middle of a reply is a lost camera.

#include "platform/devices/socket_target.h"

#include "platform/devices/scsi_sock.h"
#include "platform/devices/socket_stream.h"
#include "platform/scsiscan.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace devices {

namespace {

bool describableCdb(std::uint8_t length)
{
    return length == 6 || length == 10 || length == 12 || length == 16;
}

class SocketTarget : public ScsiTarget {
public:
    explicit SocketTarget(std::unique_ptr<SocketStream> stream) : m_stream(std::move(stream)) {}

    void start(const ScsiCommand& command, const std::uint8_t* buffer) override
    {
        m_early.reset();
        m_replyStarted = false;
        m_direction = command.direction;
        m_deadline = commandDeadline(command.timeoutMs);
        if (!describableCdb(command.cdbLength)) {
            m_early = ScsiOutcome{SRB_STATUS_INVALID_REQUEST, 0};
        } else if (m_lost || !sendRequest(command, buffer)) {
            m_early = lost();
        }
    }

    // Only a reply that has wholly arrived is taken on the caller's thread:
    // one that stops half-way must wait on the worker, where the caller can
    // give it up (a very long one counts as there once a window of it is).
    bool answerWithin(std::uint32_t milliseconds) override
    {
        if (m_early) return true;
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        if (!m_stream->readable(milliseconds)) return false;
        while (!wholeReplyArrived()) {
            if (std::chrono::steady_clock::now() >= end) return false;
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        return true;
    }

    ScsiOutcome finish(const ScsiCommand& command, std::uint8_t* buffer,
                       std::uint8_t* sense) override
    {
        const ScsiOutcome outcome = takeReply(command, buffer, sense);
        m_replyStarted = false;  // nothing of this command is left to abandon
        return outcome;
    }

    void interrupt() override { m_stream->shutdown(); }

    // The caller gave the command up. A reply not yet begun may still come
    // and is then read and dropped; one stopped half-way leaves the stream
    // where no later reply can be found, so waiting on for it would only
    // hold the commands queued behind it.
    void abandon() override
    {
        if (m_replyStarted.load() || m_stream->arrived() > 0) m_stream->shutdown();
    }

private:
    ScsiOutcome takeReply(const ScsiCommand& command, std::uint8_t* buffer, std::uint8_t* sense)
    {
        if (m_early) return *m_early;
        scsisock::Reply reply;
        if (!receiveReply(command, reply)) return lost();
        // The data goes straight into the caller's buffer, as a device's DMA
        // would: a stream that breaks in the middle leaves part of it
        // written, and the command fails with no bytes counted.
        if (command.direction == DataDirection::kIn &&
            !m_stream->receiveAll(buffer, reply.transferred, m_deadline))
            return lost();
        std::uint8_t senseBytes[255];
        if (!m_stream->receiveAll(senseBytes, reply.senseLength, m_deadline)) return lost();
        // The camera may send less sense than there is room for, never more.
        const std::uint8_t kept = std::min(reply.senseLength, command.senseLength);
        std::copy(senseBytes, senseBytes + kept, sense);
        return {reply.srbStatus, reply.transferred, kept, Completion::kDone};
    }

    bool sendRequest(const ScsiCommand& command, const std::uint8_t* buffer)
    {
        scsisock::Request request;
        request.tag = ++m_tag;
        request.cdbLength = command.cdbLength;
        request.direction = static_cast<std::uint8_t>(command.direction);
        request.senseLength = command.senseLength;
        request.transferLength = command.length;
        request.timeoutMs = command.timeoutMs;
        std::copy(command.cdb, command.cdb + command.cdbLength, request.cdb.begin());
        std::uint8_t header[scsisock::kRequestSize];
        scsisock::encode(request, header);
        if (!m_stream->sendAll(header, sizeof(header), m_deadline)) return false;
        return command.direction != DataDirection::kOut ||
               m_stream->sendAll(buffer, command.length, m_deadline);
    }

    bool wholeReplyArrived()
    {
        // More than the system queues on a socket need not be waited for.
        constexpr std::size_t kWindow = 0x10000;
        const std::size_t arrived = m_stream->arrived();
        std::uint8_t header[scsisock::kReplySize];
        scsisock::Reply reply;
        if (arrived < sizeof(header)) return false;
        // A header that does not decode is for finish() to refuse at once.
        if (m_stream->peek(header, sizeof(header)) != sizeof(header) ||
            !scsisock::decode(header, reply))
            return true;
        const std::size_t whole = sizeof(header) + reply.senseLength +
                                  (m_direction == DataDirection::kIn ? reply.transferred : 0);
        return arrived >= std::min(whole, kWindow);
    }

    // A reply to another command, or more data than was asked for, means the
    // two ends no longer agree on the stream: it cannot be used any more.
    bool receiveReply(const ScsiCommand& command, scsisock::Reply& reply)
    {
        std::uint8_t header[scsisock::kReplySize];
        if (!m_stream->receiveAll(header, 1, m_deadline)) return false;
        m_replyStarted = true;
        return m_stream->receiveAll(header + 1, sizeof(header) - 1, m_deadline) &&
               scsisock::decode(header, reply) && reply.tag == m_tag &&
               reply.transferred <= command.length;
    }

    ScsiOutcome lost()
    {
        m_lost = true;
        m_stream->shutdown();
        return {SRB_STATUS_REQUEST_FLUSHED, 0, 0, Completion::kDeviceLost};
    }

    std::unique_ptr<SocketStream> m_stream;
    std::uint32_t m_tag = 0;
    bool m_lost = false;
    std::optional<ScsiOutcome> m_early;  // the started command's outcome, known before any reply
    Deadline m_deadline{};
    DataDirection m_direction = DataDirection::kNone;
    std::atomic<bool> m_replyStarted{false};  // a byte of the running command's reply came
};

}  // namespace

std::unique_ptr<ScsiTarget> openSocketTarget(const char* path, std::uint32_t& error)
{
    std::optional<SocketAddress> address = parseSocketAddress(path);
    if (!address) {
        error = ERROR_INVALID_NAME;
        return nullptr;
    }
    auto stream = std::make_unique<SocketStream>(*address, error);
    if (!stream->isOpen()) return nullptr;
    return std::make_unique<SocketTarget>(std::move(stream));
}

}  // namespace devices
