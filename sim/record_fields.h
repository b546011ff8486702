// Fields of the camera's records and messages. Both ends of the link are
// little-endian, so a field is read and written in the host's byte order; a
// field that does not lie wholly inside the bytes reads as 0, as a camera
// reads the zeros past a short request.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace sim {

template <typename T>
T fieldAt(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    T value{};
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof(T))
        std::memcpy(&value, bytes.data() + offset, sizeof(T));
    return value;
}

template <typename T>
void appendField(std::vector<std::uint8_t>& bytes, T value)
{
    const auto* raw = reinterpret_cast<const std::uint8_t*>(&value);
    bytes.insert(bytes.end(), raw, raw + sizeof(T));
}

inline std::uint32_t wordAt(const std::vector<std::uint8_t>& bytes, std::size_t offset)
{
    return fieldAt<std::uint32_t>(bytes, offset);
}

inline void putWord(std::vector<std::uint8_t>& bytes, std::uint32_t value)
{
    appendField(bytes, value);
}

}  // namespace sim
