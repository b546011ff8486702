#pragma once

#include "platform/devices/scsi_target.h"

#include <string>

namespace devices {

std::unique_ptr<ScsiTarget> openSimTarget(const std::string& name);

}  // namespace devices
