// config: the release parameters and image-processing settings by readable
// names, each with the values the camera accepts.

#include "camera.h"
#include "commands.h"
#include "exposure_values.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>

namespace dslrctl {

using nlohmann::json;

namespace {

// A value word and its readable name.
struct Named {
    long value;
    const char* name;
};

struct Setting {
    const char* name;
    const char* help;
    std::vector<Named> words;                          // readable values, if any
    std::function<long(const Camera&)> get;
    std::function<void(const Camera&, long)> set;
    std::function<std::vector<long>(const Camera&)> accepts;  // the values the camera takes
    long low, high, step;                               // or this range, when no list
    std::optional<Exposure> exposure = std::nullopt;    // codes with photographers' names
};

// --- release parameters: one field of the 48-byte record each ------------

dsREMOTE_RELEASE_PARAMS releaseParams(const Camera& camera)
{
    dsREMOTE_RELEASE_PARAMS params = {};
    Camera::check("baseReleaseControlEx(GET_RELEASE_PARAMS)",
                  camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, 0, nullptr,
                                               sizeof(params), &params));
    return params;
}

// Byte offset and width of the field in the record, and the camera's number
// for it in the available-values request.
Setting releaseSetting(const char* name, const char* help, std::size_t offset, std::size_t width,
                       std::uint32_t parameter, std::vector<Named> words = {},
                       std::optional<Exposure> exposure = std::nullopt)
{
    auto field = [offset](dsREMOTE_RELEASE_PARAMS& params) {
        return reinterpret_cast<std::uint8_t*>(&params) + offset;
    };
    Setting setting{name, help, std::move(words), nullptr, nullptr, nullptr, 0, 0, 0, exposure};
    setting.get = [=](const Camera& camera) {
        dsREMOTE_RELEASE_PARAMS params = releaseParams(camera);
        std::uint16_t value = 0;
        std::memcpy(&value, field(params), width);
        return static_cast<long>(value);
    };
    setting.set = [=](const Camera& camera, long value) {
        dsREMOTE_RELEASE_PARAMS params = releaseParams(camera);
        const auto word = static_cast<std::uint16_t>(value);
        std::memcpy(field(params), &word, width);
        Camera::check("baseReleaseControlEx(RELEASE_PARAMS)",
                      camera->baseReleaseControlEx(DS_RELEASE_CONTROL_RELEASE_PARAMS, sizeof(params),
                                                   &params, 0, nullptr));
    };
    setting.accepts = [=](const Camera& camera) {
        std::uint32_t size = 0;
        Camera::check("baseReleaseControlEx(GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM)",
                      camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_SIZE_OF_AVAILABLE_VALUE_OF_PARAM,
                                                   4, &parameter, 4, &size));
        std::vector<std::uint8_t> record(std::max<std::uint32_t>(size, sizeof(dsAVAILABLE_VALUES)));
        Camera::check("baseReleaseControlEx(GET_AVAILABLE_VALUE_OF_PARAM)",
                      camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_AVAILABLE_VALUE_OF_PARAM, 4,
                                                   &parameter, static_cast<std::uint32_t>(record.size()),
                                                   record.data()));
        dsAVAILABLE_VALUES head;
        std::memcpy(&head, record.data(), sizeof(head));
        const std::size_t each = head.dwValueType == 2 ? 2 : 4;
        std::vector<long> values;
        for (std::size_t i = 0, at = sizeof(head); i < head.dwNumOfValues && at + each <= record.size();
             ++i, at += each) {
            std::uint32_t value = 0;
            std::memcpy(&value, &record[at], each);
            values.push_back(static_cast<long>(value));
        }
        return values;
    };
    return setting;
}

// --- develop parameters of set 1 --------------------------------------------

Setting developSetting(const char* name, const char* help, std::size_t offset, long low, long high)
{
    auto read = [](const Camera& camera) {
        dsDEVELOP_PARAM params = {};
        params.dwIndex = 1;
        Camera::check("baseGetDevelopParamSetting",
                      camera->baseGetDevelopParamSetting(sizeof(params), &params));
        return params;
    };
    Setting setting{name, help, {}, nullptr, nullptr, nullptr, low, high, 1};
    setting.get = [=](const Camera& camera) {
        dsDEVELOP_PARAM params = read(camera);
        std::int32_t value = 0;
        std::memcpy(&value, reinterpret_cast<const std::uint8_t*>(&params) + offset, 4);
        return static_cast<long>(value);
    };
    setting.set = [=](const Camera& camera, long value) {
        dsDEVELOP_PARAM params = read(camera);
        const auto word = static_cast<std::int32_t>(value);
        std::memcpy(reinterpret_cast<std::uint8_t*>(&params) + offset, &word, 4);
        Camera::check("baseSetDevelopParamSetting",
                      camera->baseSetDevelopParamSetting(sizeof(params), &params));
    };
    return setting;
}

