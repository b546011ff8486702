// Who the simulated camera says it is, and how it answers a connect request.
#pragma once

#include <cstdint>

namespace sim {

struct CameraOptions {
    std::uint32_t modelId = 0x80000402;
    std::uint32_t blockSize = 0xFF00;
    std::uint32_t deviceId = 0x00000001;
    std::uint32_t connectAnswer = 0;  // 0 SUCCESS, 1 ALREADY, 2 FAILED, 3 WAIT
};

}  // namespace sim
