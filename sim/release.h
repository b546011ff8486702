// The camera's remote-release family of Remote API commands (tethered
// shooting) and its service commands: remote release on and off, release
// parameters (basic and extended), transfer mode, available shots and values,
// image-data sizes, the release itself with the image it makes, the held
// image's length and data, the transfer reset, and the UI lock. The state is
// a plain struct that lives as long as the camera.
#pragma once

#include "sim/event_queue.h"
#include "sim/remote_api.h"
#include "sim/settings.h"
#include "sim/storage.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim {

// Where a release's image goes (`wSetMode`): held for the computer, written
// to the card, or both.
constexpr std::uint16_t kTransferToComputer = 1;
constexpr std::uint16_t kTransferToCard = 2;
constexpr std::uint16_t kTransferToBoth = 3;

// The kinds of image a release makes, as the released-data query names
// them and the image events' FormatType reports them.
constexpr std::uint32_t kImageJpeg = 1;
constexpr std::uint32_t kImageRaw = 2;
constexpr std::uint32_t kImageThumbnail = 3;

// The image events: a JPEG or a RAW image held for the computer, and a file
// written to the card.
constexpr std::uint32_t kEventJpegHeld = 8;
constexpr std::uint32_t kEventRawHeld = 12;
constexpr std::uint32_t kEventStoredOnCard = 16;

// Offsets in the 48-byte release parameters of what the camera reads there.
constexpr std::size_t kParamImageSize = 0;
constexpr std::size_t kParamFileFormat = 1;
constexpr std::size_t kParamQuality = 2;
constexpr std::size_t kParamIso = 26;
constexpr std::size_t kParamAv = 28;
constexpr std::size_t kParamTv = 30;

// The images of the last release held for the computer; empty ones were
// not made (a JPEG-only release has no RAW image).
struct HeldImage {
    std::uint32_t sequenceId = 0;
    std::vector<std::uint8_t> jpeg;
    std::vector<std::uint8_t> raw;
    std::vector<std::uint8_t> thumbnail;
    const std::vector<std::uint8_t>* ofKind(std::uint32_t kind) const;
};

struct ReleaseState {
    ReleaseState();
    bool active = false;  // between INIT and EXIT
    std::array<std::uint8_t, 48> params{};
    std::array<std::uint8_t, 60> extParams{};  // the first 44 bytes for older models
    std::uint16_t transferMode = kTransferToComputer;
    std::uint32_t availableShots = 999;
    std::uint32_t lastSequenceId = 0;
    HeldImage held;
    bool uiLocked = false;
    std::uint32_t uiLockParam = 0;
};

// The camera's own Remote API errors of the family.
constexpr std::uint32_t kRapiNotReleasing = 0x00A50301;  // a release outside INIT ... EXIT
constexpr std::uint32_t kRapiNoShotsLeft = 0x00A50302;   // available shots used up
constexpr std::uint32_t kRapiNoImageHeld = 0x00A50303;   // no such image held for the computer
constexpr std::uint32_t kRapiUnknownControl = 0x00A50304;  // a control code the camera lacks

// The image a release with these parameters would make: its JPEG (empty for
// a RAW-only format), RAW file (empty unless the format asks for one) and
// thumbnail, for release number `sequenceId`.
HeldImage shoot(const std::array<std::uint8_t, 48>& params, std::uint32_t sequenceId);

// Registers the family's handlers. They keep their state in `release`, write
// images to the first volume of `storage` under the names `settings` gives,
// raise image events in `events` and read the model through `modelId`; all
// must outlive the engine.
void registerRelease(RemoteApi& engine, ReleaseState& release, StorageState& storage,
                     const SettingsState& settings, EventQueue& events,
                     const std::uint32_t& modelId);

}  // namespace sim