// --- JPEG qualities ------------------------------------------------------------

Setting jpegSetting(const char* name, const char* help, std::size_t index)
{
    auto read = [](const Camera& camera) {
        std::uint16_t qualities[4] = {};
        Camera::check("baseGetJpegQuality", camera->baseGetJpegQuality(sizeof(qualities), qualities));
        return std::vector<std::uint16_t>(qualities, qualities + 4);
    };
    Setting setting{name, help, {}, nullptr, nullptr, nullptr, 1, 10, 1};
    setting.get = [=](const Camera& camera) { return static_cast<long>(read(camera)[index]); };
    setting.set = [=](const Camera& camera, long value) {
        std::vector<std::uint16_t> qualities = read(camera);
        qualities[index] = static_cast<std::uint16_t>(value);
        Camera::check("baseSetJpegQuality", camera->baseSetJpegQuality(8, qualities.data()));
    };
    return setting;
}

std::vector<Setting> settings()
{
    std::vector<Setting> table = {
        releaseSetting("iso", "ISO speed", offsetof(dsREMOTE_RELEASE_PARAMS, wISO), 2, 1, {}, Exposure::iso),
        releaseSetting("aperture", "aperture, Av", offsetof(dsREMOTE_RELEASE_PARAMS, wAv), 2, 2, {},
                       Exposure::aperture),
        releaseSetting("shutter", "shutter speed, Tv", offsetof(dsREMOTE_RELEASE_PARAMS, wTv), 2, 3, {},
                       Exposure::shutter),
        releaseSetting("image-size", "image size of the next release", 0, 1, 4,
                       {{0, "large"}, {1, "medium"}, {2, "small"}}),
        releaseSetting("file-format", "file format of the next release", 1, 1, 5,
                       {{1, "jpeg"}, {2, "raw"}, {3, "raw+jpeg"}}),
        releaseSetting("quality", "JPEG quality of the next release", 2, 1, 6,
                       {{1, "normal"}, {2, "fine"}}),
        developSetting("contrast", "contrast of develop set 1", offsetof(dsDEVELOP_PARAM, lContrast), -2, 2),
        developSetting("sharpness", "edge level of develop set 1", offsetof(dsDEVELOP_PARAM, dwEdgeLevel), 0, 5),
        developSetting("sharpness-frequency", "edge frequency of develop set 1",
                       offsetof(dsDEVELOP_PARAM, dwEdgeFrequency), 1, 5),
        jpegSetting("jpeg-quality-large", "compression quality of large JPEG images", 0),
        jpegSetting("jpeg-quality-middle1", "compression quality of middle-1 JPEG images", 1),
        jpegSetting("jpeg-quality-middle2", "compression quality of middle-2 JPEG images", 2),
        jpegSetting("jpeg-quality-small", "compression quality of small JPEG images", 3),
    };
    Setting kelvin{"white-balance", "direct white balance in kelvin", {}, nullptr, nullptr, nullptr, 2800, 10000, 100};
    kelvin.get = [](const Camera& camera) {
        std::uint32_t value = 0;
        Camera::check("baseGetDirectWhiteBalanceSetting", camera->baseGetDirectWhiteBalanceSetting(&value));
        return static_cast<long>(value);
    };
    kelvin.set = [](const Camera& camera, long value) {
        Camera::check("baseSetDirectWhiteBalanceSetting",
                      camera->baseSetDirectWhiteBalanceSetting(static_cast<std::uint32_t>(value)));
    };
    table.push_back(kelvin);
    return table;
}

std::string codeText(long value)
{
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%02lX", value);
    return hex;
}

// The value as a word or a number; exposure codes as photographers write them.
std::string valueText(const Setting& setting, long value)
{
    if (setting.exposure) return exposureName(*setting.exposure, static_cast<std::uint16_t>(value));
    for (const Named& word : setting.words)
        if (word.value == value) return word.name;
    if (setting.accepts) return codeText(value);
    return std::to_string(value);
}

// What a person reads: "f/5.6 (0x30)", the code beside the name.
std::string shownValue(const Setting& setting, long value)
{
    const std::string text = valueText(setting, value);
    return setting.exposure && text != codeText(value) ? text + " (" + codeText(value) + ")" : text;
}

