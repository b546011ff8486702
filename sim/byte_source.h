// Bytes the camera sends after a reply, read in the pieces the host asks
// for: a data phase is never copied whole, and a file on a host-directory
// card is read range by range, however large it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace sim {

struct ByteSource {
    std::uint64_t length = 0;
    // Copies `count` bytes from `offset` (within the length) to `out`;
    // false when they cannot be had.
    std::function<bool(std::uint64_t offset, std::uint8_t* out, std::size_t count)> read;
};

// A source over bytes in memory, which it keeps.
ByteSource bytesSource(std::vector<std::uint8_t> bytes);
// A source over the first `length` bytes of shared bytes (at most their size).
ByteSource bytesSource(const std::shared_ptr<const std::vector<std::uint8_t>>& bytes,
                       std::uint64_t length);

}  // namespace sim
