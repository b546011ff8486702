// The camera's end of the message channel: bytes the host writes are
// gathered into messages (type, length, data), and the reply waiting to be
// read is handed out in as many pieces as the host asks for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

struct Message {
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

std::vector<std::uint8_t> encodeMessage(std::uint32_t type, const std::vector<std::uint8_t>& data);

class MessagePort {
public:
    // Takes written bytes; returns a message once its header's length is complete.
    std::optional<Message> write(const std::uint8_t* bytes, std::size_t length);
    // Copies up to `length` bytes of the waiting reply; 0 when nothing waits.
    std::size_t read(std::uint8_t* bytes, std::size_t length);
    void setReply(std::vector<std::uint8_t> reply)
    {
        m_outgoing = std::move(reply);
        m_readAt = 0;
    }
    bool replyWaiting() const { return m_readAt < m_outgoing.size(); }
    // Forgets a half-written message and an unread reply.
    void reset();

    std::vector<std::uint32_t> messagesReceived() const { return m_messages; }
    void clearRecords() { m_messages.clear(); }

private:
    std::vector<std::uint8_t> m_incoming;  // a message still being written
    std::vector<std::uint8_t> m_outgoing;  // the reply waiting to be read
    std::size_t m_readAt = 0;              // from here on: read pieces are not moved
    std::vector<std::uint32_t> m_messages;
};

}  // namespace sim
