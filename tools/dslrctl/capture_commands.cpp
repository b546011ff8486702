// capture and events: remote release and the camera's notifications.

#include "camera.h"
#include "camera_checks.h"
#include "commands.h"
#include "interrupt.h"
#include "capture_names.h"
#include "transfer.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <thread>

namespace dslrctl {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

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

// The card's files under DCIM by shown path, to tell a new picture's name.
using CardFiles = std::map<std::string, Entry>;

CardFiles cardFiles(const Camera& camera)
{
    CardFiles files;
    Entry dcim;
    if (camera.stat("ATA01:\\DCIM", dcim))
        for (Entry& entry : camera.list("ATA01:\\DCIM", 63))
            if (!entry.directory()) files.emplace(shownPath(entry.path), std::move(entry));
    return files;
}

// The file a stored or kept picture became: one new since `before`, of the
// notice's size, a JPEG for a JPEG; "" when none can be told.
std::string newCardFile(const CardFiles& before, const CardFiles& now, const ImageNotice& notice)
{
    for (const auto& file : now) {
        const bool jpeg = file.first.size() > 4 && file.first.compare(file.first.size() - 4, 4, ".JPG") == 0;
        if (before.count(file.first) == 0 && file.second.size == notice.size && jpeg == (notice.kind != 2))
            return file.first;
    }
    return "";
}

// Downloads the held image an event announced under the next name of
// `names`; `cardPath` is where the camera also keeps it ("" when nowhere).
// A picture that is nowhere else is rescued rather than lost (transfer.h).
json downloadHeld(const Camera& camera, const Output& output, const ImageNotice& notice,
                  CaptureNames& names, const SaveRules& rules, const std::string& cardPath)
{
    const std::time_t now = std::time(nullptr);
    const fs::path target = names.next({baseName(cardPath), notice.kind == 2 ? "rvx" : "jpg", now}, notice.sequence);
    json record = {{"sequence", notice.sequence}};
    if (!cardPath.empty()) record["path"] = cardPath;
    const std::string picture = "picture " + std::to_string(notice.sequence);
    try {
        const Saved saved = download(
            camera, output,
            [&] {
                std::uint32_t length = 0;
                const std::uint32_t result =
                    camera->baseReleaseControlGetReleasedData(notice.kind, notice.sequence, &length);
                if (result != vkRN_OK) throw CameraError("fetch " + picture + " from the camera", result);
                checkAnnouncedLength(camera, picture, length, notice.size);
                return length;
            },
            target.string(), now, {rules.existing, cardPath.empty()});
        if (saved.skipped) {
            output.error(picture + " not saved: " + target.string() + " is there and was left" +
                         (cardPath.empty() ? "" : "; the picture is on the card as " + cardPath));
            record["skipped"] = true;
            return record;
        }
        if (!saved.problem.empty()) {
            output.error(saved.problem + "; " + picture + " was saved as " + saved.path + " instead");
            record["error"] = saved.problem;
        }
        output.text(picture + " -> " + saved.path + " (" + byteCount(saved.bytes) + ")");
        record["saved"] = saved.path;
        record["bytes"] = saved.bytes;
    } catch (const LocalError& error) {
        if (cardPath.empty()) throw LocalError(picture + " " + error.what());
        output.error(std::string(error.what()) + "; the picture is on the card as " + cardPath);
        record["error"] = error.what();
    }
    return record;
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

// Shot k starts at start + k * interval on the steady clock: a time-lapse
// keeps its pace however long each picture takes, and a shot that ran over
// its interval is followed at once.
void waitForShot(std::chrono::steady_clock::time_point start, double offsetSeconds, const Output& output)
{
    using Clock = std::chrono::steady_clock;
    const auto due = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(offsetSeconds));
    if (Clock::now() > due) output.detail("the last picture took longer than the interval; taking the next at once");
    for (auto now = Clock::now(); now < due; now = Clock::now()) {
        stopIfInterrupted();
        std::this_thread::sleep_for(std::min<Clock::duration>(due - now, std::chrono::milliseconds(50)));
    }
}

}  // namespace

