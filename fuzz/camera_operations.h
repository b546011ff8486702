// Whole operations of a host against the in-process camera, through the
// object's slots, as dslrctl and host programs run them: for the fuzz target
// that spoils their replies and for the recorder of honest traffic.
#pragma once

#include "VKRNQ402.h"

#include <cstdint>
#include <string>

namespace fuzzing {

enum class Operation : std::uint8_t { kInfo, kGetAll, kCapture, kEvents, kSettings, kCount };

const char* operationName(Operation operation);

// Opens the port `port` ("sim:NAME"), connects, runs the operation and
// closes everything again, whatever the camera answers. Nothing the camera
// says sizes an allocation here beyond a fixed bound.
void runOperation(const std::string& port, Operation operation);

}  // namespace fuzzing
