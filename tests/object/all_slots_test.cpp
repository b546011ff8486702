// Every slot of the device object called with what a careless host passes:
// NULL pointers, zero and oversized sizes, values out of range, and calls out
// of order on an object that has no port. Each row says what must happen:
// a clean result code, nothing sent where the call is refused before
// sending, and nothing written through an out pointer on failure.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "msgchannel/ScsiScanManager.h"
#include "support/allocation_sweep.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"
#include "support/sim_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr DWORD kUnsupported = vkRNERROR_NOT_SUPPORTED;
constexpr DWORD kClean = 0xFFFFFFFF;  // any result code but "not supported"
constexpr std::size_t kOut = 4096;    // an out buffer larger than any record
constexpr DWORD kHuge = kOut;         // a size no record has, inside the buffer
constexpr DWORD kChecks = DBGFLAG_RECORD_RANGE_CHECKS;
constexpr DWORD kCanned = DBGFLAG_CANNED_ANSWERS;

// What a row's call gets: the connected object, a fresh one without a port,
// an out buffer filled with 0xA5 and an in record of selector 9 and zeros.
struct Call {
    DslrObject* o;
    DslrObject* fresh;
    BYTE* out;
    BYTE* in;
};

enum class Sends { kNothing, kMay };

struct Row {
    int slot;
    const char* probe;
    DWORD (*call)(const Call& c);
    DWORD expected;
    Sends sends;
    DWORD flags;
};

void PrintTo(const Row& row, std::ostream* os) { *os << "slot " << row.slot << " " << row.probe; }

#define ROW(slot, probe, body, expected, sends, flags) \
    Row                                                \
    {                                                  \
        slot, #probe,                                  \
            [](const Call& c) -> DWORD {               \
                (void)c;                               \
                return body;                           \
            },                                         \
            expected, Sends::sends, flags              \
    }

