// Creating the device object when memory runs out.

#include "VKRNQ402.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace {

TEST(DeviceObjectFaults, EveryAllocationFailureYieldsNullAndLeaksNothing)
{
    unsigned allocations = 0;
    {
        FaultPlan counting;
        DSLR_DeleteObject(DSLR_GetObject());
        allocations = counting.calls(Op::Malloc) + counting.calls(Op::Calloc);
    }
    ASSERT_EQ(allocations, 2u);  // the object, then its message channel
    for (unsigned nth = 1; nth <= allocations; ++nth) {
        SCOPED_TRACE(nth);
        LogCapture log(0x1);
        std::size_t handles = openHandleCount();
        FaultPlan plan;
        plan.fail(Op::Malloc, nth, ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(DSLR_GetObject(), nullptr);
        EXPECT_EQ(plan.outstandingAllocations(), 0u);
        EXPECT_EQ(openHandleCount(), handles);
        EXPECT_EQ(log.contains("Initialize: couldn't allocate memory"), nth == 2);
    }
}

}  // namespace
