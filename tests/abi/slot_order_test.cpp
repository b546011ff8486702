// The device object's binary interface as hosts see it: every operation in
// its slot, every slot of a live object holding the implementation's own
// function, and on 32-bit x86 every slot removing exactly its own arguments.

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

#if defined(__ELF__)
#include <link.h>
#endif

namespace {

// A pointer to member function as the Itanium C++ ABI (GCC on Linux and
// MinGW) stores it: for a virtual function, word 0 is 1 + the byte offset of
// its entry in the table. `mangled` is the member pointer's type name, from
// which the function's linker symbol is derived.
struct Member {
    std::uintptr_t words[2];
    const char* mangled;
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
    m.mangled = typeid(M).name();
    m.arity = arity;
    return m;
}

long slotOf(const Member& m)
{
    if (m.words[0] == 0 || (m.words[0] & 1) == 0) return -1;  // absent, or not virtual
    return static_cast<long>((m.words[0] - 1) / sizeof(void*));
}

struct Slot {
    long slot;
    const char* name;
    unsigned arguments;  // 32-bit words on the stack
    Member interface;    // DslrObject's member; absent past slot 62
    Member object;       // Dslr1394Object's member
};

#define VKRN_MEMBER(cls, fn) memberOf(&cls::fn, VKRN_ARITY(&cls::fn))
#define IFACE(n, fn, args)                                                         \
    {                                                                              \
        n, #fn, args, VKRN_MEMBER(DslrObject, fn), VKRN_MEMBER(Dslr1394Object, fn) \
    }
#define IMPL(n, fn, args)                                       \
    {                                                           \
        n, #fn, args, Member{}, VKRN_MEMBER(Dslr1394Object, fn) \
    }

// clang-format off
const Slot kSlots[] = {
    IFACE(0, DeletingDestructor, 1),
    IFACE(1, baseOpenCameraComm, 3),
    IFACE(2, baseCloseCameraComm, 0),
    IFACE(3, baseReserved03, 4),
    IFACE(4, baseReserved04, 1),
    IFACE(5, baseGetVols, 2),
    IFACE(6, baseReserved06, 3),
    IFACE(7, baseFormatVol, 2),
    IFACE(8, baseGetDirs, 2),
    IFACE(9, basecreateDir, 1),
    IFACE(10, baseCreateDCFDir, 2),
    IFACE(11, baseReserved11, 1),
    IFACE(12, baseGetFile, 2),
    IFACE(13, baseGetFileSize, 2),
    IFACE(14, baseGetParsingHeader, 2),
    IFACE(15, basePutFile, 4),
    IFACE(16, baseDeleteFiles, 1),
    IFACE(17, baseSetFileAttribs, 2),
    IFACE(18, baseSetFileTimes, 2),
    IFACE(19, baseReadSetting, 2),
    IFACE(20, baseWriteSetting, 2),
    IFACE(21, baseReserved21, 2),
    IFACE(22, baseSetNotificationCB, 2),
    IFACE(23, baseGetModelDescrip, 1),
    IFACE(24, baseDslrReadData, 2),
    IFACE(25, base1394WriteData, 4),
    IFACE(26, baseDslrOpenPort, 1),
    IFACE(27, baseDslrClosePort, 0),
    IFACE(28, baseSetUILock, 1),
    IFACE(29, baseResetUILock, 1),
    IFACE(30, baseSetDevelopParamSetting, 2),
    IFACE(31, baseGetDevelopParamSetting, 2),
    IFACE(32, baseGetRemoteAPIVersion, 1),
    IFACE(33, baseReleaseControlEx, 5),
    IFACE(34, baseReserved34, 1),
    IFACE(35, baseReleaseControlGetReleasedData, 3),
    IFACE(36, baseDslrResetTransfer, 1),
    IFACE(37, dsl1394MessageTxRx, 4),
    IFACE(38, dsl1394MessageTx, 3),
    IFACE(39, baseNotifyStart, 0),
    IFACE(40, baseNotifyTerminate, 0),
    IFACE(41, dsl1394TestFunction, 5),
    IFACE(42, baseSetGammaLookupTable, 2),
    IFACE(43, baseGetGammaLookupTable, 2),
    IFACE(44, baseSetDirectWhiteBalanceSetting, 1),
    IFACE(45, baseGetDirectWhiteBalanceSetting, 1),
    IFACE(46, baseSetWhiteBalanceParameters, 2),
    IFACE(47, baseGetWhiteBalanceParameters, 2),
    IFACE(48, baseSetCustomFunctionSetting, 2),
    IFACE(49, baseGetCustomFunctionSetting, 2),
    IFACE(50, baseSetPersonalFunctionSetting, 2),
    IFACE(51, baseGetPersonalFunctionSetting, 2),
    IFACE(52, baseReserved52, 2),
    IFACE(53, baseReserved53, 2),
    IFACE(54, baseGetPersonalFunctionExSize, 1),
    IFACE(55, baseGetPersonalFunctionEx, 2),
    IFACE(56, baseSetPersonalFunctionEx, 2),
    IFACE(57, baseSetUserColorMatrix, 2),
    IFACE(58, baseGetUserColorMatrix, 2),
    IFACE(59, baseSetJpegQuality, 2),
    IFACE(60, baseGetJpegQuality, 2),
    IFACE(61, baseSetWhiteBalanceShift, 2),
    IFACE(62, baseGetWhilteBalanceShift, 2),
    IMPL(63, Initialize, 0),
    IMPL(64, Terminate, 0),
    IMPL(65, baseReserved65, 0),
    IMPL(66, baseReserved66, 0),
    IMPL(67, baseReserved67, 0),
    IMPL(68, baseReserved68, 1),
    IMPL(69, baseReserved69, 1),
    IMPL(70, baseReserved70, 2),
    IMPL(71, baseReserved71, 1),
    IMPL(72, baseReserved72, 2),
    IMPL(73, baseReserved73, 3),
    IMPL(74, baseReserved74, 3),
    IMPL(75, baseReserved75, 1),
    IMPL(76, baseReserved76, 5),
    IMPL(77, baseReserved77, 3),
    IMPL(78, baseReserved78, 2),
    IMPL(79, baseReserved79, 5),
};
// clang-format on

void* entry(DslrObject* object, long slot) { return (*reinterpret_cast<void***>(object))[slot]; }

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
        EXPECT_EQ(s.slot, i);
        EXPECT_EQ(slotOf(s.object), s.slot);
        EXPECT_EQ(slotOf(s.interface), s.slot < 63 ? s.slot : -1);
        if (s.object.arity != ~0u) {
            EXPECT_EQ(s.object.arity, s.arguments);
        }
    }
}