// clang-format off
const Row kRows[] = {
    ROW(0, DeleteNull, (DSLR_DeleteObject(nullptr), 0u), 0, kNothing, 0),
    ROW(1, DebugFlagNotSupported, c.o->baseOpenCameraComm(1, nullptr, 0), 0, kNothing, 0),
    ROW(2, CloseWithoutPort, c.fresh->baseCloseCameraComm(), kClean, kNothing, 0),
    ROW(3, Reserved, c.o->baseReserved03(0, 0, 0, 0), kUnsupported, kNothing, 0),
    ROW(4, Reserved, c.o->baseReserved04(0), kUnsupported, kNothing, 0),
    ROW(5, NullRecords, c.o->baseGetVols(nullptr, nullptr), kBad, kNothing, 0),
    ROW(5, NullCount, c.o->baseGetVols(c.out, nullptr), kBad, kNothing, 0),
    ROW(6, Reserved, c.o->baseReserved06(0, 0, 0), kUnsupported, kNothing, 0),
    ROW(7, NullVolume, c.o->baseFormatVol(nullptr, 0), kBad, kNothing, 0),
    ROW(8, NullList, c.o->baseGetDirs(nullptr, reinterpret_cast<uint32_t*>(c.out)), kBad, kNothing, 0),
    ROW(8, NullLength, c.o->baseGetDirs(c.out, nullptr), kBad, kNothing, 0),
    ROW(9, NullPath, c.o->basecreateDir(nullptr), kBad, kNothing, 0),
    ROW(10, NullName, c.o->baseCreateDCFDir(nullptr, reinterpret_cast<char*>(c.out)), kBad, kNothing, 0),
    ROW(10, NullPathOut, c.o->baseCreateDCFDir("ABCDE", nullptr), kBad, kNothing, 0),
    ROW(11, Reserved, c.o->baseReserved11(0), kUnsupported, kNothing, 0),
    ROW(12, NullPath, c.o->baseGetFile(nullptr, reinterpret_cast<uint32_t*>(c.out)), kBad, kNothing, 0),
    ROW(12, NullLength, c.o->baseGetFile("ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG", nullptr), kBad, kNothing, 0),
    ROW(13, NullPath, c.o->baseGetFileSize(nullptr, c.out), kBad, kNothing, 0),
    ROW(13, NullSize, c.o->baseGetFileSize("ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG", nullptr), kBad, kNothing, 0),
    ROW(14, NullPath, c.o->baseGetParsingHeader(nullptr, reinterpret_cast<uint32_t*>(c.out)), kBad, kNothing, 0),
    ROW(15, NullPath, c.o->basePutFile(nullptr, 4, 0, c.in), kBad, kNothing, 0),
    // Data is copied only from a pointer that is there: the file is written with zeros.
    ROW(15, NullDataSentAsZeros, c.o->basePutFile("ATA02:\\X.JPG", 4, 0, nullptr), 0, kMay, 0),
    ROW(16, NullList, c.o->baseDeleteFiles(nullptr), kBad, kNothing, 0),
    ROW(17, NullList, c.o->baseSetFileAttribs(nullptr, 0), kBad, kNothing, 0),
    ROW(18, NullList, c.o->baseSetFileTimes(nullptr, 0), kBad, kNothing, 0),
    ROW(19, NullRecord, c.o->baseReadSetting(OWNER_NAME, nullptr), kBad, kNothing, 0),
    ROW(19, UnknownTag, c.o->baseReadSetting(99, c.out), kUnsupported, kNothing, 0),
    ROW(20, NullRecord, c.o->baseWriteSetting(OWNER_NAME, nullptr), kBad, kNothing, 0),
    ROW(20, UnknownTag, c.o->baseWriteSetting(99, c.in), kUnsupported, kNothing, 0),
    ROW(21, Reserved, c.o->baseReserved21(0, 0), kUnsupported, kNothing, 0),
    ROW(22, NullCallback, c.o->baseSetNotificationCB(nullptr, 0), 0, kNothing, 0),
    ROW(23, NullRecord, c.o->baseGetModelDescrip(nullptr), kBad, kNothing, 0),
    ROW(24, NullBuffer, c.o->baseDslrReadData(nullptr, 16), kBad, kNothing, 0),
    ROW(25, NoDataChannel, c.o->base1394WriteData(nullptr, 0, nullptr, 0), kClean, kNothing, 0),
    ROW(26, NullPortName, c.fresh->baseDslrOpenPort(nullptr), kClean, kNothing, 0),
    ROW(27, CloseWithoutPort, c.fresh->baseDslrClosePort(), kClean, kNothing, 0),
    ROW(28, CannedLock, c.o->baseSetUILock(0), 0, kNothing, kCanned),
    ROW(29, CannedUnlock, c.o->baseResetUILock(0), 0, kNothing, kCanned),
    ROW(30, NullRecord, c.o->baseSetDevelopParamSetting(32, nullptr), kBad, kNothing, 0),
    ROW(30, ZeroSize, c.o->baseSetDevelopParamSetting(0, c.in), kBad, kNothing, 0),
    ROW(30, HugeSize, c.o->baseSetDevelopParamSetting(kHuge, c.in), kBad, kNothing, 0),
    ROW(30, IndexOutOfRange, c.o->baseSetDevelopParamSetting(32, c.in), kBad, kNothing, kChecks),
    ROW(31, NullRecord, c.o->baseGetDevelopParamSetting(32, nullptr), kBad, kNothing, 0),
    ROW(31, ZeroSize, c.o->baseGetDevelopParamSetting(0, c.out), kBad, kNothing, 0),
    ROW(31, HugeSize, c.o->baseGetDevelopParamSetting(kHuge, c.out), kBad, kNothing, 0),
    ROW(32, NullVersion, c.o->baseGetRemoteAPIVersion(nullptr), kBad, kNothing, 0),
    ROW(33, NullReplyWithSize, c.o->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, 0, nullptr, 48, nullptr), vkRNERROR_TRANSFER_FAILED, kNothing, 0),
    ROW(33, UnknownCode, c.o->baseReleaseControlEx(30, 0, nullptr, 0, nullptr), kBad, kNothing, 0),
    ROW(34, Reserved, c.o->baseReserved34(0), kUnsupported, kNothing, 0),
    ROW(35, NullLength, c.o->baseReleaseControlGetReleasedData(1, 0, nullptr), kBad, kNothing, 0),
    ROW(35, KindOutOfRange, c.o->baseReleaseControlGetReleasedData(4, 0, reinterpret_cast<uint32_t*>(c.out)), kBad, kNothing, 0),
    ROW(36, UnknownType, c.o->baseDslrResetTransfer(0), kBad, kNothing, 0),
    ROW(37, NullMessage, c.o->dsl1394MessageTxRx(nullptr, 16, c.out, 16), kBad, kNothing, 0),
    ROW(37, NullAnswer, c.o->dsl1394MessageTxRx(c.in, 16, nullptr, 16), kBad, kNothing, 0),
    ROW(38, NullMessage, c.o->dsl1394MessageTx(nullptr, 16, reinterpret_cast<uint32_t*>(c.out)), kBad, kNothing, 0),
    ROW(38, NullWord, c.o->dsl1394MessageTx(c.in, 16, nullptr), kBad, kNothing, 0),
    ROW(39, StartWithoutPort, c.fresh->baseNotifyStart(), kClean, kNothing, 0),
    ROW(40, StopWithoutStart, c.o->baseNotifyTerminate(), 0, kNothing, 0),
    ROW(41, UnknownOperation, c.o->dsl1394TestFunction(99, nullptr, 0, nullptr, 0), 0, kNothing, 0),
    ROW(42, NullRecord, c.o->baseSetGammaLookupTable(158, nullptr), kBad, kNothing, 0),
    ROW(42, ZeroSize, c.o->baseSetGammaLookupTable(0, c.in), kBad, kNothing, 0),
    ROW(42, HugeSize, c.o->baseSetGammaLookupTable(kHuge, c.in), kBad, kNothing, 0),
    ROW(42, IndexOutOfRange, c.o->baseSetGammaLookupTable(158, c.in), kBad, kNothing, kChecks),
    ROW(43, NullRecord, c.o->baseGetGammaLookupTable(158, nullptr), kBad, kNothing, 0),
    ROW(43, ZeroSize, c.o->baseGetGammaLookupTable(0, c.out), kBad, kNothing, 0),
    ROW(43, HugeSize, c.o->baseGetGammaLookupTable(kHuge, c.out), kBad, kNothing, 0),
    ROW(44, HugeKelvin, c.o->baseSetDirectWhiteBalanceSetting(0xFFFFFFFF), kBad, kNothing, 0),
    // The pointer is not checked: the camera is asked and nothing is written.
    ROW(45, NullKelvin, c.o->baseGetDirectWhiteBalanceSetting(nullptr), 0, kMay, 0),
    ROW(46, NullRecord, c.o->baseSetWhiteBalanceParameters(48, nullptr), kBad, kNothing, 0),
    ROW(46, ZeroSize, c.o->baseSetWhiteBalanceParameters(0, c.in), kBad, kNothing, 0),
    ROW(46, HugeSize, c.o->baseSetWhiteBalanceParameters(kHuge, c.in), kBad, kNothing, 0),
    ROW(46, SettingOutOfRange, c.o->baseSetWhiteBalanceParameters(48, c.in), kBad, kNothing, kChecks),
    ROW(47, NullRecord, c.o->baseGetWhiteBalanceParameters(48, nullptr), kBad, kNothing, 0),
    ROW(47, ZeroSize, c.o->baseGetWhiteBalanceParameters(0, c.out), kBad, kNothing, 0),
    ROW(47, HugeSize, c.o->baseGetWhiteBalanceParameters(kHuge, c.out), kBad, kNothing, 0),
    ROW(48, NullRecord, c.o->baseSetCustomFunctionSetting(68, nullptr), kBad, kNothing, 0),
    ROW(48, LengthOutOfRange, (c.in[4] = 0xFF, c.o->baseSetCustomFunctionSetting(68, c.in)), vkRNERROR_TRANSFER_FAILED, kNothing, 0),
    ROW(49, NullRecord, c.o->baseGetCustomFunctionSetting(68, nullptr), kBad, kNothing, 0),
    ROW(49, NoRoomForSelector, c.o->baseGetCustomFunctionSetting(3, c.out), kBad, kNothing, 0),
    ROW(49, ZeroSize, c.o->baseGetCustomFunctionSetting(0, c.out), kBad, kNothing, 0),
    ROW(50, NullRecord, c.o->baseSetPersonalFunctionSetting(114, nullptr), kBad, kNothing, 0),
    ROW(50, ZeroSize, c.o->baseSetPersonalFunctionSetting(0, c.in), kBad, kNothing, 0),
    ROW(50, HugeSize, c.o->baseSetPersonalFunctionSetting(kHuge, c.in), kBad, kNothing, 0),
    ROW(50, ValueOutOfRange, c.o->baseSetPersonalFunctionSetting(114, c.in), kBad, kNothing, 0),
    ROW(51, NullRecord, c.o->baseGetPersonalFunctionSetting(114, nullptr), kBad, kNothing, 0),
    ROW(51, ZeroSize, c.o->baseGetPersonalFunctionSetting(0, c.out), kBad, kNothing, 0),
    ROW(51, HugeSize, c.o->baseGetPersonalFunctionSetting(kHuge, c.out), kBad, kNothing, 0),
    ROW(52, Reserved, c.o->baseReserved52(0, 0), kUnsupported, kNothing, 0),
    ROW(53, Reserved, c.o->baseReserved53(0, 0), kUnsupported, kNothing, 0),
    ROW(54, NullSize, c.o->baseGetPersonalFunctionExSize(nullptr), kBad, kNothing, 0),
    ROW(55, NullRecord, c.o->baseGetPersonalFunctionEx(58, nullptr), kBad, kNothing, 0),
    ROW(55, ZeroSize, c.o->baseGetPersonalFunctionEx(0, c.out), kBad, kNothing, 0),
    // The camera's reply is shorter than the size asked for: the read runs out of time.
    ROW(55, HugeSize, (FastClock{1000}, c.o->baseGetPersonalFunctionEx(kHuge, c.out)), vkRNERROR_TRANSFER_FAILED, kMay, 0),
    ROW(55, ShortSize, c.o->baseGetPersonalFunctionEx(30, c.out), vkRNERROR_TRANSFER_FAILED, kMay, 0),
    ROW(56, NullRecord, c.o->baseSetPersonalFunctionEx(58, nullptr), kBad, kNothing, 0),
    ROW(56, ZeroSize, c.o->baseSetPersonalFunctionEx(0, c.in), kBad, kNothing, 0),
    // The chain goes as written; the camera refuses it.
    ROW(56, BrokenChain, c.o->baseSetPersonalFunctionEx(kHuge, c.in), kClean, kMay, 0),
    ROW(57, NullRecord, c.o->baseSetUserColorMatrix(16, nullptr), kBad, kNothing, 0),
    ROW(57, ZeroSize, c.o->baseSetUserColorMatrix(0, c.in), kBad, kNothing, 0),
    ROW(57, HugeSize, c.o->baseSetUserColorMatrix(kHuge, c.in), kBad, kNothing, 0),
    ROW(57, IndexOutOfRange, c.o->baseSetUserColorMatrix(16, c.in), kBad, kNothing, kChecks),
    ROW(58, NullRecord, c.o->baseGetUserColorMatrix(16, nullptr), kBad, kNothing, 0),
    ROW(58, ZeroSize, c.o->baseGetUserColorMatrix(0, c.out), kBad, kNothing, 0),
    ROW(58, HugeSize, c.o->baseGetUserColorMatrix(kHuge, c.out), kBad, kNothing, 0),
    ROW(58, CannedIndexOutOfRange, c.o->baseGetUserColorMatrix(16, c.in), kBad, kNothing, kCanned),
    ROW(59, NullRecord, c.o->baseSetJpegQuality(8, nullptr), kBad, kNothing, 0),
    ROW(59, ZeroSize, c.o->baseSetJpegQuality(0, c.in), kBad, kNothing, 0),
    ROW(59, HugeSize, c.o->baseSetJpegQuality(kHuge, c.in), kBad, kNothing, 0),
    ROW(59, QualityOutOfRange, c.o->baseSetJpegQuality(8, c.in), kBad, kNothing, kChecks | kCanned),
    ROW(60, NullRecord, c.o->baseGetJpegQuality(8, nullptr), kBad, kNothing, 0),
    ROW(60, ZeroSize, c.o->baseGetJpegQuality(0, c.out), kBad, kNothing, 0),
    ROW(60, HugeSize, c.o->baseGetJpegQuality(kHuge, c.out), kBad, kNothing, 0),
    ROW(61, NullRecord, c.o->baseSetWhiteBalanceShift(8, nullptr), kBad, kNothing, 0),
    ROW(61, ZeroSize, c.o->baseSetWhiteBalanceShift(0, c.in), kBad, kNothing, 0),
    ROW(61, HugeSize, c.o->baseSetWhiteBalanceShift(kHuge, c.in), kBad, kNothing, 0),
    ROW(62, NullRecord, c.o->baseGetWhilteBalanceShift(8, nullptr), kBad, kNothing, 0),
    ROW(62, ZeroSize, c.o->baseGetWhilteBalanceShift(0, c.out), kBad, kNothing, 0),
    ROW(62, HugeSize, c.o->baseGetWhilteBalanceShift(kHuge, c.out), kBad, kNothing, 0),
    ROW(63, InitializeAgain, static_cast<Dslr1394Object*>(c.fresh)->Initialize(), 0, kNothing, 0),
    ROW(64, TerminateTwice, (static_cast<Dslr1394Object*>(c.fresh)->Terminate(), static_cast<Dslr1394Object*>(c.fresh)->Terminate(), 0u), 0, kNothing, 0),
    ROW(65, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved65(), kUnsupported, kNothing, 0),
    ROW(66, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved66(), kUnsupported, kNothing, 0),
    ROW(67, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved67(), kUnsupported, kNothing, 0),
    ROW(68, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved68(0), kUnsupported, kNothing, 0),
    ROW(69, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved69(0), kUnsupported, kNothing, 0),
    ROW(70, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved70(0, 0), kUnsupported, kNothing, 0),
    ROW(71, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved71(0), kUnsupported, kNothing, 0),
    ROW(72, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved72(0, 0), kUnsupported, kNothing, 0),
    ROW(73, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved73(0, 0, 0), kUnsupported, kNothing, 0),
    ROW(74, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved74(0, 0, 0), kUnsupported, kNothing, 0),
    ROW(75, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved75(0), kUnsupported, kNothing, 0),
    ROW(76, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved76(0, 0, 0, 0, 0), kUnsupported, kNothing, 0),
    ROW(77, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved77(0, 0, 0), kUnsupported, kNothing, 0),
    ROW(78, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved78(0, 0), kUnsupported, kNothing, 0),
    ROW(79, Reserved, static_cast<Dslr1394Object*>(c.o)->baseReserved79(0, 0, 0, 0, 0), kUnsupported, kNothing, 0),
};

