#include "sim/card.h"

namespace sim {

bool Card::read(const CardPath& file, std::size_t limit, std::vector<std::uint8_t>& bytes) const
{
    const ByteSource source = open(file, limit);
    if (!source.read) return false;
    bytes.resize(static_cast<std::size_t>(source.length));
    return bytes.empty() || source.read(0, bytes.data(), bytes.size());
}

}  // namespace sim
