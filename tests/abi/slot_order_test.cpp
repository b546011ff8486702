// The device object's binary interface as hosts see it: every operation in
// its slot, and on 32-bit x86 every slot removing exactly its own arguments.

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

// Under the Itanium C++ ABI (GCC on Linux and MinGW) a pointer to a virtual
// member function holds 1 + the byte offset of its entry in the table.
template <typename Member>
long slotOf(Member member)
{
    static_assert(sizeof(Member) == 2 * sizeof(std::uintptr_t), "Itanium member pointer");
    std::uintptr_t words[2];
    std::memcpy(words, &member, sizeof(words));
    if ((words[0] & 1) == 0) return -1;  // not virtual
    return static_cast<long>((words[0] - 1) / sizeof(void*));
}

struct Slot {
    long slot;
    const char* name;
    unsigned arguments;  // 32-bit words on the stack
    long declared;       // where the compiler put it
};

const Slot kSlots[] = {
    {0, "DeletingDestructor", 1, slotOf(&DslrObject::DeletingDestructor)},
    {1, "baseOpenCameraComm", 3, slotOf(&DslrObject::baseOpenCameraComm)},
    {2, "baseCloseCameraComm", 0, slotOf(&DslrObject::baseCloseCameraComm)},
    {3, "baseReserved03", 4, slotOf(&DslrObject::baseReserved03)},
    {4, "baseReserved04", 1, slotOf(&DslrObject::baseReserved04)},
    {5, "baseGetVols", 2, slotOf(&DslrObject::baseGetVols)},
    {6, "baseReserved06", 3, slotOf(&DslrObject::baseReserved06)},
    {7, "baseFormatVol", 2, slotOf(&DslrObject::baseFormatVol)},
    {8, "baseGetDirs", 2, slotOf(&DslrObject::baseGetDirs)},
    {9, "basecreateDir", 1, slotOf(&DslrObject::basecreateDir)},
    {10, "baseCreateDCFDir", 2, slotOf(&DslrObject::baseCreateDCFDir)},
    {11, "baseReserved11", 1, slotOf(&DslrObject::baseReserved11)},
    {12, "baseGetFile", 2, slotOf(&DslrObject::baseGetFile)},
    {13, "baseGetFileSize", 2, slotOf(&DslrObject::baseGetFileSize)},
    {14, "baseGetParsingHeader", 2, slotOf(&DslrObject::baseGetParsingHeader)},
    {15, "basePutFile", 4, slotOf(&DslrObject::basePutFile)},
    {16, "baseDeleteFiles", 1, slotOf(&DslrObject::baseDeleteFiles)},
    {17, "baseSetFileAttribs", 2, slotOf(&DslrObject::baseSetFileAttribs)},
    {18, "baseSetFileTimes", 2, slotOf(&DslrObject::baseSetFileTimes)},
    {19, "baseReadSetting", 2, slotOf(&DslrObject::baseReadSetting)},
    {20, "baseWriteSetting", 2, slotOf(&DslrObject::baseWriteSetting)},
    {21, "baseReserved21", 2, slotOf(&DslrObject::baseReserved21)},
    {22, "baseSetNotificationCB", 2, slotOf(&DslrObject::baseSetNotificationCB)},
    {23, "baseGetModelDescrip", 1, slotOf(&DslrObject::baseGetModelDescrip)},
    {24, "baseDslrReadData", 2, slotOf(&DslrObject::baseDslrReadData)},
    {25, "base1394WriteData", 4, slotOf(&DslrObject::base1394WriteData)},
    {26, "baseDslrOpenPort", 1, slotOf(&DslrObject::baseDslrOpenPort)},
    {27, "baseDslrClosePort", 0, slotOf(&DslrObject::baseDslrClosePort)},
    {28, "baseSetUILock", 1, slotOf(&DslrObject::baseSetUILock)},
    {29, "baseResetUILock", 1, slotOf(&DslrObject::baseResetUILock)},
    {30, "baseSetDevelopParamSetting", 2, slotOf(&DslrObject::baseSetDevelopParamSetting)},
    {31, "baseGetDevelopParamSetting", 2, slotOf(&DslrObject::baseGetDevelopParamSetting)},
    {32, "baseGetRemoteAPIVersion", 1, slotOf(&DslrObject::baseGetRemoteAPIVersion)},
    {33, "baseReleaseControlEx", 5, slotOf(&DslrObject::baseReleaseControlEx)},
    {34, "baseReserved34", 1, slotOf(&DslrObject::baseReserved34)},
    {35, "baseReleaseControlGetReleasedData", 3,
     slotOf(&DslrObject::baseReleaseControlGetReleasedData)},
    {36, "baseDslrResetTransfer", 1, slotOf(&DslrObject::baseDslrResetTransfer)},
    {37, "dsl1394MessageTxRx", 4, slotOf(&DslrObject::dsl1394MessageTxRx)},
    {38, "dsl1394MessageTx", 3, slotOf(&DslrObject::dsl1394MessageTx)},
    {39, "baseNotifyStart", 0, slotOf(&DslrObject::baseNotifyStart)},
    {40, "baseNotifyTerminate", 0, slotOf(&DslrObject::baseNotifyTerminate)},
    {41, "dsl1394TestFunction", 5, slotOf(&DslrObject::dsl1394TestFunction)},
    {42, "baseSetGammaLookupTable", 2, slotOf(&DslrObject::baseSetGammaLookupTable)},
    {43, "baseGetGammaLookupTable", 2, slotOf(&DslrObject::baseGetGammaLookupTable)},
    {44, "baseSetDirectWhiteBalanceSetting", 1,
     slotOf(&DslrObject::baseSetDirectWhiteBalanceSetting)},
    {45, "baseGetDirectWhiteBalanceSetting", 1,
     slotOf(&DslrObject::baseGetDirectWhiteBalanceSetting)},
    {46, "baseSetWhiteBalanceParameters", 2, slotOf(&DslrObject::baseSetWhiteBalanceParameters)},
    {47, "baseGetWhiteBalanceParameters", 2, slotOf(&DslrObject::baseGetWhiteBalanceParameters)},
    {48, "baseSetCustomFunctionSetting", 2, slotOf(&DslrObject::baseSetCustomFunctionSetting)},
    {49, "baseGetCustomFunctionSetting", 2, slotOf(&DslrObject::baseGetCustomFunctionSetting)},
    {50, "baseSetPersonalFunctionSetting", 2, slotOf(&DslrObject::baseSetPersonalFunctionSetting)},
    {51, "baseGetPersonalFunctionSetting", 2, slotOf(&DslrObject::baseGetPersonalFunctionSetting)},
    {52, "baseReserved52", 2, slotOf(&DslrObject::baseReserved52)},
    {53, "baseReserved53", 2, slotOf(&DslrObject::baseReserved53)},
    {54, "baseGetPersonalFunctionExSize", 1, slotOf(&DslrObject::baseGetPersonalFunctionExSize)},
    {55, "baseGetPersonalFunctionEx", 2, slotOf(&DslrObject::baseGetPersonalFunctionEx)},
    {56, "baseSetPersonalFunctionEx", 2, slotOf(&DslrObject::baseSetPersonalFunctionEx)},
    {57, "baseSetUserColorMatrix", 2, slotOf(&DslrObject::baseSetUserColorMatrix)},
    {58, "baseGetUserColorMatrix", 2, slotOf(&DslrObject::baseGetUserColorMatrix)},
    {59, "baseSetJpegQuality", 2, slotOf(&DslrObject::baseSetJpegQuality)},
    {60, "baseGetJpegQuality", 2, slotOf(&DslrObject::baseGetJpegQuality)},
    {61, "baseSetWhiteBalanceShift", 2, slotOf(&DslrObject::baseSetWhiteBalanceShift)},
    {62, "baseGetWhilteBalanceShift", 2, slotOf(&DslrObject::baseGetWhilteBalanceShift)},
    {63, "Initialize", 0, slotOf(&Dslr1394Object::Initialize)},
    {64, "Terminate", 0, slotOf(&Dslr1394Object::Terminate)},
    {65, "baseReserved65", 0, slotOf(&Dslr1394Object::baseReserved65)},
    {66, "baseReserved66", 0, slotOf(&Dslr1394Object::baseReserved66)},
    {67, "baseReserved67", 0, slotOf(&Dslr1394Object::baseReserved67)},
    {68, "baseReserved68", 1, slotOf(&Dslr1394Object::baseReserved68)},
    {69, "baseReserved69", 1, slotOf(&Dslr1394Object::baseReserved69)},
    {70, "baseReserved70", 2, slotOf(&Dslr1394Object::baseReserved70)},
    {71, "baseReserved71", 1, slotOf(&Dslr1394Object::baseReserved71)},
    {72, "baseReserved72", 2, slotOf(&Dslr1394Object::baseReserved72)},
    {73, "baseReserved73", 3, slotOf(&Dslr1394Object::baseReserved73)},
    {74, "baseReserved74", 3, slotOf(&Dslr1394Object::baseReserved74)},
    {75, "baseReserved75", 1, slotOf(&Dslr1394Object::baseReserved75)},
    {76, "baseReserved76", 5, slotOf(&Dslr1394Object::baseReserved76)},
    {77, "baseReserved77", 3, slotOf(&Dslr1394Object::baseReserved77)},
    {78, "baseReserved78", 2, slotOf(&Dslr1394Object::baseReserved78)},
    {79, "baseReserved79", 5, slotOf(&Dslr1394Object::baseReserved79)},
};

