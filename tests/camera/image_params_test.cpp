// Image-processing parameters through the device object's slots against the
// in-process camera: every pair round-trips in each record generation the
// model has and the other generation never leaves the library; the edge
// cases of kelvin, gamma, JPEG, custom and personal functions; what the
// camera itself refuses; canned answers; and every allocation failing.

#include "VKRNQ402.h"
#include "log/dbg_log.h"
#include "sim/image_params.h"
#include "sim/settings.h"
#include "support/allocation_sweep.h"
#include "support/bytes.h"
#include "support/sim_object.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

namespace {

using SetSlot = uint32_t (DSLR_METHOD DslrObject::*)(uint32_t, const void*);
using GetSlot = uint32_t (DSLR_METHOD DslrObject::*)(uint32_t, void*);
constexpr DWORD kOtherModel = 0x80000300;

Bytes words(std::initializer_list<int32_t> values, std::size_t size)
{
    Bytes bytes(size, 0);
    std::size_t at = 0;
    for (int32_t value : values)
        if (at + 4 <= size) std::memcpy(bytes.data() + (at += 4) - 4, &value, 4);
    return bytes;
}

// A record the camera takes, of `size` bytes, unlike the factory one.
Bytes validRecord(DWORD getCommand, std::size_t size)
{
    Bytes r;
    switch (getCommand) {
        case 0x12100016:
            return words({2, 0, 2, 4, 2, 4, 9, -1}, size);
        case 0x1210001B:
            r = words({2, 0}, size);
            std::strcpy(reinterpret_cast<char*>(&r[8]), "Test WB");
            for (std::size_t at = 40; at < size; ++at) r[at] = static_cast<BYTE>(at);
            return r;
        case 0x12100033:
            return words({7, 2, -1, 2}, size);
        case 0x12100037:
            return {9, 0, 7, 0, 5, 0, 3, 0};
        case 0x12100035:
            return {1, 2, 3, 4, 5, 6, 7, 8};
        default:  // gamma: a rising table
            r = words({3, 0}, size);
            for (std::size_t at = 8; at < size; at += 2) r[at] = static_cast<BYTE>(at);
            return r;
    }
}

struct Pair {
    const char* name;  // in the pair's log lines
    DWORD getCommand;  // names the family for sim::imageRecordSize
    SetSlot set;
    GetSlot get;
    std::size_t sizes[2];
    bool selector;
};

// clang-format off
const Pair kPairs[] = {
    {"DevelopParam", 0x12100016, &DslrObject::baseSetDevelopParamSetting, &DslrObject::baseGetDevelopParamSetting, {28, 32}, true},
    {"GammaLookupTable", 0x12100018, &DslrObject::baseSetGammaLookupTable, &DslrObject::baseGetGammaLookupTable, {56, 158}, true},
    {"WhiteBalanceParameters", 0x1210001B, &DslrObject::baseSetWhiteBalanceParameters, &DslrObject::baseGetWhiteBalanceParameters, {88, 48}, true},
    {"UserColorMatrix", 0x12100033, &DslrObject::baseSetUserColorMatrix, &DslrObject::baseGetUserColorMatrix, {16, 16}, true},
    {"JpegQuality", 0x12100037, &DslrObject::baseSetJpegQuality, &DslrObject::baseGetJpegQuality, {8, 8}, false},
    {"BalanceShift", 0x12100035, &DslrObject::baseSetWhiteBalanceShift, &DslrObject::baseGetWhilteBalanceShift, {8, 8}, false},
};
// clang-format on

using ImageParams = SimObject;

TEST_F(ImageParams, EveryPairRoundTripsInTheModelsGenerationsAndRefusesTheOthers)
{
    for (DWORD model : {DWORD{0x80000402}, DWORD{0x80000611}, kOtherModel}) {
        configureModel(model);
        m_object->m_dwModelID = model;
        for (const Pair& pair : kPairs) {
            for (std::size_t size : pair.sizes) {
                SCOPED_TRACE(testing::Message() << std::hex << model << " " << pair.getCommand
                                                << std::dec << " size " << size);
                const bool olderDevelop = pair.getCommand == 0x12100016 && size == 28;
                const bool served = size == sim::imageRecordSize(pair.getCommand, model);
                const Bytes record = validRecord(pair.getCommand, size);
                Bytes read =
                    pair.selector ? words({static_cast<int32_t>(record[0])}, size) : Bytes(size, 0);
                const std::size_t before = sent();
                if (!served && !olderDevelop) {
                    EXPECT_EQ((m_slots->*pair.set)(size, record.data()), kBad);
                    EXPECT_EQ((m_slots->*pair.get)(size, read.data()), kBad);
                    EXPECT_EQ(sent(), before) << "refused before sending";
                    continue;
                }
                ASSERT_EQ((m_slots->*pair.set)(size, record.data()), vkRN_OK);
                ASSERT_EQ((m_slots->*pair.get)(size, read.data()), vkRN_OK);
                EXPECT_EQ(read, record);
                EXPECT_EQ(lastRequest().params.size(), pair.selector ? 4u : 0u);
            }
        }
    }
}

TEST_F(ImageParams, RecordsWithoutGenerationsRoundTrip)
{
    EXPECT_EQ(m_slots->baseSetDirectWhiteBalanceSetting(6500), vkRN_OK);
    uint32_t kelvin = 0;
    EXPECT_EQ(m_slots->baseGetDirectWhiteBalanceSetting(&kelvin), vkRN_OK);
    EXPECT_EQ(kelvin, 6500u);

    dsPERSONAL_FUNCTION pfn = {};
    ASSERT_EQ(m_slots->baseGetPersonalFunctionSetting(sizeof(pfn), &pfn), vkRN_OK);
    pfn.wFirstBlock[3] = 7;
    pfn.PFn_25_Value_Quality = 4;
    ASSERT_EQ(m_slots->baseSetPersonalFunctionSetting(sizeof(pfn), &pfn), vkRN_OK);
    EXPECT_EQ(std::memcmp(m_camera->imageParams().personalFunctions.data(), &pfn, sizeof(pfn)), 0);

    dsCUSTOM_FUNCTION cfn = {3, 12, {9, 8, 7, 6, 5, 4, 3, 2, 1, 0}};
    ASSERT_EQ(m_slots->baseSetCustomFunctionSetting(0, &cfn), vkRN_OK);
    dsCUSTOM_FUNCTION read = {3, 0, {}};
    ASSERT_EQ(m_slots->baseGetCustomFunctionSetting(sizeof(read), &read), vkRN_OK);
    EXPECT_EQ(std::memcmp(&read, &cfn, sizeof(cfn)), 0);

    uint32_t size = 0;
    ASSERT_EQ(m_slots->baseGetPersonalFunctionExSize(&size), vkRN_OK);
    Bytes chain(size, 0);
    ASSERT_EQ(m_slots->baseGetPersonalFunctionEx(size, chain.data()), vkRN_OK);
    EXPECT_EQ(chain, m_camera->imageParams().personalFunctionsEx);
    chain[2 + 14] = 1;  // the first item's first value
    ASSERT_EQ(m_slots->baseSetPersonalFunctionEx(size, chain.data()), vkRN_OK);
    Bytes again(size, 0);
    ASSERT_EQ(m_slots->baseGetPersonalFunctionEx(size, again.data()), vkRN_OK);
    EXPECT_EQ(again, chain);
}

TEST_F(ImageParams, KelvinBounds)
{
    const struct {
        uint32_t kelvin;
        DWORD result;
    } cases[] = {{2800, 0},    {5500, 0},     {10000, 0}, {2750, kBad},
                 {2850, kBad}, {10100, kBad}, {0, kBad}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.kelvin);
        LogCapture log(0x1);
        const std::size_t before = sent();
        EXPECT_EQ(m_slots->baseSetDirectWhiteBalanceSetting(test.kelvin), test.result);
        EXPECT_EQ(sent(), before + (test.result == 0 ? 1 : 0));
        EXPECT_EQ(log.contains("baseSetDirectWhiteBalanceSetting: kelvin(" +
                               std::to_string(test.kelvin) + "[K]) Out of Range"),
                  test.result != 0);
    }
}

