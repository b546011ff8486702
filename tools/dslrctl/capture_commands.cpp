// capture and events: remote release and the camera's notifications.

#include "camera.h"
#include "camera_checks.h"
#include "commands.h"
#include "interrupt.h"
#include "transfer.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>

namespace dslrctl {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::uint32_t kEventJpegHeld = 8;
constexpr std::uint32_t kEventRawHeld = 12;
constexpr std::uint32_t kEventStored = 16;
constexpr std::uint32_t kEventLost = 0x0004000D;
// The camera is polled once a second; an image takes a moment to encode.
constexpr int kImageWaitMs = 20000;

struct ImageNotice {
    std::uint32_t sequence = 0;
    std::uint8_t kind = 0;  // 1 JPEG, 2 RAW
    std::uint32_t size = 0;
};

bool imageNotice(const CameraEvent& event, ImageNotice& notice)
{
    if ((event.id != kEventJpegHeld && event.id != kEventRawHeld && event.id != kEventStored) ||
        event.parameters.size() < sizeof(dsIMAGE_NOTIFY))
        return false;
    dsIMAGE_NOTIFY record;
    std::memcpy(&record, event.parameters.data(), sizeof(record));
    notice = {record.SequenceID, record.FormatType, record.SizeOfData};
    return true;
}

std::string eventName(std::uint32_t id)
{
    switch (id) {
    case kEventJpegHeld: return "JPEG image held for the computer";
    case kEventRawHeld: return "RAW image held for the computer";
    case kEventStored: return "image written to the card";
    case kEventLost: return "connection to the camera lost";
    default: return "camera event";
    }
}

json eventJson(const CameraEvent& event)
{
    json record = {{"id", event.id}, {"name", eventName(event.id)}};
    std::string hex;
    char two[4];
    for (std::uint8_t byte : event.parameters) {
        std::snprintf(two, sizeof(two), "%02X", byte);
        hex += two;
    }
    record["parameters"] = hex;
    ImageNotice notice;
    if (imageNotice(event, notice)) {
        record["sequence"] = notice.sequence;
        record["format"] = notice.kind == 2 ? "raw" : "jpeg";
        record["size"] = notice.size;
    }
    return record;
}

std::string eventLine(const CameraEvent& event)
{
    std::string line = "event " + hexWord(event.id) + " " + eventName(event.id);
    ImageNotice notice;
    if (imageNotice(event, notice))
        line += ": " + std::string(notice.kind == 2 ? "RAW" : "JPEG") + ", sequence " +
                std::to_string(notice.sequence) + ", " + std::to_string(notice.size) + " bytes";
    return line;
}

// Downloads the held image an event announced to DIR/captNNNN.jpg (or .rvx).
json downloadHeld(const Camera& camera, const Output& output, const ImageNotice& notice,
                  const std::string& directory)
{
    char name[32];
    std::snprintf(name, sizeof(name), "capt%04u.%s", static_cast<unsigned>(notice.sequence),
                  notice.kind == 2 ? "rvx" : "jpg");
    const std::string target = (fs::path(directory) / name).string();
    const std::uint64_t bytes = download(
        camera, output,
        [&] {
            std::uint32_t length = 0;
            Camera::check("baseReleaseControlGetReleasedData",
                          camera->baseReleaseControlGetReleasedData(notice.kind, notice.sequence, &length));
            checkAnnouncedLength(camera, "picture " + std::to_string(notice.sequence), length, notice.size);
            return length;
        },
        target, std::time(nullptr));
    output.text("picture " + std::to_string(notice.sequence) + " -> " + target + " (" +
                byteCount(bytes) + ")");
    return {{"sequence", notice.sequence}, {"saved", target}, {"bytes", bytes}};
}

std::uint32_t control(const Camera& camera, std::uint32_t code, const void* block, std::uint32_t size,
                      void* reply = nullptr, std::uint32_t replySize = 0)
{
    return camera->baseReleaseControlEx(code, size, block, replySize, reply);
}

// Remote release on for as long as the object lives.
class RemoteRelease {
public:
    explicit RemoteRelease(const Camera& camera) : m_camera(camera)
    {
        Camera::check("baseReleaseControlEx(INIT)", control(camera, DS_RELEASE_CONTROL_INIT, nullptr, 0));
    }
    ~RemoteRelease() { control(m_camera, DS_RELEASE_CONTROL_EXIT, nullptr, 0); }
    RemoteRelease(const RemoteRelease&) = delete;
    RemoteRelease& operator=(const RemoteRelease&) = delete;

private:
    const Camera& m_camera;
};

std::set<std::string> cardFiles(const Camera& camera)
{
    std::set<std::string> files;
    Entry dcim;
    if (camera.stat("ATA01:\\DCIM", dcim))
        for (const Entry& entry : camera.list("ATA01:\\DCIM", 63))
            if (!entry.directory()) files.insert(shownPath(entry.path));
    return files;
}

}  // namespace