TEST(SlotOrder, EveryOperationSitsInItsSlot)
{
    ASSERT_EQ(sizeof(kSlots) / sizeof(kSlots[0]), 80u);
    for (const Slot& s : kSlots) EXPECT_EQ(s.declared, s.slot) << s.name;
    // The implementation's overrides keep the interface's slots.
    EXPECT_EQ(slotOf(&Dslr1394Object::baseOpenCameraComm), 1);
    EXPECT_EQ(slotOf(&Dslr1394Object::baseGetWhilteBalanceShift), 62);
    EXPECT_EQ(slotOf(&Dslr1394Object::DeletingDestructor), 0);
}

#if defined(__i386__)

// Calls `function` with ECX = self and `count` zero words on the stack, and
// returns by how many bytes the stack pointer moved across the call: 0 when
// the callee removed exactly its arguments. The stack is 16-byte aligned at
// the call, as the compiled code expects.
int stackMovement(void* function, void* self, unsigned count, std::uint32_t* result)
{
    std::uint32_t eax = reinterpret_cast<std::uintptr_t>(function);
    std::uint32_t edx = count;
    void* ecx = self;
    std::uint32_t aligned, original;
    asm volatile(
        "movl %%esp, %%edi\n\t"
        "andl $-16, %%esp\n\t"
        "leal (,%%edx,4), %%esi\n\t"
        "negl %%esi\n\t"
        "andl $15, %%esi\n\t"
        "subl %%esi, %%esp\n\t"
        "movl %%esp, %%esi\n\t"
        "testl %%edx, %%edx\n\t"
        "jz 2f\n\t"
        "1:\n\t"
        "pushl $0\n\t"
        "decl %%edx\n\t"
        "jnz 1b\n\t"
        "2:\n\t"
        "call *%%eax\n\t"
        "movl %%esp, %%edx\n\t"
        "subl %%esi, %%edx\n\t"
        "movl %%edi, %%esp\n\t"
        : "+a"(eax), "+d"(edx), "+c"(ecx), "=&S"(aligned), "=&D"(original)
        :
        : "memory", "cc");
    if (result != nullptr) *result = eax;
    return static_cast<int>(edx);
}

