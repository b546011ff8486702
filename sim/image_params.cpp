#include "sim/image_params.h"

#include "sim/camera_options.h"
#include "sim/record_fields.h"
#include "sim/settings.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace sim {

namespace {

constexpr std::size_t kSelector = 4;
constexpr std::size_t kCustomBlock = 64;
constexpr std::uint32_t kLastCustomSelector = 15;
constexpr std::size_t kPersonalFunctions = 114;
constexpr std::size_t kItemHead = 14;
constexpr std::uint16_t kLargestGammaEntry = 4095;  // a 12-bit output

std::int32_t s32(const Record& bytes, std::size_t offset)
{
    return static_cast<std::int32_t>(wordAt(bytes, offset));
}

void put(Record& bytes, std::size_t offset, const void* value, std::size_t size)
{
    std::memcpy(bytes.data() + offset, value, size);
}

void put32(Record& bytes, std::size_t offset, std::uint32_t value)
{
    put(bytes, offset, &value, 4);
}
void put16(Record& bytes, std::size_t offset, std::uint16_t value)
{
    put(bytes, offset, &value, 2);
}

bool within(std::int64_t value, std::int64_t low, std::int64_t high)
{
    return value >= low && value <= high;
}

RapiAnswer answer(Record bytes)
{
    RapiAnswer result;
    result.record = std::move(bytes);
    return result;
}

// --- the families that keep one record per selector ------------------------

Record developFactory(std::uint32_t selector, std::size_t size)
{
    Record record(size, 0);
    const std::uint32_t values[] = {selector, 1, 1, 3, 3, 3, 8, 0};
    put(record, 0, values, size);
    return record;
}

bool developAccepts(const Record& r, std::uint32_t model)
{
    const bool served = model == kModelQ402;
    return within(wordAt(r, 4), 0, 1) && within(wordAt(r, 12), 0, 5) &&
           within(wordAt(r, 16), 1, 5) &&
           (served || (within(wordAt(r, 8), 0, 3) && within(wordAt(r, 20), 1, 5) &&
                       within(wordAt(r, 24), 6, 10))) &&
           (!served || r.size() < 32 || within(s32(r, 28), -2, 2));
}

Record gammaFactory(std::uint32_t selector, std::size_t size)
{
    Record record(size, 0);
    put32(record, 0, selector);
    const std::size_t entries = (size - 8) / 2;
    for (std::size_t i = 0; i < entries; ++i)
        put16(record, 8 + 2 * i,
              static_cast<std::uint16_t>(i * kLargestGammaEntry / (entries - 1)));
    return record;
}

bool gammaAccepts(const Record& r, std::uint32_t)
{
    for (std::size_t at = 8; at + 2 <= r.size(); at += 2)
        if (fieldAt<std::uint16_t>(r, at) > kLargestGammaEntry) return false;
    return true;
}

Record whiteBalanceFactory(std::uint32_t selector, std::size_t size)
{
    Record record(size, 0);
    put32(record, 0, selector);
    char caption[32] = {};
    std::snprintf(caption, sizeof(caption), "Custom WB %u", static_cast<unsigned>(selector));
    put(record, 8, caption, sizeof(caption));
    for (std::size_t at = 40; at + 2 <= size; at += 2)
        put16(record, at, static_cast<std::uint16_t>(0x400 + at));
    return record;
}

bool whiteBalanceAccepts(const Record& r, std::uint32_t)
{
    return std::find(r.begin() + 8, r.begin() + 40, 0) != r.begin() + 40;
}

Record matrixFactory(std::uint32_t selector, std::size_t size)
{
    Record record(size, 0);
    put32(record, 0, selector);
    put32(record, 4, 1);
    return record;
}

bool matrixAccepts(const Record& r, std::uint32_t)
{
    return within(wordAt(r, 4), 1, 2) && within(s32(r, 8), -2, 2) && within(s32(r, 12), -2, 2);
}

struct SelectorFamily {
    std::uint32_t get;
    std::uint32_t set;
    std::map<std::uint32_t, Record> ImageParamsState::*records;
    std::uint32_t firstSelector;
    std::uint32_t firstSettable;  // the colour matrices below 6 are the camera's presets
    std::uint32_t lastSelector;
    // A second size every model takes besides its own (the older develop
    // parameters, which lack only the contrast): kept and answered in that
    // form until a record of the model's own size replaces it.
    std::size_t olderSize;
    Record (*factory)(std::uint32_t selector, std::size_t size);
    bool (*accepts)(const Record& record, std::uint32_t model);
};

const SelectorFamily kSelectorFamilies[] = {
    {0x12100016, 0x12100015, &ImageParamsState::develop, 1, 1, 3, 28, developFactory,
     developAccepts},
    {0x12100018, 0x12100017, &ImageParamsState::gamma, 1, 1, 3, 0, gammaFactory, gammaAccepts},
    {0x1210001B, 0x1210001C, &ImageParamsState::whiteBalance, 1, 1, 3, 0, whiteBalanceFactory,
     whiteBalanceAccepts},
    {0x12100033, 0x12100034, &ImageParamsState::colorMatrix, 1, 6, 7, 0, matrixFactory,
     matrixAccepts},
};

// The record a selector holds now, in the model's layout.
Record current(std::map<std::uint32_t, Record>& records, const SelectorFamily& family,
               std::uint32_t selector, std::size_t size)
{
    const auto kept = records.find(selector);
    if (kept != records.end() &&
        (kept->second.size() == size || kept->second.size() == family.olderSize))
        return kept->second;
    return family.factory(selector, size);
}

void registerSelectorFamily(RemoteApi& engine, const SelectorFamily& family,
                            ImageParamsState* state, const std::uint32_t* model)
{
    engine.define(family.get, [&family, state, model](const RapiRequest& request) {
        const std::size_t size = imageRecordSize(family.get, *model);
        if (size == 0) return refuse(kRapiUnknownCommand);
        if (request.params.size() != kSelector) return refuse(kRapiBadRecord, size - kSelector);
        const std::uint32_t selector = wordAt(request.params, 0);
        if (!within(selector, family.firstSelector, family.lastSelector))
            return refuse(kRapiOutOfRange, size - kSelector);
        const Record record = current(state->*family.records, family, selector, size);
        return answer(Record(record.begin() + kSelector, record.end()));
    });
    engine.define(family.set, [&family, state, model](const RapiRequest& request) {
        const std::size_t size = imageRecordSize(family.get, *model);
        if (size == 0) return refuse(kRapiUnknownCommand);
        if (request.params.size() != size && request.params.size() != family.olderSize)
            return refuse(kRapiBadRecord);
        const std::uint32_t selector = wordAt(request.params, 0);
        if (!within(selector, family.firstSettable, family.lastSelector) ||
            !family.accepts(request.params, *model))
            return refuse(kRapiOutOfRange);
        (state->*family.records)[selector] = request.params;
        return RapiAnswer{};
    });
}

// --- the rest ----------------------------------------------------------------

Record customFactory(std::uint32_t selector)
{
    Record block(kCustomBlock, 0);
    put16(block, 0, 10);  // wLength: itself and 8 setting bytes
    for (std::size_t i = 0; i < 8; ++i) block[2 + i] = static_cast<std::uint8_t>(selector + i);
    return block;
}

Record personalFactory()
{
    Record record(kPersonalFunctions, 0);
    // Personal function 25: program AE, evaluative metering, 1/125 s,
    // one-shot AF, automatic AF frame, fine, auto WB, develop set 1, on.
    const std::uint16_t function25[] = {0x80, 0x80, 0x10, 0x04, 0xFF, 1, 0, 1, 1};
    put(record, 94, function25, sizeof(function25));
    return record;
}

// Three items: two 16-bit values, three 16-bit values, one 32-bit value.
Record personalExFactory()
{
    struct Item {
        std::uint16_t type;  // 1: 16-bit values, 2: 32-bit values
        std::vector<std::uint32_t> values;
    };
    const Item items[] = {{1, {0, 1}}, {1, {2, 0, 1}}, {2, {0x00010000}}};
    Record record(2, 0);
    put16(record, 0, static_cast<std::uint16_t>(std::size(items)));
    for (std::size_t n = 0; n < std::size(items); ++n) {
        const std::size_t width = items[n].type == 1 ? 2 : 4;
        const std::size_t start = record.size();
        const std::size_t size = kItemHead + width * items[n].values.size();
        record.resize(start + size, 0);
        put16(record, start, static_cast<std::uint16_t>(size));
        record[start + 2] = static_cast<std::uint8_t>(n + 1);  // the function's number
        put16(record, start + 10, static_cast<std::uint16_t>(items[n].values.size()));
        put16(record, start + 12, items[n].type);
        for (std::size_t v = 0; v < items[n].values.size(); ++v)
            put(record, start + kItemHead + width * v, &items[n].values[v], width);
    }
    return record;
}

}  // namespace

