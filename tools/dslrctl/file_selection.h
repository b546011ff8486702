// Which camera files a command works on: the paths as given, wildcards
// ("ATA01:/DCIM/*/IMG_*.JPG") and file numbers ("1-3,7", as ls -n shows them).
#pragma once

#include "camera.h"
#include "command_line.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace dslrctl {

// Every file of every volume in listing order: file number N is element N-1.
std::vector<Entry> numberedFiles(const Camera& camera);
// The number of each file by its shown path ("ATA01:/DCIM/100VELOR/IMG_0001.JPG").
std::map<std::string, std::size_t> fileNumbers(const Camera& camera);
// "1-3,7" as {1, 2, 3, 7}; UsageError for anything else.
std::vector<std::size_t> parseNumbers(const std::string& text);
// `*` and `?` within one part of the path, letters in either case.
bool wildcardMatch(const std::string& pattern, const std::string& text);
// The paths the user means: each given path, or the files its wildcards
// match, then the files -p numbers. UsageError for a pattern or number that
// names no file.
std::vector<std::string> selectedPaths(const Camera& camera, const Options& options);

}  // namespace dslrctl
