// The S400 link model's arithmetic: the time each command holds the link,
// and when the link clock answers a command, with the time points given.

#include "sim/link_model.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using sim::LinkModel;

TEST(LinkModel, CommandTimeIsOverheadPlusBytesAtTheModelsRate)
{
    const struct {
        LinkModel model;
        std::uint32_t bytes;
        std::chrono::nanoseconds time;
    } cases[] = {
        {LinkModel::kInstant, 0xFF00, 0ns},
        {LinkModel::kS400, 0, 100us},
        {LinkModel::kS400, 40'000, 100us + 1ms},
        {LinkModel::kS400, 0xFF00, 100us + 1'632'000ns},
        {LinkModel::kS400, 0xFFFFFFFF, 100us + 107'374'182'375ns},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sim::linkCommandTime(c.model, c.bytes), c.time) << c.bytes;
}

// Each step: a command of `span` arrives `arrives` after the origin, and its
// answer goes out `answered` after it; `due` is when the clock says the
// command ends. The host's own gap counts, the clock's lateness does not.
TEST(LinkModel, ClockChargesTheHostsGapButNotItsOwnLateness)
{
    // A step with `answered` 0 is answered only after the next one arrives
    // (two handles' commands on the link at once).
    const struct {
        std::chrono::microseconds arrives, span, due, answered;
    } steps[] = {
        {0us, 1000us, 1000us, 1300us},             // the first command starts at once
        {1350us, 1000us, 2050us, 2100us},          // 300 us late, 50 us gap: only the gap
        {2100us, 500us, 2550us, 0us},              // no gap
        {2400us, 100us, 2650us, 2650us},           // finds the link busy: waits for it
        {2800us, 100us, 2900us, 2900us},           // 150 us gap
        {202'900us, 100us, 203'000us, 203'000us},  // idle for 200 ms: starts when it comes
    };
    const auto origin = sim::LinkClock::Clock::now();
    sim::LinkClock clock;
    std::chrono::nanoseconds total{0};
    bool owed = false;  // an answer held back by a step with `answered` 0
    for (const auto& step : steps) {
        EXPECT_EQ(clock.schedule(step.span, origin + step.arrives) - origin, step.due)
            << step.arrives.count();
        total += step.span;
        if (step.answered == 0us) {
            owed = true;
            continue;
        }
        if (owed) clock.answered(origin + step.answered);
        owed = false;
        clock.answered(origin + step.answered);
    }
    EXPECT_EQ(clock.total(), total);
}

}  // namespace
