// Events the camera has to report, and the sense data that reports them:
// each REQUEST SENSE hands out the oldest event in the 64-byte event area
// after the fixed-format sense data; while more are waiting the sense key is
// 9 with ASC 0x80 and the ASCQ counts those still waiting.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace sim {

constexpr std::size_t kFixedSenseSize = 20;
constexpr std::size_t kEventAreaSize = 64;

// An event record as it appears in the event area: word 0 zero, word 1 the
// event ID, word 2 the record's length including these three words, then
// the parameters.
std::vector<std::uint8_t> eventRecord(std::uint32_t id,
                                      const std::vector<std::uint8_t>& parameters);

class EventQueue {
public:
    // Queues a record as given: tests may hand in records whose length word
    // disagrees with their size. The area holds at most 64 bytes of it.
    void push(std::vector<std::uint8_t> record) { m_records.push_back(std::move(record)); }
    std::size_t waiting() const { return m_records.size(); }
    void clear() { m_records.clear(); }
    // The sense data of the next REQUEST SENSE: fixed format, then the area.
    std::vector<std::uint8_t> nextSense();

private:
    std::deque<std::vector<std::uint8_t>> m_records;
};

}  // namespace sim