std::size_t imageRecordSize(std::uint32_t getCommand, std::uint32_t modelId)
{
    const bool served = modelId == kModelQ402;
    const bool newer = served || modelId == kModelQ611;
    switch (getCommand) {
        case 0x12100016:
            return newer ? 32 : 28;  // develop parameters
        case 0x12100018:
            return served ? 158 : 56;  // gamma look-up table
        case 0x1210001B:
            return served ? 48 : 88;  // white-balance parameters
        case 0x12100033:
            return served ? 16 : 0;  // user colour matrix
        case 0x12100037:
            return served ? 8 : 0;  // JPEG quality
        case 0x12100035:
            return newer ? 8 : 0;  // white-balance shift
        default:
            return 0;
    }
}

bool soundPersonalChain(const Record& record)
{
    if (record.size() < 2 || fieldAt<std::uint16_t>(record, 0) == 0) return false;
    std::size_t at = 2;
    for (std::uint16_t n = fieldAt<std::uint16_t>(record, 0); n > 0; --n) {
        if (record.size() - at < kItemHead) return false;
        const std::size_t size = fieldAt<std::uint16_t>(record, at);
        const std::size_t width = fieldAt<std::uint16_t>(record, at + 12) == 2 ? 4 : 2;
        if (size < kItemHead + width * fieldAt<std::uint16_t>(record, at + 10) ||
            size > record.size() - at)
            return false;
        at += size;
    }
    return at == record.size();
}