// What goes on the wire, and where the reply lands.
TEST_F(ImageParams, RequestsAndRepliesOnTheWire)
{
    Bytes gamma = words({2}, 158);
    ASSERT_EQ(m_slots->baseGetGammaLookupTable(158, gamma.data()), vkRN_OK);
    EXPECT_EQ(lastRequest().params, words({2}, 4));
    EXPECT_EQ(gamma[0], 2) << "the selector stays";
    EXPECT_EQ(gamma[157], 0x0F)
        << "154 bytes after it: the table's last entry, 4095, ends the record";

    const dsJPEG_QUALITY quality = {9, 7, 5, 3};
    ASSERT_EQ(m_slots->baseSetJpegQuality(8, &quality), vkRN_OK);
    EXPECT_EQ(lastRequest().params, Bytes({8, 0, 0, 0, 9, 0, 7, 0, 5, 0, 3, 0}));

    dsCUSTOM_FUNCTION cfn = {4, 10, {}};
    std::memset(cfn.byData, 0xEE, sizeof(cfn.byData));
    ASSERT_EQ(m_slots->baseSetCustomFunctionSetting(68, &cfn), vkRN_OK);
    const Bytes params = lastRequest().params;
    ASSERT_EQ(params.size(), 68u);
    EXPECT_EQ(params[13], 0xEE);
    EXPECT_EQ(Bytes(params.begin() + 14, params.end()), Bytes(54, 0));
}

