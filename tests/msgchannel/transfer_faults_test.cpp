// Every failure the system can hand the message channel during a connection
// and a sense read, one call at a time: each ends with its documented result
// code and leaves no block and no handle behind.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "memory/sense_message.h"
#include "support/fault_plan.h"
#include "support/sim_port.h"

#include <gtest/gtest.h>

namespace {

class TransferFaults : public SimPort {
protected:
    // A connection followed by a sense read.
    DWORD exercise()
    {
        DWORD result = connect();
        if (result != vkRN_OK) return result;
        auto* sense = new SenseMessage;  // from the table: may fail too
        if (sense == nullptr) return vkRNERROR_OUT_OF_MEMORY;
        result = sense->CreateSenseMessageBuffer(64);
        if (result == vkRN_OK) result = m_manager->ReadRequestSense(sense);
        delete sense;
        return result;
    }
};

TEST_F(TransferFaults, EachFailingCallEndsCleanlyWithItsCode)
{
    struct Case {
        Op op;
        DWORD result;
    };
    const Case cases[] = {
        {Op::Malloc, vkRNERROR_OUT_OF_MEMORY},
        {Op::DeviceIoControl, vkRNERROR_TRANSFER_FAILED},
        {Op::WaitForSingleObject, vkRNERROR_TRANSFER_FAILED},
        {Op::ReleaseMutex, vkRNERROR_TRANSFER_FAILED},
        // The device's answer cannot be had: it is treated as gone.
        {Op::GetOverlappedResult, vkRNERROR_DEVICE_NOT_AVAILABLE},
    };
    unsigned baseline[static_cast<int>(Op::Count)] = {};
    {
        FaultPlan counting;
        ASSERT_EQ(exercise(), vkRN_OK);
        for (const Case& test : cases)
            baseline[static_cast<int>(test.op)] = counting.calls(test.op);
    }
    const std::size_t handles = openHandleCount();
    for (const Case& test : cases) {
        const unsigned calls = baseline[static_cast<int>(test.op)];
        EXPECT_GT(calls, 0u) << OpName(test.op);
        for (unsigned nth = 1; nth <= calls; ++nth) {
            SCOPED_TRACE(std::string(OpName(test.op)) + " #" + std::to_string(nth));
            m_manager->WriteMapFile(1);
            FaultPlan plan;
            plan.fail(test.op, nth);
            EXPECT_EQ(exercise(), test.result);
            EXPECT_EQ(plan.outstandingAllocations(), 0u);
            EXPECT_EQ(openHandleCount(), handles);
        }
    }
}

}  // namespace
