#pragma once

#include "platform/devices/scsi_target.h"

#include <string>

namespace devices {

// "/dev/sgN": a SCSI device through Linux SCSI generic (a camera on IEEE 1394
// appears there through the kernel's SBP-2 driver). Elsewhere no path is one.
bool isSgPath(const char* path);
// Opens the node for this handle alone; null with `error` set (a Win32 error
// code) when it cannot be had.
std::unique_ptr<ScsiTarget> openSgTarget(const char* path, std::uint32_t& error);
// What a person must do when the node refuses them: which group may use it.
std::string sgAccessHelp(const std::string& path, const std::string& group);

}  // namespace devices