// The custom functions' length rules and the personal functions' size are
// judged before sending, or on the reply.
TEST_F(ImageParams, LengthRules)
{
    dsCUSTOM_FUNCTION cfn = {5, 65, {}};
    std::size_t before = sent();
    EXPECT_EQ(m_slots->baseSetCustomFunctionSetting(68, &cfn), vkRNERROR_TRANSFER_FAILED);
    EXPECT_EQ(sent(), before);

    const struct {
        uint16_t replyLength;
        DWORD result;
    } replies[] = {{17, vkRNERROR_TRANSFER_FAILED}, {16, vkRN_OK}, {65, vkRNERROR_TRANSFER_FAILED}};
    for (const auto& test : replies) {
        SCOPED_TRACE(test.replyLength);
        sim::ImageParamsState state = m_camera->imageParams();
        Bytes& block = state.customFunctions[5];
        std::memcpy(block.data(), &test.replyLength, 2);
        for (std::size_t i = 2; i < 64; ++i) block[i] = static_cast<BYTE>(i);
        m_camera->setImageParams(state);
        Bytes record(20, 0xA5);
        record[0] = 5, record[1] = record[2] = record[3] = 0;
        const Bytes untouched = record;
        EXPECT_EQ(m_slots->baseGetCustomFunctionSetting(20, record.data()), test.result);
        if (test.result != 0)
            EXPECT_EQ(record, untouched);
        else
            EXPECT_EQ(Bytes(record.begin() + 4, record.end()),
                      Bytes(block.begin(), block.begin() + 16));
    }

    for (DWORD size : {112u, 113u}) {
        LogCapture log(0x1);
        Bytes record(size, 0);
        before = sent();
        EXPECT_EQ(m_slots->baseGetPersonalFunctionSetting(size, record.data()), kBad);
        EXPECT_EQ(sent(), before);
        char text[64];
        std::snprintf(text, sizeof(text), "different param size(0x%x) in Utl_PFnCheck()",
                      static_cast<unsigned>(size));
        EXPECT_TRUE(log.contains(text)) << size;
    }

    // A replied item chain that runs past the record never reaches the caller.
    sim::ImageParamsState state = m_camera->imageParams();
    state.personalFunctionsEx[2] = 0xFF;
    m_camera->setImageParams(state);
    Bytes chain(state.personalFunctionsEx.size(), 0xA5);
    const uint32_t size = static_cast<uint32_t>(chain.size());
    EXPECT_EQ(m_slots->baseGetPersonalFunctionEx(size, chain.data()), vkRNERROR_TRANSFER_FAILED);
    EXPECT_EQ(chain, Bytes(size, 0xA5));
}

