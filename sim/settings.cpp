#include "sim/settings.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>

namespace sim {

namespace {

constexpr std::size_t kPrefixField = 5;
constexpr std::size_t kOwnerField = 32;
constexpr std::size_t kSuffixLength = 5;
constexpr std::size_t kFunctionInfoSize = 1056;

void put32(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint32_t value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

void put16(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint16_t value)
{
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

// A text in a field of `size` bytes, cut so that its NUL fits.
void putText(std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t size,
             const std::string& text)
{
    std::memcpy(bytes.data() + offset, text.data(), std::min(text.size(), size - 1));
}

RapiAnswer record(std::vector<std::uint8_t> bytes)
{
    RapiAnswer answer;
    answer.record = std::move(bytes);
    return answer;
}

RapiAnswer word(std::uint32_t value)
{
    std::vector<std::uint8_t> bytes(4);
    put32(bytes, 0, value);
    return record(std::move(bytes));
}

// The text of a parameter record that must end with its NUL.
bool textOf(const std::vector<std::uint8_t>& params, std::string& text)
{
    const auto nul = std::find(params.begin(), params.end(), 0);
    if (nul == params.end()) return false;
    text.assign(params.begin(), nul);
    return true;
}

std::int64_t localStandardNow()
{
    return static_cast<std::int64_t>(std::time(nullptr)) - zoneOffset();
}

}  // namespace

long zoneOffset()
{
#ifdef _WIN32
    _tzset();
    return _timezone;
#else
    tzset();
    return timezone;
#endif
}

const std::array<std::string, 3>& factoryPrefixes()
{
    static const std::array<std::string, 3> prefixes = SettingsState().prefixes;
    return prefixes;
}

const std::string& factorySuffix()
{
    static const std::string suffix = SettingsState().suffix;
    return suffix;
}

std::uint32_t cameraClock(const SettingsState& state)
{
    return static_cast<std::uint32_t>(localStandardNow() + state.clockOffset);
}

std::vector<std::uint8_t> functionInfoRecord(std::uint32_t modelId, const SettingsState& state)
{
    std::vector<std::uint8_t> info(kFunctionInfoSize, 0);
    put16(info, 0, static_cast<std::uint16_t>(kFunctionInfoSize));
    put32(info, 2, modelId);
    putText(info, 6, 32, state.modelName);
    struct ImageSize {
        const char* name;
        std::uint32_t width, height, format;
    };
    const ImageSize sizes[] = {{"Large:Raw", 3072, 2048, 4},
                               {"Large:Fine", 3072, 2048, 1},
                               {"Large:Normal", 3072, 2048, 2},
                               {"Medium:Fine", 2048, 1360, 1},
                               {"Small:Fine", 1536, 1024, 1}};
    put32(info, 38, static_cast<std::uint32_t>(std::size(sizes)));
    for (std::size_t i = 0; i < std::size(sizes); ++i) {
        const std::size_t entry = 42 + 32 * i;
        putText(info, entry, 20, sizes[i].name);
        put32(info, entry + 20, sizes[i].width);
        put32(info, entry + 24, sizes[i].height);
        put32(info, entry + 28, sizes[i].format);
    }
    const std::uint32_t fixed[] = {0x70, 0, 0x9F, 7};
    for (std::size_t i = 0; i < 4; ++i) put32(info, 554 + 4 * i, fixed[i]);
    put16(info, 570, 11);
    for (std::size_t i = 0; i < 20; ++i) put32(info, 572 + 4 * i, static_cast<std::uint32_t>(i));
    put32(info, 592, 0x8000000F);
    constexpr std::uint16_t kFunctions = 25;
    put16(info, 652, kFunctions);
    for (std::uint32_t i = 0; i < kFunctions; ++i) put32(info, 654 + 4 * i, 2 + i % 3);
    return info;
}

void registerSettings(RemoteApi& engine, SettingsState& state, const std::uint32_t& modelId)
{
    SettingsState* s = &state;
    const std::uint32_t* model = &modelId;

    engine.define(0x12100001, [s](const RapiRequest&) {  // property record
        std::vector<std::uint8_t> bytes(72, 0);
        put32(bytes, 0, s->remoteApiVersion);
        put32(bytes, 4, s->firmwareVersion);
        putText(bytes, 8, 32, s->modelName);
        putText(bytes, 40, 32, s->secondName);
        return record(std::move(bytes));
    });
    engine.define(0x12100003, [s](const RapiRequest&) {  // clock
        std::vector<std::uint8_t> bytes(12, 0);
        put32(bytes, 0, cameraClock(*s));
        return record(std::move(bytes));
    });
    engine.define(0x12100004, [s](const RapiRequest& request) {
        if (request.params.size() != 12) return refuse(kRapiBadRecord);
        std::uint32_t seconds = 0;
        std::memcpy(&seconds, request.params.data(), 4);
        s->clockOffset = static_cast<std::int64_t>(seconds) - localStandardNow();
        return RapiAnswer{};
    });
    engine.define(0x12100005, [s](const RapiRequest&) {  // owner name
        std::vector<std::uint8_t> bytes(kOwnerField, 0);
        putText(bytes, 0, kOwnerField, s->owner);
        return record(std::move(bytes));
    });
    engine.define(0x12100006, [s](const RapiRequest& request) {
        std::string owner;
        if (!textOf(request.params, owner)) return refuse(kRapiBadRecord);
        if (owner.size() + 1 > kOwnerField) return refuse(kRapiValueRefused);
        s->owner = owner;
        return RapiAnswer{};
    });
    engine.define(0x12100007, [s](const RapiRequest&) {  // file-name prefixes
        std::vector<std::uint8_t> bytes(3 * kPrefixField, 0);
        for (std::size_t i = 0; i < 3; ++i)
            putText(bytes, i * kPrefixField, kPrefixField, s->prefixes[i]);
        return record(std::move(bytes));
    });
    // Each field of exactly four characters replaces its prefix; the others
    // leave theirs alone. A record that changes nothing is refused.
    engine.define(0x12100008, [s](const RapiRequest& request) {
        if (request.params.size() != 3 * kPrefixField) return refuse(kRapiBadRecord);
        std::array<std::string, 3> fields;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto start = request.params.begin() + static_cast<long>(i * kPrefixField);
            if (!textOf(std::vector<std::uint8_t>(start, start + kPrefixField), fields[i]))
                return refuse(kRapiBadRecord);
        }
        bool taken = false;
        for (std::size_t i = 0; i < 3; ++i) {
            if (fields[i].size() != kPrefixField - 1) continue;
            s->prefixes[i] = fields[i];
            taken = true;
        }
        return taken ? RapiAnswer{} : refuse(kRapiValueRefused);
    });
    engine.define(0x12100009, [s](const RapiRequest&) {
        s->prefixes = factoryPrefixes();
        return RapiAnswer{};
    });
    engine.define(0x1210000A, [s](const RapiRequest&) {  // directory suffix
        std::vector<std::uint8_t> bytes(kSuffixLength + 1, 0);
        putText(bytes, 0, kSuffixLength + 1, s->suffix);
        return record(std::move(bytes));
    });
    engine.define(0x1210000B, [s](const RapiRequest& request) {
        std::string suffix;
        if (!textOf(request.params, suffix)) return refuse(kRapiBadRecord);
        if (suffix.size() != kSuffixLength) return refuse(kRapiValueRefused);
        s->suffix = suffix;
        return RapiAnswer{};
    });
    engine.define(0x1210000C, [s](const RapiRequest&) {
        s->suffix = factorySuffix();
        return RapiAnswer{};
    });
    engine.define(0x12100013, [s](const RapiRequest&) { return word(s->battery); });
    engine.define(0x12100023, [s](const RapiRequest&) { return word(s->bodyId); });
    engine.define(0x12100024, [s, model](const RapiRequest&) {
        return record(functionInfoRecord(*model, *s));
    });
}

}  // namespace sim
