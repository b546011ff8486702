#include "sim/byte_source.h"

#include <algorithm>
#include <cstring>

namespace sim {

ByteSource bytesSource(std::vector<std::uint8_t> bytes)
{
    const std::uint64_t length = bytes.size();
    return bytesSource(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes)), length);
}

ByteSource bytesSource(const std::shared_ptr<const std::vector<std::uint8_t>>& bytes,
                       std::uint64_t length)
{
    return {std::min<std::uint64_t>(length, bytes->size()),
            [bytes](std::uint64_t offset, std::uint8_t* out, std::size_t count) {
                if (count != 0) std::memcpy(out, bytes->data() + offset, count);
                return true;
            }};
}

}  // namespace sim