void* entry(DslrObject* object, long slot) { return (*reinterpret_cast<void***>(object))[slot]; }

TEST(StackBalance, EverySlotRemovesExactlyItsArguments)
{
    for (const Slot& s : kSlots) {
        if (s.slot == 0 || s.slot == 64) continue;  // they end the object; below
        SCOPED_TRACE(s.name);
        DslrObject* object = DSLR_GetObject();
        ASSERT_NE(object, nullptr);
        std::uint32_t result = 0;
        EXPECT_EQ(stackMovement(entry(object, s.slot), object, s.arguments, &result), 0);
        if (std::strncmp(s.name, "baseReserved", 12) == 0) {
            EXPECT_EQ(result, vkRNERROR_NOT_SUPPORTED);
        }
        DSLR_DeleteObject(object);
    }
}

TEST(StackBalance, TeardownSlotsAndExports)
{
    DslrObject* object = DSLR_GetObject();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(stackMovement(entry(object, 64), object, 0, nullptr), 0);  // Terminate
    // Slot 0 with the flag 0 destroys without freeing; the memory is freed here.
    EXPECT_EQ(stackMovement(entry(object, 0), object, 1, nullptr), 0);
    os::Free(object);

    std::uint32_t created = 0;
    EXPECT_EQ(stackMovement(reinterpret_cast<void*>(&DSLR_GetObject), nullptr, 0, &created), 0);
    ASSERT_NE(created, 0u);
    // DSLR_DeleteObject with a null argument: nothing to delete, one word to remove.
    EXPECT_EQ(stackMovement(reinterpret_cast<void*>(&DSLR_DeleteObject), nullptr, 1, nullptr), 0);
    DSLR_DeleteObject(reinterpret_cast<DslrObject*>(static_cast<std::uintptr_t>(created)));
}

#endif  // __i386__

}  // namespace
