// The camera's storage family of Remote API commands: drive strings, free
// space, format, directory listings, directories (plain and DCF-numbered),
// file and header reads, file size, file writes, delete, attributes and
// times. The state is a plain struct that lives as long as the camera: one
// volume per card slot, each holding a card (sim/card.h).
#pragma once

#include "sim/card.h"
#include "sim/remote_api.h"
#include "sim/settings.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim {

struct StorageVolume {
    std::string name;  // "ATA01"
    std::shared_ptr<Card> card;
};

struct StorageState {
    std::vector<StorageVolume> volumes;
    // How much of a file a header read (mode 1) returns: its first part.
    std::uint32_t headerBytes = 16 * 1024;
};

// The camera as it leaves the factory: ATA01 holds the demo card (JPEG
// images and a RAW-sized file), ATA02 an empty card.
StorageState defaultStorage(std::uint32_t time);

// The camera's own Remote API errors of the family (besides those of
// sim/settings.h).
constexpr std::uint32_t kRapiNoSuchPath = 0x00A50201;   // no file or directory there
constexpr std::uint32_t kRapiPathExists = 0x00A50202;   // a directory that is already there
constexpr std::uint32_t kRapiProtected = 0x00A50203;    // a read-only file
constexpr std::uint32_t kRapiCardFull = 0x00A50204;     // not enough free space
constexpr std::uint32_t kRapiNotEmpty = 0x00A50205;     // a directory that still holds entries
constexpr std::uint32_t kRapiNoDcfNumber = 0x00A50206;  // folder numbers used up to 999
constexpr std::uint32_t kRapiCardError = 0x00A50207;    // the card failed (host directory)

// Registers the family's handlers. They keep their state in `storage`, take
// file times from the clock in `settings` and write listing paths in the
// syntax of the model `modelId`; all three must outlive the engine.
void registerStorage(RemoteApi& engine, StorageState& storage, const SettingsState& settings,
                     const std::uint32_t& modelId);

}  // namespace sim
