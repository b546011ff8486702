// Ranges of a host file read as they are asked for, the file kept open in
// between: one system call for a range where the system has a positioned
// read, so that a file served block by block costs no seek per block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>

namespace sim {

// Copies `count` bytes from `offset` to `out`; false when the file no
// longer has them.
using RangeReader = std::function<bool(std::uint64_t offset, std::uint8_t* out, std::size_t count)>;

// A reader of the file at `path`, or an empty one when it cannot be opened.
// The file is closed when the last copy of the reader goes.
RangeReader openFileRanges(const std::filesystem::path& path);

}  // namespace sim