// clang-format on

#undef ROW

class AllSlots : public SimObject, public ::testing::WithParamInterface<Row> {
protected:
    void TearDown() override
    {
        if (m_fresh != nullptr) DSLR_DeleteObject(m_fresh);
        SimObject::TearDown();
    }
    DslrObject* m_fresh = DSLR_GetObject();
};

TEST_P(AllSlots, RefuseCleanlyAndWriteNothingOnFailure)
{
    const Row& row = GetParam();
    std::vector<BYTE> out(kOut, 0xA5);
    std::vector<BYTE> in(kOut, 0);
    in[0] = 9;  // a selector, index or kind no record has
    const std::size_t commands = m_camera->received().size();
    DWORD result = 0;
    {
        LogCapture log(row.flags | 0x1);
        result = row.call({m_slots, m_fresh, out.data(), in.data()});
    }
    EXPECT_TRUE(result == 0 || (result & 0xFFFF0000u) == 0x02000000u) << std::hex << result;
    EXPECT_TRUE(row.expected == kClean ? result != kUnsupported : result == row.expected)
        << std::hex << result;
    EXPECT_TRUE(row.sends == Sends::kMay || m_camera->received().size() == commands);
    EXPECT_TRUE(result == 0 || out == std::vector<BYTE>(kOut, 0xA5)) << "written on failure";
}

