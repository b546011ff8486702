// The camera's end of the message channel: bytes the host writes are
// gathered into messages (type, length, data), and the reply waiting to be
// read is handed out in as many pieces as the host asks for.
#pragma once

#include "sim/byte_source.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace sim {

struct Message {
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

// What the camera hands out for the host's reads: an encoded message, then
// the data phase after it, if any.
struct Reply {
    std::vector<std::uint8_t> head;
    ByteSource body;
};

std::vector<std::uint8_t> encodeMessage(std::uint32_t type, const std::vector<std::uint8_t>& data);

class MessagePort {
public:
    // Takes written bytes; returns a message once its header's length is complete.
    std::optional<Message> write(const std::uint8_t* bytes, std::size_t length);
    // Copies up to `length` bytes of the waiting reply; 0 when nothing waits.
    std::size_t read(std::uint8_t* bytes, std::size_t length);
    void setReply(Reply reply);
    bool replyWaiting() const { return m_readAt < m_head.size() + m_body.length; }
    // Forgets a half-written message and an unread reply.
    void reset();

private:
    std::vector<std::uint8_t> m_incoming;  // a message still being written
    std::vector<std::uint8_t> m_head;      // the reply waiting to be read, then its body
    ByteSource m_body;
    std::uint64_t m_readAt = 0;  // read pieces are not moved: the next one starts here
};

}  // namespace sim
