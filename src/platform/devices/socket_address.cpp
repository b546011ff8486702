#include "platform/devices/socket_address.h"

#include <cstring>

namespace devices {

namespace {

constexpr char kUnixPrefix[] = "unix:";
constexpr char kTcpPrefix[] = "tcp:";
// sun_path holds 108 bytes on Linux and Windows, the terminator included.
constexpr std::size_t kUnixPathMax = 107;

bool startsWith(const std::string& text, const char* prefix)
{
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

std::optional<std::uint16_t> parsePort(const std::string& text)
{
    if (text.empty() || text.size() > 5) return std::nullopt;
    unsigned value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + static_cast<unsigned>(c - '0');
    }
    if (value == 0 || value > 65535) return std::nullopt;
    return static_cast<std::uint16_t>(value);
}

}  // namespace

std::optional<SocketAddress> parseSocketAddress(const std::string& text)
{
    SocketAddress address;
    if (startsWith(text, kUnixPrefix)) {
        address.kind = SocketAddress::Kind::kUnix;
        address.path = text.substr(std::strlen(kUnixPrefix));
        if (address.path.empty() || address.path.size() > kUnixPathMax) return std::nullopt;
        return address;
    }
    if (!startsWith(text, kTcpPrefix)) return std::nullopt;
    address.kind = SocketAddress::Kind::kTcp;
    const std::string rest = text.substr(std::strlen(kTcpPrefix));
    const std::size_t colon = rest.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    address.host = rest.substr(0, colon);
    if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    std::optional<std::uint16_t> port = parsePort(rest.substr(colon + 1));
    if (!port || address.host.empty()) return std::nullopt;
    address.port = *port;
    return address;
}

bool isSocketPath(const char* path)
{
    return path != nullptr && (std::strncmp(path, kUnixPrefix, std::strlen(kUnixPrefix)) == 0 ||
                               std::strncmp(path, kTcpPrefix, std::strlen(kTcpPrefix)) == 0);
}

}  // namespace devices
