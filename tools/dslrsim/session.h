// One host connection: scsi-sock requests in, the camera's answers out.
#pragma once

#include "sim/camera.h"

namespace dslrsim {

// Requests larger than this are refused (the connection is dropped), so that
// a confused peer cannot make the server allocate without bound.
constexpr std::uint32_t kMaxTransfer = 16u << 20;

// Serves the connection until the peer closes it, breaks the protocol, the
// camera leaves the bus, or the socket is shut down. Does not close `fd`.
void serveSession(int fd, sim::Camera& camera);

}  // namespace dslrsim
