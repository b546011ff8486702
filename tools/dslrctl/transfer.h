// File transfers between the camera and the host. A download goes to a
// temporary name beside its target and is placed only once complete, with
// the camera's file time, and never over a file that is there unless the
// rules say so; a failure or Ctrl-C removes it and resets the camera's
// transfer, so no partial file is ever left.
#pragma once

#include "camera.h"
#include "local_files.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

namespace dslrctl {

class Output;
struct Job;

// Asks the camera for the data (baseGetFile, baseReleaseControlGetReleasedData)
// and returns the announced length.
using Announce = std::function<std::uint32_t()>;

struct SaveRules {
    Existing existing = Existing::Ask;
    // A picture that exists nowhere else (held by the camera for the
    // computer): when it cannot be saved at its target, it is saved under a
    // free name in the current directory, then in $TMPDIR, rather than lost.
    bool rescue = false;
};

struct Saved {
    std::string path;         // where the file is; empty when skipped
    std::uint64_t bytes = 0;
    bool skipped = false;     // a file of that name was there and was left
    std::string problem;      // a rescued picture: why it is not at its target
};

// Downloads into `target`, setting its time to `time` (UTC) when not 0.
// Throws CameraError, LocalError (with the path and the system's reason) or
// Interrupted. `job` adds the whole job's progress to the display.
Saved download(const Camera& camera, const Output& output, const Announce& announce,
               const std::string& target, std::time_t time, const SaveRules& rules,
               const Job* job = nullptr);

// Uploads the host file `source` to the camera path `destination` in blocks.
// A transfer cut off after its first block removes the partial file from the
// camera and says so, or says that it may be left there.
std::uint64_t upload(const Camera& camera, const Output& output, const std::string& source,
                     const std::string& destination);

}  // namespace dslrctl
