// Tracked blocks: zero-filled, self-describing, foreign pointers refused.

#include "memory/tracked_memory.h"

#include "VKRNQ402.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

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

}  // namespace
