// info, clock and owner: what the camera says about itself.

#include "camera.h"
#include "commands.h"

#include <cctype>
#include <cstring>
#include <ctime>

namespace dslrctl {

namespace {

using nlohmann::json;

std::string firmwareText(DslrObject* camera)
{
    char text[40] = {};
    Camera::check("baseReadSetting(READ_FIRM_VERSION)", camera->baseReadSetting(READ_FIRM_VERSION, text));
    return std::string(text, strnlen(text, sizeof(text)));
}

std::string ownerName(DslrObject* camera)
{
    char text[33] = {};
    Camera::check("baseReadSetting(OWNER_NAME)", camera->baseReadSetting(OWNER_NAME, text));
    return std::string(text, strnlen(text, 32));
}

std::uint32_t readWord(DslrObject* camera, std::uint32_t tag, const char* operation)
{
    std::uint32_t value = 0;
    Camera::check(operation, camera->baseReadSetting(tag, &value));
    return value;
}

std::uint32_t cameraClock(DslrObject* camera)
{
    return readWord(camera, CAMERA_TIME, "baseReadSetting(CAMERA_TIME)");
}

std::time_t fromUtcFields(std::tm& fields)
{
#ifdef _WIN32
    return _mkgmtime(&fields);
#else
    return timegm(&fields);
#endif
}

// "now", seconds since 1970, or YYYY-MM-DD[T ]HH:MM:SS with an optional Z (UTC).
std::uint32_t parseTime(const std::string& text)
{
    if (text == "now") return static_cast<std::uint32_t>(std::time(nullptr));
    unsigned long long seconds = 0;
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos &&
        text.size() <= 10 && (seconds = std::stoull(text)) <= 0xFFFFFFFFull)
        return static_cast<std::uint32_t>(seconds);
    std::tm fields{};
    char separator = 0, zone = 0;
    int consumed = 0;
    const int got = std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%n%c", &fields.tm_year,
                                &fields.tm_mon, &fields.tm_mday, &separator, &fields.tm_hour,
                                &fields.tm_min, &fields.tm_sec, &consumed, &zone);
    const bool whole = (got == 7 && static_cast<std::size_t>(consumed) == text.size()) ||
                       (got == 8 && zone == 'Z' && static_cast<std::size_t>(consumed) + 1 == text.size());
    if (!whole || (separator != 'T' && separator != ' ') || fields.tm_year < 1970 ||
        fields.tm_mon < 1 || fields.tm_mon > 12 || fields.tm_mday < 1 || fields.tm_mday > 31 ||
        fields.tm_hour > 23 || fields.tm_min > 59 || fields.tm_sec > 59)
        throw UsageError("bad time '" + text + "': give now, seconds since 1970 or YYYY-MM-DDTHH:MM:SS (UTC)");
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    // The camera counts seconds since 1970 in 32 bits: 2106-02-07T06:28:15 is its last.
    const long long counted = static_cast<long long>(fromUtcFields(fields));
    if (counted < 0 || counted > 0xFFFFFFFFll)
        throw UsageError("time '" + text + "' is outside what the camera can hold (1970-01-01T00:00:00 to " +
                         isoTime(static_cast<std::time_t>(0xFFFFFFFFll)) + ")");
    return static_cast<std::uint32_t>(counted);
}

}  // namespace

int runInfo(const Options& options, const Output& output)
{
    Camera camera(options.port);
    dsMODEL_DESCRIP model = {};
    Camera::check("baseGetModelDescrip", camera->baseGetModelDescrip(&model));
    const std::string name(model.cModelName, strnlen(model.cModelName, sizeof(model.cModelName)));
    std::uint32_t remoteApi = 0;
    Camera::check("baseGetRemoteAPIVersion", camera->baseGetRemoteAPIVersion(&remoteApi));
    const std::string firmware = firmwareText(camera.get());
    const std::string owner = ownerName(camera.get());
    const std::uint32_t bodyId = readWord(camera.get(), READ_BODY_ID, "baseReadSetting(READ_BODY_ID)");
    const std::uint32_t battery = readWord(camera.get(), READ_BATT_STATUS, "baseReadSetting(READ_BATT_STATUS)");
    const std::uint32_t clock = cameraClock(camera.get());
    const std::vector<Volume> volumes = camera.volumes();

    json doc = {{"port", options.port},
                {"model", {{"id", hexWord(model.dwModelID)}, {"name", name}}},
                {"firmware", firmware},
                {"owner", owner},
                {"body_id", hexWord(bodyId)},
                {"battery", battery},
                {"clock", isoTime(clock)},
                {"remote_api_version", hexWord(remoteApi)},
                {"volumes", json::array()}};
    output.text("Model:       " + name + " (" + hexWord(model.dwModelID) + ")");
    output.text("Firmware:    " + firmware);
    output.text("Owner:       " + owner);
    output.text("Body ID:     " + hexWord(bodyId));
    output.text("Battery:     " + std::to_string(battery));
    output.text("Clock:       " + isoTime(clock));
    output.text("Remote API:  " + hexWord(remoteApi));
    for (const Volume& volume : volumes) {
        doc["volumes"].push_back({{"name", volume.name},
                                  {"free_kib", volume.freeKiB},
                                  {"capacity_kib", volume.capacityKiB}});
        output.text("Volume " + volume.name + ":  " + byteCount(std::uint64_t{volume.freeKiB} * 1024) +
                    " free of " + byteCount(std::uint64_t{volume.capacityKiB} * 1024));
    }
    output.document(doc);
    return 0;
}

int runClock(const Options& options, const Output& output)
{
    const bool setting = options.setGiven;
    const std::uint32_t wanted = setting ? parseTime(options.set) : 0;
    Camera camera(options.port);
    if (setting) {
        std::uint32_t value = wanted;
        Camera::check("baseWriteSetting(CAMERA_TIME)", camera->baseWriteSetting(CAMERA_TIME, &value));
        output.detail("clock set to " + isoTime(wanted));
    }
    const std::uint32_t clock = cameraClock(camera.get());
    output.text(isoTime(clock));
    output.document({{"clock", isoTime(clock)}, {"seconds", clock}});
    return 0;
}

int runOwner(const Options& options, const Output& output)
{
    // The camera keeps the name in 32 bytes with its terminating NUL; letters
    // beyond ASCII take more than one byte each.
    if (options.set.size() > 31)
        throw UsageError("owner name of " + std::to_string(options.set.size()) +
                         " bytes; the camera keeps at most 31 bytes");
    Camera camera(options.port);
    // An empty name clears the owner, as the camera's own menu can.
    if (options.setGiven)
        Camera::check("baseWriteSetting(OWNER_NAME)",
                      camera->baseWriteSetting(OWNER_NAME, options.set.c_str()));
    const std::string owner = ownerName(camera.get());
    output.text(owner);
    output.document({{"owner", owner}});
    return 0;
}

}  // namespace dslrctl
