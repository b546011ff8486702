// The device object's binary interface as hosts see it: every operation in
// its slot of the implementation's table, and on 32-bit x86 every slot
// removing exactly its own arguments.

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

// A pointer to member function as the Itanium C++ ABI (GCC on Linux and
// MinGW) stores it: for a virtual function, word 0 is 1 + the byte offset of
// its entry in the table.
struct Member {
    std::uintptr_t words[2];
    unsigned arity;  // declared parameters, where the compiler can count them
};

#if !defined(__i386__)
template <typename R, typename C, typename... A>
constexpr unsigned arityOf(R (C::*)(A...))
{
    return sizeof...(A);
}
#define VKRN_ARITY(m) arityOf(m)
#else
#define VKRN_ARITY(m) ~0u  // thiscall member types do not deduce; counted on 64-bit builds
#endif

template <typename M>
Member memberOf(M member, unsigned arity)
{
    static_assert(sizeof(M) == 2 * sizeof(std::uintptr_t), "Itanium member pointer");
    Member m{};
    std::memcpy(m.words, &member, sizeof(m.words));
    m.arity = arity;
    return m;
}

long slotOf(const Member& m)
{
    if (m.words[0] == 0 || (m.words[0] & 1) == 0) return -1;  // absent, or not virtual
    return static_cast<long>((m.words[0] - 1) / sizeof(void*));
}

struct Slot {
    const char* name;
    unsigned arguments;  // 32-bit words on the stack
    Member interface;    // DslrObject's member; absent past slot 62
    Member object;       // Dslr1394Object's member
};

#define VKRN_MEMBER(cls, fn) memberOf(&cls::fn, VKRN_ARITY(&cls::fn))
// clang-format off
#define IFACE(fn, args) { #fn, args, VKRN_MEMBER(DslrObject, fn), VKRN_MEMBER(Dslr1394Object, fn) }
#define IMPL(fn, args) { #fn, args, Member{}, VKRN_MEMBER(Dslr1394Object, fn) }

// Each row is the slot its position names: the operation and its stack words.
const Slot kSlots[] = {
    /*  0 */ IFACE(DeletingDestructor, 1), IFACE(baseOpenCameraComm, 3),
    /*  2 */ IFACE(baseCloseCameraComm, 0), IFACE(baseReserved03, 4), IFACE(baseReserved04, 1),
    /*  5 */ IFACE(baseGetVols, 2), IFACE(baseReserved06, 3), IFACE(baseFormatVol, 2),
    /*  8 */ IFACE(baseGetDirs, 2), IFACE(basecreateDir, 1), IFACE(baseCreateDCFDir, 2),
    /* 11 */ IFACE(baseReserved11, 1), IFACE(baseGetFile, 2), IFACE(baseGetFileSize, 2),
    /* 14 */ IFACE(baseGetParsingHeader, 2), IFACE(basePutFile, 4), IFACE(baseDeleteFiles, 1),
    /* 17 */ IFACE(baseSetFileAttribs, 2), IFACE(baseSetFileTimes, 2), IFACE(baseReadSetting, 2),
    /* 20 */ IFACE(baseWriteSetting, 2), IFACE(baseReserved21, 2), IFACE(baseSetNotificationCB, 2),
    /* 23 */ IFACE(baseGetModelDescrip, 1), IFACE(baseDslrReadData, 2), IFACE(base1394WriteData, 4),
    /* 26 */ IFACE(baseDslrOpenPort, 1), IFACE(baseDslrClosePort, 0), IFACE(baseSetUILock, 1),
    /* 29 */ IFACE(baseResetUILock, 1), IFACE(baseSetDevelopParamSetting, 2),
    /* 31 */ IFACE(baseGetDevelopParamSetting, 2), IFACE(baseGetRemoteAPIVersion, 1),
    /* 33 */ IFACE(baseReleaseControlEx, 5), IFACE(baseReserved34, 1),
    /* 35 */ IFACE(baseReleaseControlGetReleasedData, 3), IFACE(baseDslrResetTransfer, 1),
    /* 37 */ IFACE(dsl1394MessageTxRx, 4), IFACE(dsl1394MessageTx, 3), IFACE(baseNotifyStart, 0),
    /* 40 */ IFACE(baseNotifyTerminate, 0), IFACE(dsl1394TestFunction, 5),
    /* 42 */ IFACE(baseSetGammaLookupTable, 2), IFACE(baseGetGammaLookupTable, 2),
    /* 44 */ IFACE(baseSetDirectWhiteBalanceSetting, 1), IFACE(baseGetDirectWhiteBalanceSetting, 1),
    /* 46 */ IFACE(baseSetWhiteBalanceParameters, 2), IFACE(baseGetWhiteBalanceParameters, 2),
    /* 48 */ IFACE(baseSetCustomFunctionSetting, 2), IFACE(baseGetCustomFunctionSetting, 2),
    /* 50 */ IFACE(baseSetPersonalFunctionSetting, 2), IFACE(baseGetPersonalFunctionSetting, 2),
    /* 52 */ IFACE(baseReserved52, 2), IFACE(baseReserved53, 2),
    /* 54 */ IFACE(baseGetPersonalFunctionExSize, 1), IFACE(baseGetPersonalFunctionEx, 2),
    /* 56 */ IFACE(baseSetPersonalFunctionEx, 2), IFACE(baseSetUserColorMatrix, 2),
    /* 58 */ IFACE(baseGetUserColorMatrix, 2), IFACE(baseSetJpegQuality, 2),
    /* 60 */ IFACE(baseGetJpegQuality, 2), IFACE(baseSetWhiteBalanceShift, 2),
    /* 62 */ IFACE(baseGetWhilteBalanceShift, 2), IMPL(Initialize, 0), IMPL(Terminate, 0),
    /* 65 */ IMPL(baseReserved65, 0), IMPL(baseReserved66, 0), IMPL(baseReserved67, 0),
    /* 68 */ IMPL(baseReserved68, 1), IMPL(baseReserved69, 1), IMPL(baseReserved70, 2),
    /* 71 */ IMPL(baseReserved71, 1), IMPL(baseReserved72, 2), IMPL(baseReserved73, 3),
    /* 74 */ IMPL(baseReserved74, 3), IMPL(baseReserved75, 1), IMPL(baseReserved76, 5),
    /* 77 */ IMPL(baseReserved77, 3), IMPL(baseReserved78, 2), IMPL(baseReserved79, 5),
};
// clang-format on