std::string rowName(const ::testing::TestParamInfo<Row>& info)
{
    return "slot" + std::to_string(info.param.slot) + "_" + info.param.probe;
}

INSTANTIATE_TEST_SUITE_P(Slots, AllSlots, ::testing::ValuesIn(kRows), rowName);

// The rows are the whole interface: a slot left out of the table would be a
// slot nobody calls carelessly.
TEST(AllSlotsTable, CoversEverySlot)
{
    std::set<int> slots;
    for (const Row& row : kRows) slots.insert(row.slot);
    EXPECT_EQ(slots.size(), 80u);
    EXPECT_EQ(*slots.rbegin(), 79);
}

// Faults through every slot that talks to the camera: each of the call's
// commands in turn meets each SRB status with no data, a short transfer, a
// camera that never answers and one that leaves the bus. Every one gives a
// clean result, leaves nothing allocated, and lowers the port's no-device
// flag exactly when the device was lost (the call then fails). The event
// slots (39, 40) are left to the event-thread suite: their stop lowers the
// flag by design, and their polling thread would take the injected faults.
struct TalkRow {
    int slot;
    const char* name;
    DWORD (*call)(DslrObject* o, BYTE* record);
};

void PrintTo(const TalkRow& row, std::ostream* os) { *os << "slot " << row.slot << " " << row.name; }