int runCapture(const Options& options, const Output& output)
{
    if (options.keep && !options.download)
        throw UsageError("--keep goes with --download (without it the picture is written to the card)");
    Camera camera(options.port);
    camera.startEvents();
    RemoteRelease session(camera);
    dsREMOTE_RELEASE_PARAMS params = {};
    Camera::check("baseReleaseControlEx(GET_RELEASE_PARAMS)",
                  control(camera, DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, nullptr, 0, &params, sizeof(params)));
    // Byte 1 of the parameters is the file format: 1 JPEG, 2 RAW, 3 both.
    const std::uint8_t format = params.byReserved1[1];
    const unsigned images = format == 3 ? 2 : 1;
    // Held for the computer when it downloads (and written to the card too
    // with --keep), written to the card otherwise.
    const bool toCard = !options.download || options.keep;
    const dsREMOTE_RELEASE_TRANSFER_MODE mode = {
        static_cast<std::uint16_t>((options.download ? 1 : 0) | (toCard ? 2 : 0)), 0};
    Camera::check("baseReleaseControlEx(SET_TRANSFER_MODE)",
                  control(camera, DS_RELEASE_CONTROL_SET_TRANSFER_MODE, &mode, sizeof(mode)));
    CaptureNames names(options.filename, options.outputDir);
    const SaveRules rules{existingRule(options), true};
    int status = 0;
    json shots = json::array();
    const auto start = std::chrono::steady_clock::now();
    for (unsigned shot = 0; shot < options.count; ++shot) {
        if (shot != 0) waitForShot(start, options.interval * shot, output);
        const CardFiles before = toCard ? cardFiles(camera) : CardFiles{};
        Camera::check("baseReleaseControlEx(RELEASE)", control(camera, DS_RELEASE_CONTROL_RELEASE, nullptr, 0));
        // Every image of the release: held for the computer, written to the
        // card, or both.
        std::vector<ImageNotice> held;
        for (unsigned heldSeen = 0, storedSeen = 0;
             (options.download && heldSeen < images) || (toCard && storedSeen < images);) {
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
            if (event.id == kEventStored) {
                ++storedSeen;
            } else {
                ++heldSeen;
                held.push_back(notice);
            }
        }
        const CardFiles after = toCard ? cardFiles(camera) : CardFiles{};
        json saved = json::array();
        if (options.download) {
            for (const ImageNotice& notice : held) {
                saved.push_back(downloadHeld(camera, output, notice, names, rules,
                                             newCardFile(before, after, notice)));
                if (saved.back().contains("error")) status = 1;
            }
        } else {
            for (const auto& file : after) {
                if (before.count(file.first) != 0) continue;
                output.text("picture stored as " + file.first);
                saved.push_back({{"path", file.first}});
            }
        }
        shots.push_back({{"shot", shot + 1}, {"files", saved}});
    }
    output.document({{"shots", shots}});
    return status;
}

int runEvents(const Options& options, const Output& output)
{
    Camera camera(options.port);
    camera.startEvents();
    CaptureNames names(options.filename, options.outputDir);
    const SaveRules rules{existingRule(options), true};
    CardFiles known = cardFiles(camera);
    output.detail("watching for camera events");
    int status = 0;
    const auto start = std::chrono::steady_clock::now();
    const auto limit = std::chrono::duration<double>(options.seconds);
    unsigned seen = 0, pictures = 0;
    while ((options.count == 0 || seen < options.count) && (options.files == 0 || pictures < options.files)) {
        int waitMs = 500;
        if (options.seconds >= 0) {
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
        json record = eventJson(event);
        std::string line = eventLine(event);
        ImageNotice notice;
        const bool picture = imageNotice(event, notice);
        if (picture) ++pictures;
        if (event.id == kEventStored && picture) {
            // The card's new file of the notice's kind and size is the picture.
            CardFiles now = cardFiles(camera);
            const std::string path = newCardFile(known, now, notice);
            known = std::move(now);
            if (!path.empty()) {
                line += " -> " + path;
                record["path"] = path;
            }
        }
        output.text(line);
        if (options.download && event.id != kEventStored && picture) {
            const json saved = downloadHeld(camera, output, notice, names, rules, "");
            if (saved.contains("saved")) record["saved"] = saved["saved"];
            if (saved.contains("error")) status = 1;
        }
        output.record(record);
        if (event.id == kEventLost) throw CameraError("waiting for events", 0x02000080u);
    }
    if (seen == 0) output.text("no camera events");
    return status;
}

}  // namespace dslrctl
