// The image-processing records' generation rule, their range checks under
// debug bit 23, the personal-function checks and the conversions' argument
// checks and item walk.

#include "rapi/record_checks.h"
#include "support/fresh_object.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr DWORD k402 = DSLR_MODEL_ID_Q402, k611 = DSLR_MODEL_ID_Q611, kOther = 0x80000529;
constexpr DWORD kBad = vkRNERROR_INVALID_PARAMETER;
constexpr std::uint32_t kLogChecks = 0x5;  // errors, checks and values
constexpr std::uint32_t kBit23 = DBGFLAG_RECORD_RANGE_CHECKS;

using Check = DWORD (*)(Dslr1394Object*, DWORD, const void*, BOOL);
#define CHECK_ROUTINE(name) \
    [](Dslr1394Object* o, DWORD size, const void* r, BOOL flag) { return o->name(size, r, flag); }
const Check kDevParam = CHECK_ROUTINE(Utl_DevParamCheckVal);
const Check kGamma = CHECK_ROUTINE(Utl_GammaLutCheckVal);
const Check kWb = CHECK_ROUTINE(Utl_WbSettingCheckVal);
const Check kJpg = CHECK_ROUTINE(Utl_JpgQualityCheckVal);
const Check kMatrix = CHECK_ROUTINE(Utl_ColorMatrixCheckVal);
const Check kShift = CHECK_ROUTINE(Utl_WbShiftCheckVal);

// A word or short written into a record at a byte offset.
template <typename T>
void put(std::vector<BYTE>& record, std::size_t offset, T value)
{
    std::memcpy(record.data() + offset, &value, sizeof(value));
}

using RecordChecks = FreshObject;

TEST_F(RecordChecks, GenerationFollowsSizeAndModel)
{
    struct Case {
        Check check;
        DWORD model;
        DWORD size;
        bool nullRecord;
        DWORD result;
        const char* text;
    } cases[] = {
        // clang-format off
        {kDevParam, k402, 28, false, 0, "Utl_DevParamCheckVal: dwSize(0x1c) is Q317type"},
        {kDevParam, kOther, 28, false, 0, "Utl_DevParamCheckVal: dwSize(0x1c) is Q317type"},
        {kDevParam, k402, 32, false, 0, "Utl_DevParamCheckVal: dwSize(0x20) is Q529type"},
        {kDevParam, k611, 32, false, 0, "Utl_DevParamCheckVal: dwSize(0x20) is Q529type"},
        {kDevParam, kOther, 32, false, kBad, "Utl_DevParamCheckVal: unknown param. modelID(0x80000529) size(0x20)"},
        {kDevParam, k402, 0, false, kBad, "Utl_DevParamCheckVal: dwSize is zero"},
        {kGamma, k611, 56, false, 0, "Utl_GammaLutByteSwap: dwSize(0x38) is Q317type"},
        {kGamma, k402, 158, false, 0, "Utl_GammaLutByteSwap: dwSize(0x9e) is Q529type"},
        {kGamma, k402, 56, false, kBad, "Utl_GammaLutByteSwap: unknown param. modelID(0x80000402) size(0x38)"},
        {kGamma, kOther, 158, false, kBad, "Utl_GammaLutByteSwap: unknown param. modelID(0x80000529) size(0x9e)"},
        {kGamma, k402, 158, true, kBad, "Utl_GammaLutByteSwap: vGammaPtr is NULL"},
        {kWb, kOther, 88, false, 0, "Utl_WbSettingCheckVal: dwSize(0x58) is Q317type"},
        {kWb, k402, 48, false, 0, "Utl_WbSettingCheckVal: dwSize(0x30) is Q529type"},
        {kWb, k402, 88, false, kBad, "Utl_GammaLutByteSwap: unknown param. modelID(0x80000402) size(0x58)"},
        {kWb, k611, 48, false, kBad, "Utl_GammaLutByteSwap: unknown param. modelID(0x80000611) size(0x30)"},
        {kJpg, k402, 8, false, 0, "Utl_JpgQualityCheckVal: dwSize(0x8) is Q529type"},
        {kJpg, k611, 8, false, kBad, "Utl_JpgQualityCheckVal: unknown param. modelID(0x80000611) size(0x8)"},
        {kMatrix, k402, 16, false, 0, "Utl_ColorMatrixCheckVal: dwSize(0x10) is Q529type"},
        {kMatrix, kOther, 16, false, kBad, "Utl_ColorMatrixCheckVal: unknown param. modelID(0x80000529) size(0x10)"},
        {kShift, k402, 8, false, 0, "Utl_WbShiftCheckVal: dwSize(0x8) is Q529type"},
        {kShift, k611, 8, false, 0, "Utl_WbShiftCheckVal: dwSize(0x8) is Q529type"},
        {kShift, kOther, 8, false, kBad, "Utl_WbShiftCheckVal: unknown param. modelID(0x80000529) size(0x8)"},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.text);
        m_object->m_dwModelID = test.model;
        std::vector<BYTE> record(200, 0);
        LogCapture log(kLogChecks);
        EXPECT_EQ(test.check(m_object, test.size, test.nullRecord ? nullptr : record.data(), 1),
                  test.result);
        EXPECT_TRUE(log.contains(test.text));
    }
}