ImageParamsState defaultImageParams()
{
    ImageParamsState state;
    for (std::uint32_t selector = 0; selector <= kLastCustomSelector; ++selector)
        state.customFunctions[selector] = customFactory(selector);
    state.personalFunctions = personalFactory();
    state.personalFunctionsEx = personalExFactory();
    state.jpegQuality = {10, 0, 8, 0, 8, 0, 6, 0};
    state.whiteBalanceShift.assign(8, 0);
    return state;
}

void registerImageParams(RemoteApi& engine, ImageParamsState& state, const std::uint32_t& modelId)
{
    ImageParamsState* s = &state;
    const std::uint32_t* model = &modelId;
    for (const SelectorFamily& family : kSelectorFamilies)
        registerSelectorFamily(engine, family, s, model);

    engine.define(0x12100019, [s](const RapiRequest&) {  // direct white balance
        Record bytes(4, 0);
        put32(bytes, 0, s->kelvin);
        return answer(std::move(bytes));
    });
    engine.define(0x1210001A, [s](const RapiRequest& request) {
        if (request.params.size() != 4) return refuse(kRapiBadRecord);
        const std::uint32_t kelvin = wordAt(request.params, 0);
        if (!within(kelvin, 2800, 10000) || kelvin % 100 != 0) return refuse(kRapiOutOfRange);
        s->kelvin = kelvin;
        return RapiAnswer{};
    });
    engine.define(0x1210001D, [s](const RapiRequest& request) {  // custom functions
        if (request.params.size() != kSelector) return refuse(kRapiBadRecord, kCustomBlock);
        const auto block = s->customFunctions.find(wordAt(request.params, 0));
        if (block == s->customFunctions.end()) return refuse(kRapiOutOfRange, kCustomBlock);
        return answer(block->second);
    });
    engine.define(0x1210001E, [s](const RapiRequest& request) {
        if (request.params.size() != kSelector + kCustomBlock) return refuse(kRapiBadRecord);
        const auto block = s->customFunctions.find(wordAt(request.params, 0));
        const std::uint16_t length = fieldAt<std::uint16_t>(request.params, kSelector);
        if (block == s->customFunctions.end() || !within(length, 2, kCustomBlock))
            return refuse(kRapiOutOfRange);
        block->second.assign(request.params.begin() + kSelector, request.params.end());
        return RapiAnswer{};
    });
    engine.define(0x1210001F, [s](const RapiRequest&) { return answer(s->personalFunctions); });
    engine.define(0x12100020, [s](const RapiRequest& request) {
        if (request.params.size() != kPersonalFunctions) return refuse(kRapiBadRecord);
        s->personalFunctions = request.params;
        return RapiAnswer{};
    });
    engine.define(0x12100030, [s](const RapiRequest&) {  // extended personal functions
        Record bytes(4, 0);
        put32(bytes, 0, static_cast<std::uint32_t>(s->personalFunctionsEx.size()));
        return answer(std::move(bytes));
    });
    engine.define(0x12100031, [s](const RapiRequest&) { return answer(s->personalFunctionsEx); });
    engine.define(0x12100032, [s](const RapiRequest& request) {
        if (!soundPersonalChain(request.params)) return refuse(kRapiBadRecord);
        s->personalFunctionsEx = request.params;
        return RapiAnswer{};
    });
    engine.define(0x12100037, [s, model](const RapiRequest&) {  // JPEG quality
        if (imageRecordSize(0x12100037, *model) == 0) return refuse(kRapiUnknownCommand);
        return answer(s->jpegQuality);
    });
    // The record comes after a word that gives its size.
    engine.define(0x12100038, [s, model](const RapiRequest& request) {
        const std::size_t size = imageRecordSize(0x12100037, *model);
        if (size == 0) return refuse(kRapiUnknownCommand);
        if (request.params.size() != 4 + size || wordAt(request.params, 0) != size)
            return refuse(kRapiBadRecord);
        for (std::size_t at = 4; at < request.params.size(); at += 2)
            if (!within(fieldAt<std::uint16_t>(request.params, at), 1, 10))
                return refuse(kRapiOutOfRange);
        s->jpegQuality.assign(request.params.begin() + 4, request.params.end());
        return RapiAnswer{};
    });
    engine.define(0x12100035, [s, model](const RapiRequest&) {  // white-balance shift
        if (imageRecordSize(0x12100035, *model) == 0) return refuse(kRapiUnknownCommand);
        return answer(s->whiteBalanceShift);
    });
    engine.define(0x12100036, [s, model](const RapiRequest& request) {
        const std::size_t size = imageRecordSize(0x12100035, *model);
        if (size == 0) return refuse(kRapiUnknownCommand);
        if (request.params.size() != size) return refuse(kRapiBadRecord);
        s->whiteBalanceShift = request.params;
        return RapiAnswer{};
    });
}

}  // namespace sim