// Without range checks the library sends what it is given, and the camera
// answers with its own error; nothing changes.
TEST_F(ImageParams, TheCameraRefusesValuesItHasNoSettingFor)
{
    constexpr DWORD kOut = cameraError(sim::kRapiOutOfRange);
    constexpr DWORD kMalformed = cameraError(sim::kRapiBadRecord);
    Bytes develop = validRecord(0x12100016, 32), gamma = validRecord(0x12100018, 158);
    develop[12] = 9;  // dwEdgeLevel
    gamma[20] = 0xFF, gamma[21] = 0xFF;
    const Bytes preset = words({3, 1, 0, 0}, 16);
    const dsJPEG_QUALITY quality = {11, 1, 1, 1};
    const dsCUSTOM_FUNCTION cfn = {2, 1, {}};
    Bytes chain = m_camera->imageParams().personalFunctionsEx;
    chain[2] = 0xFF;  // the first item runs past the record
    const uint32_t n = static_cast<uint32_t>(chain.size());
    const struct {
        const char* name;
        std::function<DWORD()> run;
        DWORD result;
    } cases[] = {
        // clang-format off
        {"edge level 9", [&] { return m_slots->baseSetDevelopParamSetting(32, develop.data()); }, kOut},
        {"gamma entry above 4095", [&] { return m_slots->baseSetGammaLookupTable(158, gamma.data()); }, kOut},
        {"a preset colour matrix", [&] { return m_slots->baseSetUserColorMatrix(16, preset.data()); }, kOut},
        {"quality 11", [&] { return m_slots->baseSetJpegQuality(8, &quality); }, kOut},
        {"custom block of length 1", [&] { return m_slots->baseSetCustomFunctionSetting(0, &cfn); }, kOut},
        {"broken item chain", [&] { return m_slots->baseSetPersonalFunctionEx(n, chain.data()); }, kMalformed},
        // clang-format on
    };
    const sim::ImageParamsState before = m_camera->imageParams();
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(test.run(), test.result);
    }
    const sim::ImageParamsState after = m_camera->imageParams();
    EXPECT_EQ(after.develop, before.develop);
    EXPECT_EQ(after.gamma, before.gamma);
    EXPECT_EQ(after.jpegQuality, before.jpegQuality);
    EXPECT_EQ(after.customFunctions, before.customFunctions);
    EXPECT_EQ(after.personalFunctionsEx, before.personalFunctionsEx);
}