// With bit 23 clear only the generation counts; with it set the fields are
// checked as far as the routine and its flag say.
TEST_F(RecordChecks, RangeChecksFollowBit23AndTheFlag)
{
    constexpr DWORD kMinus3 = static_cast<DWORD>(-3);
    struct Case {
        const char* name;
        Check check;
        DWORD model;
        DWORD size;
        std::vector<DWORD> words;  // the record's first words, the rest zero
        bool fullCaption;          // 32 non-zero caption bytes
        bool bit23;
        BOOL flag;
        DWORD result;
        std::vector<std::string> texts;  // each must be logged
        int outOfRangeLines;
    } cases[] = {
        // clang-format off
        {"develop selector 9, bit clear", kDevParam, k402, 32, {9}, false, false, 1, 0, {}, 0},
        {"develop selector 9, bit set", kDevParam, k402, 32, {9}, false, true, 0, kBad,
         {"Utl_DevParamCheckVal: dwIndex(0x9) Out of Range"}, 1},
        {"develop selector 0, get", kDevParam, k402, 32, {0}, false, true, 0, 0, {}, 0},
        {"develop selector 4, get", kDevParam, k402, 32, {4}, false, true, 0, kBad, {}, 1},
        {"develop selector 4, unknown size", kDevParam, kOther, 32, {4}, false, true, 0, kBad,
         {"Utl_DevParamCheckVal: dwIndex(0x4) Out of Range"}, 1},
        {"develop three bad fields", kDevParam, k611, 32, {1, 2, 0, 6, 1, 1, 5, 0}, false, true,
         1, kBad, {"dwBValid(2) Out of Range", "dwEdgeLevel(6) Out of Range",
                   "dwFineQuality(5) Out of Range"}, 3},
        {"develop contrast on the served model", kDevParam, k402, 32,
         {1, 1, 0, 0, 1, 1, 6, kMinus3}, false, true, 1, kBad,
         {"Utl_DevParamCheckVal: lContrast(-3) Out of Range"}, 1},
        {"develop fields the served model skips", kDevParam, k402, 32, {1, 1, 9, 0, 1, 9, 0, 0},
         false, true, 1, 0, {}, 0},
        {"gamma selector 9, bit clear", kGamma, k402, 158, {9}, false, false, 0, 0, {}, 0},
        {"gamma selector 9, bit set", kGamma, k402, 158, {9}, false, true, 0, kBad,
         {"baseSetGammaLookupTable: dwIndex(0x9) Out of Range"}, 1},
        {"white balance selector 9 and full caption", kWb, k402, 48, {9}, true, true, 0, kBad,
         {"Utl_WbSettingCheckVal: dwWhiteBalanceSetting(0x9) Out of Range"}, 1},
        {"white balance full caption", kWb, k402, 48, {1}, true, true, 0, kBad,
         {"Utl_WbSettingCheckVal: cCaption is not NULL terminate"}, 1},
        {"jpeg all zero, set", kJpg, k402, 8, {}, false, true, 1, kBad,
         {"nLargeJpegQuality(0x0)", "nMiddle1JpegQuality(0x0)", "nMiddle2JpegQuality(0x0)",
          "nSmallJpegQuality(0x0)"}, 4},
        {"jpeg all zero, get", kJpg, k402, 8, {}, false, true, 0, 0, {}, 0},
        {"matrix selector 9, flag set", kMatrix, k402, 16, {9}, false, true, 1, kBad,
         {"Utl_ColorMatrixCheckVal: dwIndex(0x9) Out of Range"}, 1},
        {"matrix selector 9, flag clear", kMatrix, k402, 16, {9}, false, true, 0, 0, {}, 0},
        {"shift never checks values", kShift, k402, 8, {0xFFFFFFFF}, false, true, 1, 0, {}, 0},
        // clang-format on
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        m_object->m_dwModelID = test.model;
        std::vector<BYTE> record(test.size, 0);
        for (std::size_t i = 0; i < test.words.size(); ++i)
            put<DWORD>(record, 4 * i, test.words[i]);
        if (test.fullCaption) std::memset(record.data() + 8, 'A', 32);
        const std::vector<BYTE> before = record;
        LogCapture log(kLogChecks | (test.bit23 ? kBit23 : 0));
        EXPECT_EQ(test.check(m_object, test.size, record.data(), test.flag), test.result);
        for (const std::string& text : test.texts) EXPECT_TRUE(log.contains(text)) << text;
        int lines = 0;
        for (const std::string& message : log.messages())
            lines += message.find("Out of Range") != std::string::npos ||
                     message.find("NULL terminate") != std::string::npos;
        EXPECT_EQ(lines, test.outOfRangeLines);
        EXPECT_EQ(record, before) << "a check changes nothing";
    }
}

