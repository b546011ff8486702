// An allocation-failure sweep: an operation is run once to count the
// allocations it makes through the platform table, then once more for each
// of them failing in turn.
#pragma once

#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

// `check` sees each failing run's result, its log (errors only) and plan.
inline void sweepAllocations(
    const std::string& name, const std::function<DWORD()>& run,
    const std::function<void(DWORD, const LogCapture&, const FaultPlan&)>& check)
{
    unsigned allocations = 0;
    {
        FaultPlan counting;
        ASSERT_EQ(run(), 0u) << name;
        allocations = counting.calls(Op::Malloc) + counting.calls(Op::Calloc);
    }
    ASSERT_GT(allocations, 0u) << name;
    for (Op op : {Op::Malloc, Op::Calloc}) {
        for (unsigned nth = 1; nth <= allocations; ++nth) {
            SCOPED_TRACE(name + " " + OpName(op) + " #" + std::to_string(nth));
            LogCapture log(0x1);
            FaultPlan plan;
            plan.fail(op, nth);
            const DWORD result = run();
            if (plan.calls(op) >= nth) check(result, log, plan);
        }
    }
}
