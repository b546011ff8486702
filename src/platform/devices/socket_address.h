// Addresses of cameras served on a socket, written as in port paths:
// "unix:PATH" (a local stream socket) or "tcp:HOST:PORT".
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace devices {

struct SocketAddress {
    enum class Kind { kUnix, kTcp };
    Kind kind = Kind::kUnix;
    std::string path;  // kUnix
    std::string host;  // kTcp: a name or a numeric address; "[::1]" for IPv6
    std::uint16_t port = 0;
};

// Refuses an unknown prefix, an empty path or host, a unix path longer than
// a socket address can hold, and a port that is not 1-65535 in decimal.
std::optional<SocketAddress> parseSocketAddress(const std::string& text);

bool isSocketPath(const char* path);

}  // namespace devices