json acceptsJson(const Setting& setting, const Camera& camera)
{
    if (!setting.accepts) return {{"min", setting.low}, {"max", setting.high}, {"step", setting.step}};
    json values = json::array();
    for (long value : setting.accepts(camera)) values.push_back(valueText(setting, value));
    return values;
}

std::string acceptsText(const json& accepts)
{
    if (accepts.is_object())
        return std::to_string(accepts["min"].get<long>()) + " to " + std::to_string(accepts["max"].get<long>()) +
               (accepts["step"].get<long>() != 1 ? " in steps of " + std::to_string(accepts["step"].get<long>()) : "");
    std::string text;
    for (const json& value : accepts) {
        const std::string word = value.get<std::string>();
        // Names with spaces in them ("ISO 100") are set apart by commas.
        const bool spaced = word.find(' ') != std::string::npos;
        text += (text.empty() ? "" : spaced ? ", " : " ") + word;
    }
    return text;
}

const Setting& findSetting(const std::vector<Setting>& table, const std::string& name)
{
    for (const Setting& setting : table)
        if (name == setting.name) return setting;
    std::string names;
    for (const Setting& setting : table) names += std::string(names.empty() ? "" : ", ") + setting.name;
    throw UsageError("no setting '" + name + "'; there are " + names);
}

// A readable value word, or a number (decimal or 0x-hex) in the setting's
// range. Exposure settings take photographers' values, and codes in hex only,
// as 400 is ISO 400 and never code 400.
long parseValue(const Setting& setting, const std::string& text)
{
    for (const Named& word : setting.words)
        if (text == word.name) return word.value;
    if (setting.exposure) {
        if (const auto code = parseExposure(*setting.exposure, text)) return *code;
        if (text.rfind("0x", 0) != 0 && text.rfind("0X", 0) != 0)
            throw UsageError("bad value '" + text + "' for " + setting.name + " (see: dslrctl config list)");
    }
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 0);
    const bool number = !text.empty() && end != nullptr && *end == '\0' && errno == 0;
    const bool inRange = setting.accepts ? value >= 0 && value <= 0xFFFF
                                         : value >= setting.low && value <= setting.high &&
                                               (value - setting.low) % setting.step == 0;
    if (!number || !inRange)
        throw UsageError("bad value '" + text + "' for " + setting.name + " (see: dslrctl config list)");
    return value;
}

}  // namespace

int runConfig(const Options& options, const Output& output)
{
    const std::vector<Setting> table = settings();
    const std::string& verb = options.config[0];
    if (verb == "list") {
        Camera camera(options.port);
        json list = json::array();
        for (const Setting& setting : table) {
            const long value = setting.get(camera);
            const json accepts = acceptsJson(setting, camera);
            char line[160];
            std::snprintf(line, sizeof(line), "%-22s %-16s %s", setting.name,
                          shownValue(setting, value).c_str(), setting.help);
            output.text(line);
            output.text(std::string(23, ' ') + "accepts: " + acceptsText(accepts));
            json entry = {{"name", setting.name}, {"value", valueText(setting, value)},
                          {"raw", value}, {"help", setting.help}, {"accepts", accepts}};
            if (setting.exposure) entry["code"] = codeText(value);
            list.push_back(entry);
        }
        output.document({{"settings", list}});
        return 0;
    }
    const Setting& setting = findSetting(table, options.config[1]);
    const long wanted = verb == "set" ? parseValue(setting, options.config[2]) : 0;
    Camera camera(options.port);
    if (verb == "set") {
        if (setting.accepts) {
            const std::vector<long> accepted = setting.accepts(camera);
            if (std::find(accepted.begin(), accepted.end(), wanted) == accepted.end())
                throw UsageError("the camera does not take " + valueText(setting, wanted) + " for " +
                                 setting.name + "; it takes " + acceptsText(acceptsJson(setting, camera)));
        }
        setting.set(camera, wanted);
    }
    // A set is read back, so what is printed is what the camera now holds.
    const long value = setting.get(camera);
    output.text(std::string(setting.name) + " = " + shownValue(setting, value));
    json document = {{"name", setting.name}, {"value", valueText(setting, value)}, {"raw", value}};
    if (setting.exposure) document["code"] = codeText(value);
    output.document(document);
    return 0;
}

SettingValues settingValues()
{
    SettingValues values;
    for (const Setting& setting : settings()) {
        std::vector<std::string> words;
        for (const Named& word : setting.words) words.push_back(word.name);
        if (!setting.accepts)
            for (long value = setting.low; value <= setting.high; value += setting.step)
                words.push_back(std::to_string(value));
        values.emplace_back(setting.name, words);
    }
    return values;
}

}  // namespace dslrctl
