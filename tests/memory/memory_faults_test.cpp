// Allocation failures in the memory layer.

#include "memory/message_buffer.h"
#include "memory/sense_message.h"
#include "memory/tracked_memory.h"

#include "VKRNQ402.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace {

TEST(MemoryFaults, TrackedAllocatorsReturnNullWithTheirText)
{
    LogCapture log(0x1);
    FaultPlan plan;
    plan.fail(Op::Calloc, 1);
    plan.fail(Op::Malloc, 1);
    EXPECT_EQ(MEM_AllocateMemory(16), nullptr);
    EXPECT_EQ(MEM_AllocateAndInitMemory(16), nullptr);
    EXPECT_TRUE(log.contains(":<ERROR>: MEM_AllocateMemory:  Failed to allocate memory."));
    EXPECT_TRUE(log.contains(":<ERROR>: MEM_AllocateAndInitMemory:  Failed to allocate memory."));
    EXPECT_EQ(plan.outstandingAllocations(), 0u);
}

TEST(MemoryFaults, BufferCreatorsReportOutOfMemoryAndStayEmpty)
{
    LogCapture log(0x1);
    const BYTE data[4] = {};
    for (int creator = 0; creator < 3; ++creator) {
        SCOPED_TRACE(creator);
        MessageBuffer* message = new MessageBuffer;
        SenseMessage* sense = new SenseMessage;
        FaultPlan plan;
        plan.fail(Op::Malloc, 1);
        DWORD result = creator == 0   ? message->CreateTransferMessage(1, data, 4)
                       : creator == 1 ? message->CreateRecivedMessageBuffer(4)
                                      : sense->CreateSenseMessageBuffer(64);
        EXPECT_EQ(result, vkRNERROR_OUT_OF_MEMORY);
        EXPECT_EQ(message->GetBufferPointer(), nullptr);
        EXPECT_EQ(sense->GetBufferPointer(), nullptr);
        delete message;
        delete sense;
        EXPECT_EQ(plan.outstandingAllocations(), 0u);
    }
    EXPECT_TRUE(log.contains("AllocateAndInitMemory: Allocating went wrong."));
    EXPECT_TRUE(log.contains("CreateTransferMessage: CreateBuffer went wrong."));
}

}  // namespace
