#include "sim/link_model.h"

#include <algorithm>

namespace sim {

namespace {

// After this long without a command the link is idle and the next one
// starts when it comes, whatever the clock owed.
constexpr std::chrono::milliseconds kIdle(100);

}  // namespace

std::chrono::nanoseconds linkCommandTime(LinkModel model, std::uint32_t bytes)
{
    if (model != LinkModel::kS400) return std::chrono::nanoseconds(0);
    return kS400CommandOverhead +
           std::chrono::nanoseconds(std::uint64_t{bytes} * 1'000'000'000 / kS400BytesPerSecond);
}

LinkClock::Clock::time_point LinkClock::schedule(std::chrono::nanoseconds span,
                                                 Clock::time_point now)
{
    std::lock_guard<std::mutex> guard(m_lock);
    Clock::time_point start = m_due;  // behind the command another handle has on the link
    if (m_inFlight == 0) {
        const Clock::duration gap = std::max(now - m_answered, Clock::duration::zero());
        start = gap < kIdle ? m_due + gap : now;
    }
    ++m_inFlight;
    m_due = start + span;
    m_total += span;
    return m_due;
}

void LinkClock::answered(Clock::time_point now)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_answered = now;
    if (m_inFlight > 0) --m_inFlight;
}

std::chrono::nanoseconds LinkClock::total() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_total;
}

}  // namespace sim
