#include "camera_operations.h"

#include "sim/camera.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace fuzzing {

namespace {

// The most the host takes of any announced data phase: a spoiled length
// word must not size the fuzzer's own buffers.
constexpr std::uint32_t kLargestRead = 1u << 20;
constexpr std::uint32_t kReadPiece = 0x10000;

struct Events {
    std::atomic<unsigned> count{0};
    std::atomic<std::uint32_t> sequence{0};
    std::atomic<std::uint32_t> kind{0};
};

std::uint32_t DSLR_STDCALL onEvent(std::uint32_t id, void* parameters, std::uint32_t size,
                                   std::uintptr_t context)
{
    auto* events = reinterpret_cast<Events*>(context);
    // Touch every parameter byte the library hands over: a wrong size shows
    // up under AddressSanitizer here, as in a host's callback.
    std::uint32_t sum = 0;
    for (std::uint32_t i = 0; i < size; ++i) sum += static_cast<std::uint8_t*>(parameters)[i];
    if ((id == 8 || id == 12) && size >= sizeof(dsIMAGE_NOTIFY)) {
        dsIMAGE_NOTIFY notice;
        std::memcpy(&notice, parameters, sizeof(notice));
        events->sequence = notice.SequenceID;
        events->kind = notice.FormatType;
    }
    events->count += 1 + (sum & 0);
    return 0;
}

// Reads an announced data phase, at most kLargestRead of it.
void readAnnounced(DslrObject* camera, std::uint32_t length)
{
    std::vector<std::uint8_t> piece(kReadPiece);
    const std::uint32_t taken = std::min(length, kLargestRead);
    for (std::uint32_t done = 0; done < taken;) {
        const std::uint32_t count = std::min(taken - done, kReadPiece);
        if (camera->baseDslrReadData(piece.data(), count) != vkRN_OK) break;
        done += count;
    }
    if (taken < length) camera->baseDslrResetTransfer(1);
}

void info(DslrObject* camera)
{
    std::uint8_t volumes[273] = {};
    std::uint16_t count = 3;
    camera->baseGetVols(volumes, &count);
    char text[64] = {};
    camera->baseReadSetting(READ_FIRM_VERSION, text);
    camera->baseReadSetting(OWNER_NAME, text);
    std::uint32_t word = 0;
    for (std::uint32_t tag : {CAMERA_TIME, READ_BATT_STATUS, READ_BODY_ID})
        camera->baseReadSetting(tag, &word);
    camera->baseGetRemoteAPIVersion(&word);
}

void getAll(DslrObject* camera)
{
    static const char kRequest[] =
        "\x3F"
        "ATA01:\\\0\0";
    std::uint32_t length = 0;
    if (camera->baseGetDirs(const_cast<char*>(kRequest), &length) != vkRN_OK) return;
    std::vector<std::uint8_t> listing(std::min(length, kLargestRead));
    if (!listing.empty() &&
        camera->baseDslrReadData(listing.data(), static_cast<std::uint32_t>(listing.size())) !=
            vkRN_OK)
        return;
    if (listing.size() < length) camera->baseDslrResetTransfer(1);
    // Every file record: attributes (2), size (4), time (4), path, NUL.
    unsigned files = 0;
    for (std::size_t at = 0; at + 10 < listing.size() && files < 8;) {
        const auto* text = reinterpret_cast<const char*>(&listing[at + 10]);
        const std::string path(text, strnlen(text, listing.size() - at - 10));
        if (path.empty()) break;
        at += 10 + path.size() + 1;
        if ((listing[at - path.size() - 11] & 0x10) != 0) continue;  // a directory
        ++files;
        std::uint32_t size = 0;
        if (camera->baseGetFile(path.c_str(), &size) == vkRN_OK) readAnnounced(camera, size);
    }
}

void waitForEvents(const Events& events, unsigned wanted)
{
    // The polling thread asks once a (fast-clock) second: a few real
    // milliseconds cover several turns.
    for (int turn = 0; turn < 50 && events.count < wanted; ++turn)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

void capture(DslrObject* camera, Events& events)
{
    if (camera->baseNotifyStart() != vkRN_OK) return;
    if (camera->baseReleaseControlEx(DS_RELEASE_CONTROL_INIT, 0, nullptr, 0, nullptr) == vkRN_OK) {
        const dsREMOTE_RELEASE_TRANSFER_MODE mode = {1, 0};
        camera->baseReleaseControlEx(DS_RELEASE_CONTROL_SET_TRANSFER_MODE, sizeof(mode), &mode, 0,
                                     nullptr);
        if (camera->baseReleaseControlEx(DS_RELEASE_CONTROL_RELEASE, 0, nullptr, 0, nullptr) ==
            vkRN_OK) {
            waitForEvents(events, 1);
            std::uint32_t length = 0;
            if (events.count != 0 && camera->baseReleaseControlGetReleasedData(
                                         events.kind, events.sequence, &length) == vkRN_OK)
                readAnnounced(camera, length);
        }
        camera->baseReleaseControlEx(DS_RELEASE_CONTROL_EXIT, 0, nullptr, 0, nullptr);
    }
    camera->baseNotifyTerminate();
}

void watchEvents(const std::string& port, DslrObject* camera, Events& events)
{
    if (camera->baseNotifyStart() != vkRN_OK) return;
    const std::shared_ptr<sim::Camera> device = sim::cameraNamed(port.substr(4));
    device->raiseEvent(8, {1, 0, 0, 0, 1, 0x10, 0x27, 0, 0});
    device->raiseEvent(10, {1, 0, 0, 0, 2, 0, 0, 0});
    device->raiseEvent(14, {7, 0, 0, 0});
    device->raiseEvent(16, {2, 0, 0, 0, 2, 0, 0, 1, 0});
    waitForEvents(events, 4);
    camera->baseNotifyTerminate();
}

void settings(DslrObject* camera)
{
    std::uint8_t record[4096] = {};
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_INIT, 0, nullptr, 0, nullptr);
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_RELEASE_PARAMS, 0, nullptr, 48, record);
    std::uint32_t size = 0;
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS_SIZE, 0, nullptr, 4,
                                 &size);
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_EXT_RELEASE_PARAMS, 0, nullptr,
                                 std::min<std::uint32_t>(size, sizeof(record)), record);
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_GET_AVAILABLE_SHOT, 0, nullptr, 4, &size);
    camera->baseReleaseControlEx(DS_RELEASE_CONTROL_EXIT, 0, nullptr, 0, nullptr);
    camera->baseGetJpegQuality(sizeof(record), record);
    camera->baseGetWhiteBalanceParameters(sizeof(record), record);
    camera->baseGetCustomFunctionSetting(sizeof(record), record);
    camera->baseGetPersonalFunctionSetting(sizeof(record), record);
    if (camera->baseGetPersonalFunctionExSize(&size) == vkRN_OK)
        camera->baseGetPersonalFunctionEx(std::min<std::uint32_t>(size, sizeof(record)), record);
    camera->baseGetUserColorMatrix(sizeof(record), record);
    camera->baseGetGammaLookupTable(sizeof(record), record);
}

}  // namespace

const char* operationName(Operation operation)
{
    static const char* const kNames[] = {"info", "get-all", "capture", "events", "settings"};
    return operation < Operation::kCount ? kNames[static_cast<int>(operation)] : "?";
}

void runOperation(const std::string& port, Operation operation)
{
    DslrObject* camera = DSLR_GetObject();
    Events events;
    if (camera->baseDslrOpenPort(port.c_str()) == vkRN_OK) {
        if (camera->baseOpenCameraComm(0, onEvent, reinterpret_cast<std::uintptr_t>(&events)) ==
            vkRN_OK) {
            switch (operation) {
                case Operation::kInfo:
                    info(camera);
                    break;
                case Operation::kGetAll:
                    getAll(camera);
                    break;
                case Operation::kCapture:
                    capture(camera, events);
                    break;
                case Operation::kEvents:
                    watchEvents(port, camera, events);
                    break;
                default:
                    settings(camera);
                    break;
            }
            camera->baseCloseCameraComm();
        }
        camera->baseDslrClosePort();
    }
    DSLR_DeleteObject(camera);
}

}  // namespace fuzzing