TEST_F(RecordChecks, PersonalFunction25ValuesStopAtTheFirstBadWord)
{
    constexpr std::size_t kAEmode = offsetof(dsPERSONAL_FUNCTION, PFn_25_Value_AEmode);
    const WORD good[9] = {0x80, 0x80, 0x10, 0x04, 0xFF, 1, 0, 1, 1};
    struct Case {
        const char* name;
        DWORD size;
        int word;  // the word changed (0 = AEmode), or -1
        WORD value;
        BOOL flag;
        DWORD result;
        const char* text;
    } cases[] = {
        {"accepted", 114, -1, 0, 1, 0, nullptr},
        {"AE mode masked to 0x80", 114, 0, 0x0081, 1, 0, nullptr},
        {"AE mode masked to 0x84", 114, 0, 0x0085, 1, kBad,
         "PFn_25_Value_AEmode(0x85) OutOfRange in baseSetFunctionSetting()"},
        {"bad values, get", 114, 0, 0x0085, 0, 0, nullptr},
        {"metering", 114, 1, 0x0008, 1, kBad,
         "PFn_25_Value_Metering(0x8) OutOfRange in baseSetPersonalFunctionSetting()"},
        {"shutter", 114, 2, 0x0003, 1, kBad, "PFn_25_Value_Shutter(0x3) OutOfRange"},
        {"AF mode", 114, 3, 0x0006, 1, kBad, "PFn_25_Value_AFmode(0x6) OutOfRange"},
        {"AF frame 0x4A", 114, 4, 0x4A, 1, 0, nullptr},
        {"AF frame", 114, 4, 0x4B, 1, kBad, "PFn_25_Value_AFframe(0x4b) OutOfRange"},
        {"quality", 114, 5, 5, 1, kBad, "PFn_25_Value_Quality(0x5) OutOfRange"},
        {"white balance 12", 114, 6, 12, 1, 0, nullptr},
        {"white balance", 114, 6, 13, 1, kBad, "PFn_25_Value_WBmode(0xd) OutOfRange"},
        {"develop", 114, 7, 3, 1, kBad, "PFn_25_Value_Develop(0x3) OutOfRange"},
        {"value", 114, 8, 0, 1, kBad, "PFn_25_Value(0x0) OutOfRange"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        std::vector<BYTE> record(114, 0);
        std::memcpy(record.data() + kAEmode, good, sizeof(good));
        if (test.word >= 0) put<WORD>(record, kAEmode + 2 * test.word, test.value);
        const bool badAEmode = test.word == 0 && test.result != 0;
        if (badAEmode) put<WORD>(record, kAEmode + 2, 0);  // a bad metering word behind it
        LogCapture log(kLogChecks);
        EXPECT_EQ(m_object->Utl_PFnCheck(test.size, record.data(), test.flag), test.result);
        EXPECT_TRUE(test.text == nullptr || log.contains(test.text));
        if (badAEmode) {
            EXPECT_FALSE(log.contains("PFn_25_Value_Metering")) << "checks stop";
        }
    }
    LogCapture log(kLogChecks);
    EXPECT_EQ(m_object->Utl_PFnCheck(114, nullptr, 1), kBad);
    EXPECT_TRUE(log.contains("vPFnPtr is NULL in Utl_PFnCheck()"));
}

TEST_F(RecordChecks, ConversionsCheckTheirArgumentsAndChangeNoByte)
{
    std::vector<BYTE> record(1056);
    for (std::size_t i = 0; i < record.size(); ++i) record[i] = static_cast<BYTE>(i * 13 + 1);
    const std::vector<BYTE> original = record;
    BYTE* r = record.data();
    Dslr1394Object* o = m_object;
    struct Case {
        const char* name;
        std::function<DWORD()> run;
        DWORD result;
        const char* text;
    } cases[] = {
        // clang-format off
        {"param", [&] { return Utl_ParamByteSwap(12, r, 4); }, 0, nullptr},
        {"param order 0", [&] { return Utl_ParamByteSwap(12, r, 0); }, kBad,
         "Utl_ByteSwap: unknown param. dwSize(0xc) dwOrder(0x0)"},
        {"param order 3", [&] { return Utl_ParamByteSwap(12, r, 3); }, kBad,
         "Utl_ByteSwap: unknown param. dwSize(0xc) dwOrder(0x3)"},
        {"param null", [&] { return Utl_ParamByteSwap(12, nullptr, 4); }, kBad, "Utl_ParamByteSwap: vParamPtr is NULL"},
        {"param size 0", [&] { return Utl_ParamByteSwap(0, r, 4); }, kBad, "Utl_ParamByteSwap: dwSize is zero"},
        {"property", [&] { return o->Utl_CameraPropertyByteSwap(72, r); }, 0, nullptr},
        {"property null", [&] { return o->Utl_CameraPropertyByteSwap(72, nullptr); }, kBad,
         "Utl_CameraPropertyByteSwap: vCamPropPtr is NULL"},
        {"gamma null", [&] { return o->Utl_GammaLutByteSwap(158, nullptr); }, kBad,
         "Utl_GammaLutByteSwap: vGammaPtr is NULL"},
        {"custom, size not looked at", [&] { return Utl_CFnByteSwap(0, r); }, 0, nullptr},
        {"custom null", [&] { return Utl_CFnByteSwap(64, nullptr); }, kBad, "Utl_CFnByteSwap: pCustomFunction is NULL"},
        {"personal", [&] { return Utl_PFnByteSwap(114, r); }, 0, nullptr},
        {"personal size 0", [&] { return Utl_PFnByteSwap(0, nullptr); }, kBad, "dwSize is zero in Utl_PFnExByteSwap()"},
        {"personal null", [&] { return Utl_PFnByteSwap(114, nullptr); }, kBad,
         "vPFnPtr is NULL in Utl_PFnExByteSwap()"},
        {"function info", [&] { return static_cast<DWORD>(Utl_FuncInfoByteSwap(0, r)); }, 1, nullptr},
        {"function info null",
         [&] { return static_cast<DWORD>(Utl_FuncInfoByteSwap(1056, nullptr)); }, 0,
         "vFuncInfoPtr is NULL in Utl_FuncInfoByteSwap()"},
    };
    // clang-format on
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        LogCapture log(kLogChecks);
        EXPECT_EQ(test.run(), test.result);
        EXPECT_TRUE(test.text == nullptr || log.contains(test.text));
    }
    EXPECT_EQ(record, original);
}

