#include "support/allocation_sweep.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

namespace {

// Whether an <ERROR> record of the log holds one of the texts (null ones
// are skipped).
bool errorRecordNames(const LogCapture& log, std::initializer_list<const char*> texts)
{
    for (const std::string& line : log.records()) {
        if (line.find("<ERROR>") == std::string::npos) continue;
        for (const char* text : texts)
            if (text != nullptr && line.find(text) != std::string::npos) return true;
    }
    return false;
}

}  // namespace

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

void sweepOperation(const SweptOperation& operation, const std::function<void()>& reset)
{
    const unsigned allows = operation.allows;
    Record record;
    const auto runOnCopy = [&] {
        record = operation.untouched;
        return operation.run(record.data());
    };
    const auto judge = [&](const FailedAllocation& failed) {
        if (failed.result == vkRN_OK && (allows & kMaySurvive) != 0) {
            EXPECT_TRUE(failed.log.contains(operation.alsoNamed)) << "survived only that step";
            return;
        }
        const bool readFailed = (allows & kReadMayFail) != 0 &&
                                failed.result == vkRNERROR_TRANSFER_FAILED &&
                                failed.log.contains("base1394ReadData has error(0x2000002)");
        EXPECT_TRUE(failed.result == vkRNERROR_OUT_OF_MEMORY || readFailed)
            << std::hex << failed.result;
        Record expected = operation.untouched;
        if ((allows & kWritesFirstWord) != 0) std::memcpy(expected.data(), record.data(), 4);
        if ((allows & kZeroesLengthUnsent) != 0 &&
            failed.log.contains("dslrSendRemoteAPICommand returned error"))
            std::memset(expected.data(), 0, 4);
        EXPECT_EQ(record, expected) << "the caller's record is untouched";
        EXPECT_TRUE(errorRecordNames(failed.log, {operation.name, operation.alsoNamed}))
            << "an error record in the operation's own words";
    };
    sweepAllocations(operation.name, runOnCopy, judge, reset);
}
