// The pictures the camera holds: JPEG images for the demo card and for
// releases, and RAW files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

// A baseline JPEG of a width x height picture whose colours are drawn from
// `seed`: a gradient with a few bands, different for every seed.
std::vector<std::uint8_t> demoJpeg(unsigned width, unsigned height, unsigned seed);

// A RAW file of the sensor's 3072x2048 photosites, one byte each, after a
// short header: sensor-like noise drawn from `seed`. Every one is
// kRawImageSize bytes.
constexpr std::size_t kRawImageSize = std::size_t{3072} * 2048;
std::vector<std::uint8_t> rawImage(unsigned seed);

}  // namespace sim