#define TALK(slot, name, body) \
    TalkRow { slot, #name, [](DslrObject* o, BYTE* r) -> DWORD { (void)r; return body; } }

constexpr const char* kImage = "ATA01:\\DCIM\\100VELOR\\IMG_0001.JPG";

// clang-format off
const TalkRow kTalkRows[] = {
    TALK(7, Format, o->baseFormatVol("ATA02:", 0)),
    TALK(5, GetVols, (*reinterpret_cast<uint16_t*>(r + 2048) = 4, o->baseGetVols(r, reinterpret_cast<uint16_t*>(r + 2048)))),
    TALK(8, GetDirs, (r[0] = 1, std::memcpy(r + 1, "ATA01:\\DCIM", 12), o->baseGetDirs(r, reinterpret_cast<uint32_t*>(r + 2048)))),
    TALK(9, CreateDir, o->basecreateDir("ATA02:\\NEW")),
    TALK(10, CreateDcfDir, o->baseCreateDCFDir("VELOR", reinterpret_cast<char*>(r))),
    TALK(12, GetFileThenRead, o->baseGetFile(kImage, reinterpret_cast<uint32_t*>(r)) ?: o->baseDslrReadData(r + 16, 64)),
    TALK(13, GetFileSize, o->baseGetFileSize(kImage, r)),
    TALK(14, ParsingHeader, o->baseGetParsingHeader(kImage, reinterpret_cast<uint32_t*>(r))),
    TALK(15, PutFile, o->basePutFile("ATA02:\\X.JPG", 16, 0, r)),
    TALK(19, ReadOwner, o->baseReadSetting(OWNER_NAME, r)),
    TALK(20, WriteOwner, o->baseWriteSetting(OWNER_NAME, "owner")),
    TALK(23, ModelDescription, o->baseGetModelDescrip(r)),
    TALK(31, GetDevelop, (r[0] = 1, o->baseGetDevelopParamSetting(32, r))),
    TALK(32, RemoteApiVersion, o->baseGetRemoteAPIVersion(reinterpret_cast<uint32_t*>(r))),
    TALK(33, ReleaseParams, o->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, 0, nullptr, 48, r)),
    TALK(36, ResetTransfer, o->baseDslrResetTransfer(1)),
    TALK(43, GetGamma, (r[0] = 1, o->baseGetGammaLookupTable(158, r))),
    TALK(45, GetKelvin, o->baseGetDirectWhiteBalanceSetting(reinterpret_cast<uint32_t*>(r))),
    TALK(49, GetCustomFunction, (r[0] = 1, o->baseGetCustomFunctionSetting(68, r))),
    TALK(47, GetWhiteBalance, (r[0] = 1, o->baseGetWhiteBalanceParameters(48, r))),
    TALK(51, GetPersonalFunction, o->baseGetPersonalFunctionSetting(114, r)),
    TALK(54, PersonalFunctionExSize, o->baseGetPersonalFunctionExSize(reinterpret_cast<uint32_t*>(r))),
    TALK(58, GetColorMatrix, (r[0] = 1, o->baseGetUserColorMatrix(16, r))),
    TALK(60, GetJpegQuality, (r[0] = 1, o->baseGetJpegQuality(8, r))),
    TALK(62, GetWhiteBalanceShift, (r[0] = 1, o->baseGetWhilteBalanceShift(8, r))),
};
// clang-format on

