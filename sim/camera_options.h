// Who the simulated camera says it is, how it answers a connect request, and
// how fast its link is.
#pragma once

#include "sim/link_model.h"

#include <cstdint>

namespace sim {

// The models whose record layouts differ: the camera the library serves and
// a sibling sharing some of its newer layouts. Any other ID is an older camera.
constexpr std::uint32_t kModelQ402 = 0x80000402;
constexpr std::uint32_t kModelQ611 = 0x80000611;

struct CameraOptions {
    std::uint32_t modelId = kModelQ402;
    std::uint32_t blockSize = 0xFF00;
    std::uint32_t deviceId = 0x00000001;
    std::uint32_t connectAnswer = 0;  // 0 SUCCESS, 1 ALREADY, 2 FAILED, 3 WAIT
    LinkModel link = LinkModel::kInstant;
    // Whether the camera keeps a record of what the host sent (commands,
    // messages, Remote API requests) for the control API. A camera that
    // serves other processes for hours turns this off: nothing reads the
    // records there, and they would grow with every command.
    bool keepRecords = true;
};

}  // namespace sim
