#include "sim/camera.h"

#include <algorithm>
#include <cstring>
#include <map>

namespace sim {

namespace {

constexpr std::uint8_t kSuccess = 0x01;
constexpr std::uint8_t kError = 0x04;
constexpr std::size_t kHeader = 8;
constexpr std::size_t kFixedSense = 20;
constexpr std::size_t kEventArea = 64;

std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    if (bytes.size() >= offset + 4) std::memcpy(&value, bytes.data() + offset, 4);
    return value;
}

}  // namespace

Camera::Camera(CameraOptions options) : m_options(options) {}

CommandResult Camera::execute(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                              std::uint32_t length)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_received.push_back({std::vector<std::uint8_t>(cdb, cdb + cdbLength), length});
    if (cdbLength == 0 || (data == nullptr && length != 0)) return {kError, 0};
    switch (cdb[0]) {
        case 0x2A:
        case 0xAA:
            return write(data, length);
        case 0x28:
        case 0xA8:
            return read(data, length);
        case 0x03:
            return requestSense(data, length);
        default:
            return {kError, 0};
    }
}

CommandResult Camera::write(const std::uint8_t* data, std::uint32_t length)
{
    // A message may arrive in several blocks: keep what came until the
    // header's length is complete, then answer it.
    m_incoming.insert(m_incoming.end(), data, data + length);
    if (m_incoming.size() >= kHeader && m_incoming.size() >= kHeader + wordAt(m_incoming, 4)) {
        std::uint32_t type = wordAt(m_incoming, 0);
        const auto total = static_cast<std::ptrdiff_t>(kHeader + wordAt(m_incoming, 4));
        std::vector<std::uint8_t> payload(m_incoming.begin() + static_cast<std::ptrdiff_t>(kHeader),
                                          m_incoming.begin() + total);
        m_incoming.erase(m_incoming.begin(), m_incoming.begin() + total);
        m_messages.push_back(type);
        answer(type, payload);
    }
    return {kSuccess, length};
}

CommandResult Camera::read(std::uint8_t* data, std::uint32_t length)
{
    // Nothing to send: the host asks again until its time runs out.
    if (m_outgoing.empty()) return {kError, 0};
    std::uint32_t count =
        std::min<std::uint32_t>(length, static_cast<std::uint32_t>(m_outgoing.size()));
    std::memcpy(data, m_outgoing.data(), count);
    m_outgoing.erase(m_outgoing.begin(), m_outgoing.begin() + count);
    return {kSuccess, count};
}

CommandResult Camera::requestSense(std::uint8_t* data, std::uint32_t length)
{
    // Fixed-format sense data: no sense, nothing pending; an empty event area.
    std::uint8_t sense[kFixedSense + kEventArea] = {};
    sense[0] = 0x70;
    sense[7] = kFixedSense - 8;
    std::uint32_t count = std::min<std::uint32_t>(length, sizeof(sense));
    std::memcpy(data, sense, count);
    return {kSuccess, count};
}

void Camera::reply(std::uint32_t type, std::initializer_list<std::uint32_t> words)
{
    std::vector<std::uint32_t> message = {type, static_cast<std::uint32_t>(4 * words.size())};
    message.insert(message.end(), words);
    m_outgoing.resize(message.size() * 4);
    std::memcpy(m_outgoing.data(), message.data(), m_outgoing.size());
}

void Camera::answer(std::uint32_t type, const std::vector<std::uint8_t>& payload)
{
    switch (type) {
        case 0x10000001:
            reply(0x20000001, {0, m_options.connectAnswer});
            break;
        case 0x10000003:
            reply(0x20000003, {0, m_options.deviceId, m_options.modelId, m_options.blockSize});
            break;
        case 0x10000004:
            reply(0x20000004, {0, m_options.blockSize});
            break;
        case 0x10000005:
            reply(0x20000005, {0, wordAt(payload, 4)});
            break;
        default:
            break;  // the Remote API arrives with the next layers
    }
}

void Camera::configure(const CameraOptions& options)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_options = options;
}

std::vector<ReceivedCommand> Camera::received() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_received;
}

std::vector<std::uint32_t> Camera::messagesReceived() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_messages;
}

std::shared_ptr<Camera> cameraNamed(const std::string& name)
{
    static std::mutex lock;
    static auto* cameras = new std::map<std::string, std::shared_ptr<Camera>>;
    std::lock_guard<std::mutex> guard(lock);
    std::shared_ptr<Camera>& camera = (*cameras)[name];
    if (!camera) camera = std::make_shared<Camera>();
    return camera;
}

}  // namespace sim
