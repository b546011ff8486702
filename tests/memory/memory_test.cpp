// Tracked blocks (zero-filled, self-describing, foreign pointers refused) and
// the buffer objects on them: sense layout, header checks, freeing once,
// and what the allocators and buffer creators do when memory runs out.

#include "memory/message_buffer.h"
#include "memory/sense_message.h"

#include "VKRNQ402.h"
#include "memory/tracked_memory.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

template <typename T>
using Owned = std::unique_ptr<T>;

using Allocator = void* (*)(DWORD);

TEST(TrackedMemory, BothAllocatorsGiveZeroFilledSelfDescribingBlocks)
{
    for (Allocator allocate : {MEM_AllocateMemory, MEM_AllocateAndInitMemory}) {
        for (DWORD size : {0u, 1u, 20u, 4096u}) {
            SCOPED_TRACE(size);
            auto* block = static_cast<unsigned char*>(allocate(size));
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(_MEM_IsMemoryValid(block), vkRN_OK);
            EXPECT_EQ(MEM_GetMemorySize(block), size);
            for (DWORD i = 0; i < size; ++i) ASSERT_EQ(block[i], 0) << i;
            EXPECT_EQ(MEM_FreeMemory(block), vkRN_OK);
        }
    }
}

TEST(TrackedMemory, ForeignAndNullPointersAreRefusedAndLogged)
{
    LogCapture log(0x1);
    // Memory whose preceding bytes do not hold its own address, as a block
    // from the plain heap would.
    std::vector<unsigned char> notTracked(64, 0);
    void* foreign = notTracked.data() + 32;

    EXPECT_EQ(MEM_FreeMemory(nullptr), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(MEM_FreeMemory(foreign), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(MEM_GetMemorySize(foreign), 0u);
    EXPECT_EQ(_MEM_IsMemoryValid(foreign), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(notTracked, std::vector<unsigned char>(64, 0));

    EXPECT_TRUE(log.contains(":<ERROR>: _MEM_IsMemoryValid: specified pointer is Null."));
    EXPECT_TRUE(log.contains(":<ERROR>: MEM_FreeMemory: Pointer to memory is invalid."));
    EXPECT_TRUE(log.contains(":<ERROR>: _MEM_IsMemoryValid: specified pointer is invalid."));
    EXPECT_TRUE(log.contains(":<ERROR>: MEM_GetMemorySize: Pointer to memory is invalid."));
}

TEST(TrackedMemory, TracesNameEveryFunction)
{
    LogCapture log(0x2 | 0x40);
    MEM_FreeMemory(MEM_AllocateMemory(4));
    std::vector<std::string> expected = {"MEM_AllocateMemory()", "MEM_AllocateMemory()",
                                         "MEM_FreeMemory()",     "_MEM_IsMemoryValid()",
                                         "_MEM_IsMemoryValid()", "MEM_FreeMemory()"};
    EXPECT_EQ(log.messages(), expected);
}

TEST(MessageBuffer, ImpossibleRequestsAreRefusedWithoutAllocating)
{
    Owned<MessageBuffer> message(new MessageBuffer);
    EXPECT_EQ(message->CreateBuffer(0), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(message->CreateTransferMessage(1, nullptr, 4), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(message->CreateRecivedMessageBuffer(0xFFFFFFFFu), vkRNERROR_INVALID_PARAMETER);
    EXPECT_EQ(message->GetBufferPointer(), nullptr);
    EXPECT_EQ(message->GetDataPointer(), nullptr);
    Owned<SenseMessage> sense(new SenseMessage);
    EXPECT_EQ(sense->CreateSenseMessageBuffer(0xFFFFFFF0u), vkRNERROR_INVALID_PARAMETER);
}

TEST(MemoryBuffer, FreesOnceAndRefusesADamagedHeader)
{
    LogCapture log(0x1 | 0x4);
    Owned<MessageBuffer> message(new MessageBuffer);
    ASSERT_EQ(message->CreateBuffer(16), vkRN_OK);
    MEMOBJ_HEADER* header = MEM_HeaderOf(message->GetBufferPointer());
    header->dwMemDataSize = 17;
    EXPECT_EQ(message->FreeBufferMemory(), vkRNERROR_INVALID_PARAMETER);
    EXPECT_NE(message->GetBufferPointer(), nullptr);  // still held, not freed
    EXPECT_TRUE(log.contains("FreeBuffer: MemoryValid() has returned the error."));
    EXPECT_TRUE(
        log.contains("MemoryValid: m_bufferSize(0x10), MEMOBJ_HEADER.dwMemDataSize(0x11)."));

    header->dwMemDataSize = 16;
    EXPECT_EQ(message->FreeBufferMemory(), vkRN_OK);
    EXPECT_EQ(message->GetBufferPointer(), nullptr);
    EXPECT_EQ(message->GetBufferSize(), 0u);
    EXPECT_EQ(message->FreeBufferMemory(), vkRN_OK);
    EXPECT_TRUE(log.contains(":<CHECK>: FreeBuffer: m_bufferPtr is NULL."));
}

// An empty object has neither a header nor a message to check, and a second
// buffer replaces the first without losing it.
TEST(MemoryBuffer, EmptyObjectIsInvalidAndASecondBufferReplacesTheFirst)
{
    FaultPlan plan;
    {
        Owned<MessageBuffer> message(new MessageBuffer);
        EXPECT_EQ(message->MemoryValid(), vkRNERROR_INVALID_PARAMETER);
        EXPECT_EQ(message->CheckRecivedMessage(0, 0), vkRNERROR_OUT_OF_MEMORY);
        ASSERT_EQ(message->CreateBuffer(16), vkRN_OK);
        ASSERT_EQ(message->CreateBuffer(32), vkRN_OK);
        EXPECT_EQ(message->GetBufferSize(), 32u);
        EXPECT_EQ(message->MemoryValid(), vkRN_OK);
    }
    EXPECT_EQ(plan.outstandingAllocations(), 0u);
}

TEST(SenseMessage, QualifierOnlyWhenKeyAndCodeMatch)
{
    struct Case {
        BYTE byte2, asc, ascq;
        BYTE result;
    } cases[] = {
        {0x89, 0x80, 0x05, 5},  // flags in the high bits do not hide the key
        {0x89, 0x81, 0x05, 0},
        {0x08, 0x80, 0x05, 0},
        {0x09, 0x80, 0x00, 0},
    };
    for (const Case& c : cases) {
        Owned<SenseMessage> sense(new SenseMessage);
        ASSERT_EQ(sense->CreateSenseMessageBuffer(64), vkRN_OK);
        ASSERT_EQ(sense->GetBufferSize(), 84u);
        BYTE* bytes = sense->GetBufferPointer();
        bytes[2] = c.byte2;
        bytes[12] = c.asc;
        bytes[13] = c.ascq;
        EXPECT_EQ(sense->CheckSenseMessage(9, 0x80), c.result);
        EXPECT_EQ(sense->GetDataPointer(), bytes + 20);
    }
    Owned<SenseMessage> empty(new SenseMessage);
    EXPECT_EQ(empty->CheckSenseMessage(9, 0x80), 0);
}

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
