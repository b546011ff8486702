// The device object's life: creation, defaults, teardown, and creation when
// memory runs out. (The reserved slots and a delete of null are rows of the
// all-slots table.)

#include "VKRNQ402.h"
#include "msgchannel/ScsiScanManager.h"
#include "object/Dslr1394Object.h"
#include "support/fault_plan.h"
#include "support/fresh_object.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace {

using DeviceObject = FreshObject;

TEST_F(DeviceObject, FreshObjectHoldsItsDefaults)
{
    const Dslr1394Object* self = m_object;
    ASSERT_NE(self, nullptr);
    EXPECT_NE(self->m_scsiScanMngrPtr, nullptr);
    EXPECT_EQ(self->m_dwSizeOfMaxScsiData, 0xFF00u);
    EXPECT_EQ(self->m_bExitNotifyThreadFlg, 1);
    EXPECT_EQ(self->m_bExitPollThreadFlg, 0);
    EXPECT_EQ(self->m_hDevice, INVALID_HANDLE_VALUE);
    EXPECT_EQ(self->m_hInterruptThread, INVALID_HANDLE_VALUE);
    EXPECT_EQ(self->m_hNotificationThread, INVALID_HANDLE_VALUE);
    EXPECT_EQ(self->m_hMapFile, nullptr);
    EXPECT_EQ(self->m_hDeviceAccessMutex, nullptr);
    EXPECT_EQ(self->m_pfnNotifyCallback, nullptr);
    EXPECT_EQ(self->m_portName[0], '\0');
    EXPECT_EQ(self->m_lastRapi.dwCommand | self->m_lastRapi.dwStatus | self->m_lastRapi.dwRemaining,
              0u);
    EXPECT_EQ(self->m_scsiScanMngrPtr->m_portOpenCount, 0u);
}

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
