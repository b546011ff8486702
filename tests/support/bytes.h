// Byte buffers as tests build and read them.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// The little-endian word at a byte offset.
inline std::uint32_t wordAt(const void* bytes, std::size_t offset = 0)
{
    std::uint32_t word = 0;
    std::memcpy(&word, static_cast<const std::uint8_t*>(bytes) + offset, 4);
    return word;
}
