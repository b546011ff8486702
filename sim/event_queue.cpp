#include "sim/event_queue.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::uint8_t kEventsWaitingKey = 9;
constexpr std::uint8_t kEventsWaitingCode = 0x80;

}  // namespace

std::vector<std::uint8_t> eventRecord(std::uint32_t id, const std::vector<std::uint8_t>& parameters)
{
    const std::uint32_t words[3] = {0, id, static_cast<std::uint32_t>(12 + parameters.size())};
    std::vector<std::uint8_t> record(sizeof(words));
    std::memcpy(record.data(), words, sizeof(words));
    record.insert(record.end(), parameters.begin(), parameters.end());
    return record;
}

std::vector<std::uint8_t> EventQueue::nextSense()
{
    std::vector<std::uint8_t> sense(kFixedSenseSize + kEventAreaSize, 0);
    sense[0] = 0x70;  // current error, fixed format
    sense[7] = kFixedSenseSize - 8;
    if (m_records.empty()) return sense;
    const std::vector<std::uint8_t> record = std::move(m_records.front());
    m_records.pop_front();
    std::copy_n(record.begin(), std::min(record.size(), kEventAreaSize),
                sense.begin() + kFixedSenseSize);
    if (!m_records.empty()) {
        sense[2] = kEventsWaitingKey;
        sense[12] = kEventsWaitingCode;
        sense[13] = static_cast<std::uint8_t>(std::min<std::size_t>(m_records.size(), 0xFF));
    }
    return sense;
}

}  // namespace sim