extern "C" size_t HeaderFromC_RecordSizes(size_t* sizes, size_t count);

TEST(PublicHeader, RecordsHaveOneLayoutInCAndCxx)
{
    size_t fromC[7] = {};
    ASSERT_EQ(HeaderFromC_RecordSizes(fromC, 7), 7u);
    const size_t fromCxx[7] = {sizeof(dsFILE_NAME_PREFIX),           sizeof(dsMODEL_DESCRIP),
                               sizeof(dsCAMERA_FUNCTION_INFO),       sizeof(dsIMAGE_NOTIFY),
                               sizeof(dsPERSONAL_FUNCTION),          sizeof(dsGAMMA_LOOKUP_TABLE),
                               offsetof(dsDIRECTORY_ENTRY, cPathStr)};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(fromC[i], fromCxx[i]) << i;
}

TEST(SlotOrder, EveryOperationSitsInItsSlot)
{
    ASSERT_EQ(sizeof(kSlots) / sizeof(kSlots[0]), 80u);
    for (long i = 0; i < 80; ++i) {
        const Slot& s = kSlots[i];
        SCOPED_TRACE(s.name);
        EXPECT_EQ(slotOf(s.object), i);
        EXPECT_EQ(slotOf(s.interface), i < 63 ? i : -1);
        if (s.object.arity != ~0u) {
            EXPECT_EQ(s.object.arity, s.arguments);
        }
    }
}

#if defined(__i386__)

void* entry(DslrObject* object, long slot) { return (*reinterpret_cast<void***>(object))[slot]; }

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

TEST(StackBalance, EverySlotRemovesExactlyItsArguments)
{
    for (long slot = 0; slot < 80; ++slot) {
        const Slot& s = kSlots[slot];
        if (slot == 0 || slot == 64) continue;  // they end the object; below
        SCOPED_TRACE(s.name);
        DslrObject* object = DSLR_GetObject();
        ASSERT_NE(object, nullptr);
        std::uint32_t result = 0;
        EXPECT_EQ(stackMovement(entry(object, slot), object, s.arguments, &result), 0);
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
    DSLR_DeleteObject(object);

    // Slot 0 with the flag 0 destroys without freeing; the memory is freed here.
    object = DSLR_GetObject();
    ASSERT_NE(object, nullptr);
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