#undef TALK

struct Injected {
    const char* name;
    sim::CommandFault fault;
    bool losesDevice;
};

const Injected kInjected[] = {
    {"error", {sim::kAnyCommand, SRB_STATUS_ERROR, 0}, false},
    {"busy", {sim::kAnyCommand, SRB_STATUS_BUSY, 0}, false},
    {"invalid request", {sim::kAnyCommand, SRB_STATUS_INVALID_REQUEST, 0}, false},
    {"no device", {sim::kAnyCommand, SRB_STATUS_NO_DEVICE, 0}, false},
    {"bus reset", {sim::kAnyCommand, SRB_STATUS_BUS_RESET, 0}, false},
    {"flushed", {sim::kAnyCommand, SRB_STATUS_REQUEST_FLUSHED, 0}, true},
    {"short transfer", {sim::kAnyCommand, SRB_STATUS_SUCCESS, 1}, false},
    {"time-out", {sim::kAnyCommand, SRB_STATUS_SUCCESS, 0, sim::Disposition::kSilent}, false},
    {"lost device", {sim::kAnyCommand, 0, 0, sim::Disposition::kDeviceLost}, true},
};

bool clean(DWORD result) { return result == 0 || (result & 0xFFFF0000u) == 0x02000000u; }

class FaultsThroughSlots : public ::testing::TestWithParam<TalkRow> {
protected:
    void TearDown() override { close(); }
    void connect()
    {
        close();
        m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
        ASSERT_EQ(m_object->baseDslrOpenPort(("sim:" + m_name).c_str()), vkRN_OK);
        ASSERT_EQ(m_object->baseOpenCameraComm(0, nullptr, 0), vkRN_OK);
        m_camera->clearRecords();
    }
    void close()
    {
        if (m_object == nullptr) return;
        m_object->baseCloseCameraComm();
        m_object->baseDslrClosePort();
        DSLR_DeleteObject(m_object);
        m_object = nullptr;
        m_camera->attach();
    }
    DWORD call() { return GetParam().call(m_object, std::vector<BYTE>(kOut, 0).data()); }

