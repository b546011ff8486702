// The camera's answers to the connection handshake: connect, device ID, and
// the two negotiation messages.
#pragma once

#include "sim/camera_options.h"
#include "sim/message_port.h"

#include <optional>

namespace sim {

// The reply to a handshake message, or nothing when `request` is not one.
std::optional<Message> answerHandshake(const Message& request, const CameraOptions& options);

}  // namespace sim
