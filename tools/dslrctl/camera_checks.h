// What dslrctl checks of the camera's words where the library passes them on
// as they came: a camera that lies must not decide where the host writes,
// nor have a file saved at a length it did not list, nor have a malformed
// event shown as an event.
#pragma once

#include "camera.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace dslrctl {

// The host file for the camera path `path` ("ATA01:\DCIM\X.JPG") under
// `directory`: DIRECTORY/VOLUME/FOLDERS/NAME. Nothing when a part of the
// camera's name could place it elsewhere: an empty volume, ".", "..", an
// absolute part, a backslash or colon left in a part, a NUL.
std::optional<std::filesystem::path> hostPathUnder(const std::filesystem::path& directory,
                                                   const std::string& path);

// Throws when the length the camera announced for a download differs from
// the size it gave before (listing, image event): the file is failed, and
// the camera's transfer is reset so that the next command starts clean.
void checkAnnouncedLength(const Camera& camera, const std::string& what, std::uint32_t announced,
                          std::uint64_t expected);

// The camera's event area is 64 bytes, 12 of them the record's head.
constexpr std::size_t kLongestEventParameters = 64 - 12;

// Throws when a listing is announced longer than any card's can be (a
// record per entry of at most 10 bytes and a path: 64 MiB hold well over a
// million entries), before anything is allocated for it.
void checkListingLength(const Camera& camera, std::uint32_t announced);

// Whether an event's parameters have the size and values its ID calls for.
bool wellFormedEvent(const CameraEvent& event);

}  // namespace dslrctl
