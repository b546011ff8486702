#include "sim/byte_source.h"

#include <cstring>

namespace sim {

ByteSource bytesSource(std::vector<std::uint8_t> bytes)
{
    auto kept = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    return {kept->size(), [kept](std::uint64_t offset, std::uint8_t* out, std::size_t count) {
                if (count != 0) std::memcpy(out, kept->data() + offset, count);
                return true;
            }};
}

}  // namespace sim