    std::string m_name = uniqueName("faults");
    std::shared_ptr<sim::Camera> m_camera = sim::cameraNamed(m_name);
    Dslr1394Object* m_object = nullptr;
};

TEST_P(FaultsThroughSlots, EveryCommandMeetsEveryFaultCleanly)
{
    connect();
    ASSERT_EQ(call(), vkRN_OK);
    const std::size_t commands = m_camera->received().size();
    for (std::size_t at = 0; at < commands; ++at)
        for (const Injected& injected : kInjected) {
            SCOPED_TRACE(std::string(injected.name) + " at command " + std::to_string(at));
            FaultPlan plan;
            {
                FastClock clock(1000, FastClock::Time::kCounted);
                connect();
                m_camera->injectFaults(std::vector<sim::CommandFault>(at, sim::CommandFault{}));
                m_camera->injectFault(injected.fault);
                const DWORD result = call();
                EXPECT_TRUE(clean(result) && (result != 0 || !injected.losesDevice)) << result;
                EXPECT_EQ(m_object->m_scsiScanMngrPtr->ReadMapFile() == 0, injected.losesDevice);
                close();
            }
            EXPECT_EQ(plan.outstandingAllocations(), 0u) << "left allocated";
        }
}

// The same calls with each of their allocations failing in turn.
TEST_P(FaultsThroughSlots, EveryAllocationFailsCleanly)
{
    sweepAllocations(
        GetParam().name, [&] { return call(); },
        [](const FailedAllocation& failed) { EXPECT_TRUE(clean(failed.result)) << failed.result; },
        [&] { connect(); });
}

std::string talkName(const ::testing::TestParamInfo<TalkRow>& info)
{
    return "slot" + std::to_string(info.param.slot) + "_" + info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Slots, FaultsThroughSlots, ::testing::ValuesIn(kTalkRows), talkName);

}  // namespace
