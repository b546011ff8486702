#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

void sweepAllocations(const std::string& name, const std::function<DWORD()>& run,
                      const std::function<void(const FailedAllocation&)>& check,
                      const std::function<void()>& reset)
{
    unsigned total = 0;
    {
        if (reset) reset();
        FaultPlan counting;
        ASSERT_EQ(run(), vkRN_OK) << name;
        total = counting.calls(Op::Malloc) + counting.calls(Op::Calloc);
    }
    ASSERT_GT(total, 0u) << name;
    for (Op op : {Op::Malloc, Op::Calloc}) {
        for (unsigned nth = 1; nth <= total; ++nth) {
            SCOPED_TRACE(name + " " + OpName(op) + " #" + std::to_string(nth));
            if (reset) reset();
            LogCapture log(0x1);
            FaultPlan plan;
            plan.fail(op, nth);
            const DWORD result = run();
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
            if (plan.calls(op) >= nth) check({op, nth, result, log});
        }
    }
}

void sweepRecord(const std::string& name, const Record& untouched,
                 const std::function<DWORD(void*)>& run,
                 const std::function<void(const FailedAllocation&, Record&)>& check,
                 const std::function<void()>& reset)
{
    Record record;
    const auto runOnCopy = [&] {
        record = untouched;
        return run(record.data());
    };
    sweepAllocations(
        name, runOnCopy,
        [&](const FailedAllocation& failed) {
            if (check) return check(failed, record);
            EXPECT_EQ(failed.result, vkRNERROR_OUT_OF_MEMORY);
            EXPECT_EQ(record, untouched) << "the caller's record is untouched";
        },
        reset);
}

bool errorRecordNames(const LogCapture& log, std::initializer_list<const char*> texts)
{
    for (const std::string& line : log.records()) {
        if (line.find("<ERROR>") == std::string::npos) continue;
        for (const char* text : texts)
            if (text != nullptr && line.find(text) != std::string::npos) return true;
    }
    return false;
}
