// JPEG images for the demo card, encoded with libjpeg where the build has it.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

// A baseline JPEG of a width x height picture whose colours are drawn from
// `seed`: a gradient with a few bands, different for every seed. Builds
// without libjpeg (the Windows cross builds) return one fixed 16 x 16
// baseline JPEG instead, which any viewer still opens.
std::vector<std::uint8_t> demoJpeg(unsigned width, unsigned height, unsigned seed);

}  // namespace sim