int runCapture(const Options& options, const Output& output)
{
    Camera camera(options.port);
    camera.startEvents();
    RemoteRelease session(camera);
    dsREMOTE_RELEASE_PARAMS params = {};
    Camera::check("baseReleaseControlEx(GET_RELEASE_PARAMS)",
                  control(camera, DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, nullptr, 0, &params, sizeof(params)));
    // Byte 1 of the parameters is the file format: 1 JPEG, 2 RAW, 3 both.
    const std::uint8_t format = params.byReserved1[1];
    const unsigned images = format == 3 ? 2 : 1;
    // Held for the computer when it downloads, written to the card otherwise.
    const dsREMOTE_RELEASE_TRANSFER_MODE mode = {static_cast<std::uint16_t>(options.download ? 1 : 2), 0};
    Camera::check("baseReleaseControlEx(SET_TRANSFER_MODE)",
                  control(camera, DS_RELEASE_CONTROL_SET_TRANSFER_MODE, &mode, sizeof(mode)));
    json shots = json::array();
    for (unsigned shot = 0; shot < options.count; ++shot) {
        if (shot != 0) {
            const auto end = std::chrono::steady_clock::now() +
                             std::chrono::duration<double>(options.interval);
            while (std::chrono::steady_clock::now() < end) {
                stopIfInterrupted();
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
        }
        const std::set<std::string> before = options.download ? std::set<std::string>{} : cardFiles(camera);
        Camera::check("baseReleaseControlEx(RELEASE)", control(camera, DS_RELEASE_CONTROL_RELEASE, nullptr, 0));
        json saved = json::array();
        for (unsigned seen = 0; seen < images;) {
            CameraEvent event;
            stopIfInterrupted();
            if (!camera.nextEvent(event, kImageWaitMs)) {
                stopIfInterrupted();
                throw std::runtime_error("no image event from the camera within 20 s");
            }
            output.detail(eventLine(event));
            if (event.id == kEventLost) throw CameraError("waiting for the image", 0x02000080u);
            ImageNotice notice;
            if (!imageNotice(event, notice)) continue;
            ++seen;
            if (options.download && event.id != kEventStored)
                saved.push_back(downloadHeld(camera, output, notice, options.outputDir));
        }
        if (!options.download) {
            for (const std::string& file : cardFiles(camera)) {
                if (before.count(file) != 0) continue;
                output.text("picture stored as " + file);
                saved.push_back({{"path", file}});
            }
        }
        shots.push_back({{"shot", shot + 1}, {"files", saved}});
    }
    output.document({{"shots", shots}});
    return 0;
}

int runEvents(const Options& options, const Output& output)
{
    Camera camera(options.port);
    camera.startEvents();
    output.detail("watching for camera events");
    const auto start = std::chrono::steady_clock::now();
    const auto limit = std::chrono::duration<double>(options.seconds);
    unsigned seen = 0;
    while (options.count == 0 || seen < options.count) {
        int waitMs = 500;
        if (options.seconds > 0) {
            const auto left = limit - (std::chrono::steady_clock::now() - start);
            if (left <= std::chrono::duration<double>::zero()) break;
            waitMs = std::min(waitMs, static_cast<int>(left.count() * 1000) + 1);
        }
        CameraEvent event;
        if (!camera.nextEvent(event, waitMs)) {
            if (interrupted()) break;  // Ctrl-C is the ordinary end of watching
            continue;
        }
        ++seen;
        output.text(eventLine(event));
        json record = eventJson(event);
        ImageNotice notice;
        if (options.download && event.id != kEventStored && imageNotice(event, notice))
            record["saved"] = downloadHeld(camera, output, notice, options.outputDir)["saved"];
        output.record(record);
        if (event.id == kEventLost) throw CameraError("waiting for events", 0x02000080u);
    }
    if (seen == 0) output.text("no camera events");
    return 0;
}

}  // namespace dslrctl