#if defined(__ELF__)
// The function a member names, found by its symbol in this executable's own
// symbol table: Dslr1394Object::<name> with the parameters of the member
// pointer's type. Returns the load address, or null when it is not there.
class Symbols {
public:
    Symbols()
    {
        std::ifstream in("/proc/self/exe", std::ios::binary);
        image_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (image_.size() < sizeof(ElfW(Ehdr))) return;
        const auto* eh = reinterpret_cast<const ElfW(Ehdr)*>(image_.data());
        const auto* sh = reinterpret_cast<const ElfW(Shdr)*>(image_.data() + eh->e_shoff);
        for (unsigned i = 0; i < eh->e_shnum; ++i) {
            if (sh[i].sh_type != SHT_SYMTAB) continue;
            const char* strings = image_.data() + sh[sh[i].sh_link].sh_offset;
            const auto* sym = reinterpret_cast<const ElfW(Sym)*>(image_.data() + sh[i].sh_offset);
            for (std::size_t k = 0; k < sh[i].sh_size / sizeof(ElfW(Sym)); ++k) {
                if (sym[k].st_value != 0) values_[strings + sym[k].st_name] = sym[k].st_value;
            }
        }
        // The load bias, from a function whose address this code takes directly.
        auto known = values_.find("DSLR_GetObject");
        if (known != values_.end()) {
            bias_ = reinterpret_cast<std::uintptr_t>(&DSLR_GetObject) - known->second;
            loaded_ = true;
        }
    }
    bool loaded() const { return loaded_; }

    void* address(const char* name, const Member& m) const
    {
        // Member pointer type: M14Dslr1394Object[U8thiscall]F<return><parameters>E.
        std::string type = m.mangled;
        std::string cls = "M14Dslr1394Object";
        if (type.compare(0, cls.size(), cls) != 0) return nullptr;
        std::size_t at = cls.size();
        if (type.compare(at, 10, "U8thiscall") == 0) at += 10;
        if (type[at++] != 'F') return nullptr;
        at += type[at] == 'P' ? 2 : 1;  // the returns are j, v and Pv
        std::string symbol = "_ZN14Dslr1394Object" + std::to_string(std::strlen(name)) + name +
                             "E" + type.substr(at, type.size() - at - 1);
        auto found = values_.find(symbol);
        if (found == values_.end()) return nullptr;
        return reinterpret_cast<void*>(found->second + bias_);
    }

private:
    std::vector<char> image_;
    std::map<std::string, std::uintptr_t> values_;
    std::uintptr_t bias_ = 0;
    bool loaded_ = false;
};
#endif

TEST(SlotOrder, LiveObjectTableHoldsEachFinalOverrider)
{
    DslrObject* object = DSLR_GetObject();
    ASSERT_NE(object, nullptr);
    EXPECT_TRUE(typeid(*object) == typeid(Dslr1394Object));
#if defined(__ELF__)
    Symbols symbols;
    ASSERT_TRUE(symbols.loaded()) << "no symbol table in /proc/self/exe";
#endif
    for (const Slot& s : kSlots) {
        SCOPED_TRACE(s.name);
        ASSERT_NE(entry(object, s.slot), nullptr);
#if defined(__ELF__)
        EXPECT_EQ(entry(object, s.slot), symbols.address(s.name, s.object)) << s.object.mangled;
#endif
    }
    DSLR_DeleteObject(object);
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
