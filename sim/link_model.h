// How long the camera's link takes for each command, so that a host sees
// the transfer times of a real camera without one. The in-process camera
// and dslrsim answer at the speed of the machine unless a model is chosen.
//
// S400 (IEEE 1394a at 400 Mbit/s): 393.216 Mbit/s on the wire is 49.152 MB/s
// raw. Data moves in asynchronous block packets of at most 2048 bytes, each
// with 24 bytes of header and CRCs, an acknowledgement and the arbitration
// and subaction gaps around it; what is left for data is about 40 MB/s, the
// figure measured on real S400 links, and the one used here. Each command
// also costs a fixed 100 us: the command block fetched by the camera, its
// status written back and the camera's turnaround. No document of the
// camera gives that figure; 100 us is the cautious middle of what SBP-2
// devices of the time took (tens to a few hundred us), so that the model
// errs neither towards an idle link nor towards a slow one.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

namespace sim {

enum class LinkModel : std::uint8_t { kInstant, kS400 };

constexpr std::uint64_t kS400BytesPerSecond = 40'000'000;
constexpr std::chrono::nanoseconds kS400CommandOverhead = std::chrono::microseconds(100);

// The time a command that moved `bytes` (in either direction) holds the link.
std::chrono::nanoseconds linkCommandTime(LinkModel model, std::uint32_t bytes);

// The link as one resource all handles share: when each command ends. A
// command that finds the link busy (another handle's command on it) starts
// when that one ends; one that finds it idle starts after the gap the host
// itself took since the previous answer. The model's own lateness in waking
// up (the system's sleep) is not charged to the next command, so that the
// average rate is the model's however coarse the sleeps are. Thread-safe.
class LinkClock {
public:
    using Clock = std::chrono::steady_clock;
    // The moment a command of `span`, arriving at `now`, is answered.
    Clock::time_point schedule(std::chrono::nanoseconds span, Clock::time_point now);
    // The moment an answer actually went out.
    void answered(Clock::time_point now);
    // The link time of every command so far.
    std::chrono::nanoseconds total() const;

private:
    mutable std::mutex m_lock;
    Clock::time_point m_due{};
    Clock::time_point m_answered{};
    unsigned m_inFlight = 0;  // commands scheduled and not yet answered
    std::chrono::nanoseconds m_total{0};
};

}  // namespace sim
