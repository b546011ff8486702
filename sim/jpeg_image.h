// JPEG images for the demo card.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

// A baseline JPEG of a width x height picture whose colours are drawn from
// `seed`: a gradient with a few bands, different for every seed.
std::vector<std::uint8_t> demoJpeg(unsigned width, unsigned height, unsigned seed);

}  // namespace sim
