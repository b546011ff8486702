#include "sim/message_port.h"

#include "sim/record_fields.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kHeader = 8;

}  // namespace

std::vector<std::uint8_t> encodeMessage(std::uint32_t type, const std::vector<std::uint8_t>& data)
{
    std::vector<std::uint8_t> message(kHeader + data.size());
    const auto length = static_cast<std::uint32_t>(data.size());
    std::memcpy(message.data(), &type, 4);
    std::memcpy(message.data() + 4, &length, 4);
    std::copy(data.begin(), data.end(), message.begin() + kHeader);
    return message;
}

std::optional<Message> MessagePort::write(const std::uint8_t* bytes, std::size_t length)
{
    // A message may arrive in several blocks: keep what came until the
    // header's length is complete.
    m_incoming.insert(m_incoming.end(), bytes, bytes + length);
    if (m_incoming.size() < kHeader) return std::nullopt;
    const std::uint64_t total = kHeader + std::uint64_t{wordAt(m_incoming, 4)};
    if (m_incoming.size() < total) return std::nullopt;
    const auto end = m_incoming.begin() + static_cast<std::ptrdiff_t>(total);
    Message message{wordAt(m_incoming, 0),
                    std::vector<std::uint8_t>(m_incoming.begin() + kHeader, end)};
    m_incoming.erase(m_incoming.begin(), end);
    return message;
}

void MessagePort::setReply(Reply reply)
{
    m_head = std::move(reply.head);
    m_body = std::move(reply.body);
    m_readAt = 0;
}

std::size_t MessagePort::read(std::uint8_t* bytes, std::size_t length)
{
    const std::uint64_t waiting = m_head.size() + m_body.length - m_readAt;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length, waiting));
    // Within the head, the position fits the head's size type.
    const auto headAt = static_cast<std::size_t>(std::min<std::uint64_t>(m_readAt, m_head.size()));
    const std::size_t fromHead = std::min(count, m_head.size() - headAt);
    if (fromHead != 0) std::memcpy(bytes, m_head.data() + headAt, fromHead);
    // A body that cannot be read (a host file shortened since it was
    // announced) gives nothing: the host's read fails in its own time
    // rather than taking bytes that are not the file's.
    if (count > fromHead &&
        !m_body.read(m_readAt + fromHead - m_head.size(), bytes + fromHead, count - fromHead))
        return 0;
    m_readAt += count;
    if (m_readAt == m_head.size() + m_body.length) setReply({});  // all read: its memory goes
    return count;
}

void MessagePort::reset()
{
    m_incoming.clear();
    setReply({});
}

}  // namespace sim
