// File transfers between the camera and the host. A download goes to a
// temporary name beside its target and is renamed only once complete, with
// the camera's file time; a failure or Ctrl-C removes it and resets the
// camera's transfer, so no partial file is ever left.
#pragma once

#include "camera.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

namespace dslrctl {

class Output;

// Asks the camera for the data (baseGetFile, baseReleaseControlGetReleasedData)
// and returns the announced length.
using Announce = std::function<std::uint32_t()>;

// Downloads into `target`, setting its time to `time` (UTC) when not 0.
// Returns the number of bytes written.
std::uint64_t download(const Camera& camera, const Output& output, const Announce& announce,
                       const std::string& target, std::time_t time);

// Uploads the host file `source` to the camera path `destination` in blocks.
std::uint64_t upload(const Camera& camera, const Output& output, const std::string& source,
                     const std::string& destination);

}  // namespace dslrctl