// Bit 22 answers from the canned camera after the check; bit 23 still
// refuses bad values first.
TEST_F(ImageParams, CannedAnswersAfterTheChecks)
{
    const std::size_t before = sent();
    {
        LogCapture log(DBGFLAG_CANNED_ANSWERS);
        dsJPEG_QUALITY quality = {0, 0, 0, 0};
        EXPECT_EQ(m_slots->baseSetJpegQuality(8, &quality), vkRN_OK);
        EXPECT_EQ(m_slots->baseGetJpegQuality(8, &quality), vkRN_OK);
        EXPECT_EQ(quality.nLargeJpegQuality, 0) << "untouched";
        Bytes shift(8, 1);
        EXPECT_EQ(m_slots->baseSetWhiteBalanceShift(8, shift.data()), vkRN_OK);
        // The canned camera keeps the matrices of modes 6 and 7 and refuses
        // other modes and values out of its ranges.
        const dsUSER_COLOR_MATRIX matrix = {6, 2, -2, 1};
        EXPECT_EQ(m_slots->baseSetUserColorMatrix(16, &matrix), vkRN_OK);
        const dsUSER_COLOR_MATRIX refused[] = {
            {5, 1, 0, 0}, {7, 3, 0, 0}, {7, 1, -3, 0}, {7, 1, 0, 3}};
        for (const dsUSER_COLOR_MATRIX& bad : refused)
            EXPECT_EQ(m_slots->baseSetUserColorMatrix(16, &bad), kBad) << bad.dwIndex;
        dsUSER_COLOR_MATRIX read = {6, 0, 0, 0};
        EXPECT_EQ(m_slots->baseGetUserColorMatrix(16, &read), vkRN_OK);
        EXPECT_EQ(std::memcmp(&read, &matrix, sizeof(read)), 0);
        read = {7, 9, 9, 9};
        EXPECT_EQ(m_slots->baseGetUserColorMatrix(16, &read), vkRN_OK);
        EXPECT_EQ(+read.dwValue1, 0u) << "mode 7 was never set";
        read.dwIndex = 8;
        EXPECT_EQ(m_slots->baseGetUserColorMatrix(16, &read), kBad);
    }
    {
        LogCapture log(DBGFLAG_CANNED_ANSWERS | DBGFLAG_RECORD_RANGE_CHECKS | 0x1);
        dsJPEG_QUALITY quality = {11, 1, 1, 1};
        EXPECT_EQ(m_slots->baseSetJpegQuality(8, &quality), kBad);
        EXPECT_TRUE(log.contains("Utl_WbSettingCheckVal: nLargeJpegQuality(0xb) Out of Range"));
    }
    EXPECT_EQ(sent(), before);
}

// Every allocation of every operation fails once in turn, with the common
// judgement of tests/support/allocation_sweep.h; a get keeps the selector
// its record holds.
TEST_F(ImageParams, EveryAllocationFailure)
{
    DslrObject* o = m_slots;
    dsPERSONAL_FUNCTION pfn = {};
    ASSERT_EQ(m_slots->baseGetPersonalFunctionSetting(sizeof(pfn), &pfn), vkRN_OK);
    const Bytes chain = m_camera->imageParams().personalFunctionsEx;
    const uint32_t n = static_cast<uint32_t>(chain.size());
    const dsCUSTOM_FUNCTION cfn = {1, 10, {}};
    const auto word = [](void* r) { return static_cast<uint32_t*>(r); };
    // clang-format off
    std::vector<SweptOperation> operations = {
        {"DirectWhiteBalance", [&](void*) { return o->baseSetDirectWhiteBalanceSetting(3000); }},
        {"DirectWhiteBalance", [&](void* r) { return o->baseGetDirectWhiteBalanceSetting(word(r)); }},
        {"CustomFunction", [&](void*) { return o->baseSetCustomFunctionSetting(68, &cfn); }},
        {"CustomFunction", [&](void* r) { return o->baseGetCustomFunctionSetting(68, r); }, 0, nullptr, words({1}, 68)},
        {"PersonalFunctionSetting", [&](void*) { return o->baseSetPersonalFunctionSetting(114, &pfn); }},
        {"PersonalFunctionSetting", [&](void* r) { return o->baseGetPersonalFunctionSetting(114, r); }},
        {"PersonalFunctionExSize", [&](void* r) { return o->baseGetPersonalFunctionExSize(word(r)); }},
        {"PersonalFunctionEx", [&](void* r) { return o->baseGetPersonalFunctionEx(n, r); }},
        {"PersonalFunctionEx", [&](void*) { return o->baseSetPersonalFunctionEx(n, chain.data()); }},
    };
    // clang-format on
    for (const Pair& pair : kPairs) {
        const uint32_t size = static_cast<uint32_t>(pair.sizes[1]);
        const Bytes record = validRecord(pair.getCommand, size);
        operations.push_back(
            {pair.name, [=](void*) { return (o->*pair.set)(size, record.data()); }});
        operations.push_back(
            {pair.name, [=](void* r) { return (o->*pair.get)(size, r); }, 0, nullptr, record});
    }
    for (const SweptOperation& operation : operations) sweepOperation(operation);
}

}  // namespace
