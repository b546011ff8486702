#include "sim/message_port.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kHeader = 8;

std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    if (bytes.size() >= offset + 4) std::memcpy(&value, bytes.data() + offset, 4);
    return value;
}

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
    m_messages.push_back(message.type);
    return message;
}

std::size_t MessagePort::read(std::uint8_t* bytes, std::size_t length)
{
    const std::size_t count = std::min(length, m_outgoing.size() - m_readAt);
    std::memcpy(bytes, m_outgoing.data() + m_readAt, count);
    m_readAt += count;
    if (m_readAt == m_outgoing.size()) setReply({});  // all read: its memory goes
    return count;
}

void MessagePort::reset()
{
    m_incoming.clear();
    m_outgoing.clear();
    m_readAt = 0;
}

}  // namespace sim
