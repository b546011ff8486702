// The camera's settings family of Remote API commands: clock, owner name,
// file-name prefixes and directory suffix with their factory values, body
// ID, battery, the property record and the function information (the drive
// strings and free space belong to the storage family). The state is a plain
// struct that lives as long as the camera; tests read and change it through
// the camera's control API.
#pragma once

#include "sim/remote_api.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

struct SettingsState {
    // The clock counts local standard time (the host's UTC time less the C
    // runtime's zone offset) plus this many seconds; setting it changes the
    // offset, and it goes on running.
    std::int64_t clockOffset = 0;
    std::string owner = "Velor Camera Owner";
    std::array<std::string, 3> prefixes = {"IMG_", "RAW_", "SND_"};  // JPG, RVX, WAV
    std::string suffix = "VELOR";
    std::uint32_t bodyId = 0x0004D2A1;
    std::uint32_t battery = 0x00000002;
    std::uint32_t remoteApiVersion = 0x00010002;
    std::uint32_t firmwareVersion = 0x01020300;
    std::string modelName = "Velor ARX-4D";
    std::string secondName = "Velor Digital Camera";
};

// The factory values a reset brings back.
const std::array<std::string, 3>& factoryPrefixes();
const std::string& factorySuffix();

// The camera's own Remote API errors for requests it refuses.
constexpr std::uint32_t kRapiBadRecord = 0x00A50101;     // parameters of the wrong size or form
constexpr std::uint32_t kRapiValueRefused = 0x00A50102;  // a name or suffix that does not fit
constexpr std::uint32_t kRapiNoSuchVolume = 0x00A50103;  // a volume the camera does not serve

// The function information the camera reports for a model: 1,056 bytes.
std::vector<std::uint8_t> functionInfoRecord(std::uint32_t modelId, const SettingsState& state);

// The C runtime's zone offset (seconds west of UTC, daylight saving not
// included), read afresh: the camera keeps local standard time.
long zoneOffset();

// The camera's clock reading now.
std::uint32_t cameraClock(const SettingsState& state);

// Registers the family's handlers. They keep their state in `state` and
// read the model ID through `modelId` when they answer; both must outlive
// the engine.
void registerSettings(RemoteApi& engine, SettingsState& state, const std::uint32_t& modelId);

}  // namespace sim
