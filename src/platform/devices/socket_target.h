#pragma once

#include "platform/devices/scsi_target.h"

namespace devices {

// Connects to the camera a "unix:" or "tcp:" path names; null with `error`
// set (a Win32 error code) when the path is malformed or nobody listens.
std::unique_ptr<ScsiTarget> openSocketTarget(const char* path, std::uint32_t& error);

}  // namespace devices