// The extended personal functions: a counted chain of items, each leading to
// the next by its size, every item inside the record, the last one included.
TEST_F(RecordChecks, PersonalFunctionExItemChain)
{
    constexpr DWORD kOverrun = vkRNERROR_TRANSFER_FAILED;
    struct Case {
        const char* name;
        std::vector<WORD> words;  // the record as 16-bit words
        DWORD size;               // bytes of it passed
        DWORD result;
    } cases[] = {
        {"one item inside", {1, 4, 0}, 6, 0},
        {"one item, record of two bytes", {1}, 2, kOverrun},
        {"one item reaching past the end", {1, 9, 0}, 6, kOverrun},
        {"item size cut off", {1, 4}, 3, kOverrun},
        {"count only, one byte", {1}, 1, kOverrun},
        {"two items", {2, 4, 0, 2}, 8, 0},
        {"first item reaches the end", {2, 6, 0, 0}, 8, kOverrun},
        {"no items", {0, 4}, 4, kBad},
        {"size 0", {1, 4}, 0, kBad},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        std::vector<WORD> words = test.words;
        EXPECT_EQ(Utl_PFnExByteSwap(test.size, words.data()), test.result);
        EXPECT_EQ(words, test.words);
    }
    LogCapture log(kLogChecks);
    WORD none = 0;
    EXPECT_EQ(Utl_PFnExByteSwap(2, &none), kBad);
    EXPECT_EQ(Utl_PFnExByteSwap(2, nullptr), kBad);
    EXPECT_TRUE(log.contains("paramPfPtr->wNumOfItems is zero in Utl_PFnExByteSwap()"));
    EXPECT_TRUE(log.contains("vPFnExPtr is NULL in Utl_PFnExByteSwap()"));
}

}  // namespace
