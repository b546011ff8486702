#include "platform/devices/socket_stream.h"

#include "platform/win32_types.h"

#include <cstring>
#include <string>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#if __has_include(<afunix.h>)
#include <afunix.h>
#define VKRN_HAVE_AF_UNIX 1
#endif
#else
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#define VKRN_HAVE_AF_UNIX 1
#endif

namespace devices {

namespace {

#ifdef _WIN32
using NativeSocket = SOCKET;
constexpr int kShutdownBoth = SD_BOTH;
void closeNative(NativeSocket socket) { ::closesocket(socket); }
bool startSockets()
{
    // Winsock counts its users: one start per process is enough and is never
    // undone, as the library may be unloaded while a stream is still open.
    static const bool started = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return started;
}
constexpr int kSendFlags = 0;
bool interrupted() { return false; }
#else
using NativeSocket = int;
constexpr int kShutdownBoth = SHUT_RDWR;
void closeNative(NativeSocket socket) { ::close(socket); }
bool startSockets() { return true; }
// A peer that has gone must not kill the host process with SIGPIPE.
constexpr int kSendFlags = MSG_NOSIGNAL;
// A signal handled by the host process is no reason to give up a stream.
bool interrupted() { return errno == EINTR; }
#endif

NativeSocket native(std::intptr_t socket) { return static_cast<NativeSocket>(socket); }

NativeSocket connectUnix(const SocketAddress& address)
{
#if VKRN_HAVE_AF_UNIX
    sockaddr_un peer = {};
    peer.sun_family = AF_UNIX;
    if (address.path.size() >= sizeof(peer.sun_path)) return static_cast<NativeSocket>(-1);
    std::memcpy(peer.sun_path, address.path.c_str(), address.path.size() + 1);
    NativeSocket socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (socket == static_cast<NativeSocket>(-1)) return socket;
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof(peer)) != 0) {
        closeNative(socket);
        return static_cast<NativeSocket>(-1);
    }
    return socket;
#else
    (void)address;
    return static_cast<NativeSocket>(-1);
#endif
}

NativeSocket connectTcp(const SocketAddress& address)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(address.port);
    if (::getaddrinfo(address.host.c_str(), port.c_str(), &hints, &found) != 0)
        return static_cast<NativeSocket>(-1);
    NativeSocket result = static_cast<NativeSocket>(-1);
    for (addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        NativeSocket socket = ::socket(entry->ai_family, entry->ai_socktype, entry->ai_protocol);
        if (socket == static_cast<NativeSocket>(-1)) continue;
        if (::connect(socket, entry->ai_addr, static_cast<int>(entry->ai_addrlen)) == 0) {
            // Commands are small request/reply exchanges: send each at once.
            int on = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on),
                         sizeof(on));
            result = socket;
            break;
        }
        closeNative(socket);
    }
    ::freeaddrinfo(found);
    return result;
}

}  // namespace

SocketStream::SocketStream(const SocketAddress& address, std::uint32_t& error)
{
    error = 0;
    if (!startSockets()) {
        error = ERROR_GEN_FAILURE;
        return;
    }
    NativeSocket socket =
        address.kind == SocketAddress::Kind::kUnix ? connectUnix(address) : connectTcp(address);
    if (socket == static_cast<NativeSocket>(-1)) {
        error = ERROR_FILE_NOT_FOUND;
        return;
    }
    m_socket = static_cast<Native>(socket);
}

SocketStream::~SocketStream()
{
    if (isOpen()) closeNative(native(m_socket));
}

bool SocketStream::sendAll(const void* bytes, std::size_t length)
{
    const char* position = static_cast<const char*>(bytes);
    while (length > 0) {
        const int chunk = length > 0x10000 ? 0x10000 : static_cast<int>(length);
        const auto sent = ::send(native(m_socket), position, chunk, kSendFlags);
        if (sent < 0 && interrupted()) continue;
        if (sent <= 0) return false;
        position += sent;
        length -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool SocketStream::receiveAll(void* bytes, std::size_t length)
{
    char* position = static_cast<char*>(bytes);
    while (length > 0) {
        const int chunk = length > 0x10000 ? 0x10000 : static_cast<int>(length);
        // Waiting for the whole piece in one call saves a call for each part
        // of a reply the peer's system hands over separately.
        const auto received = ::recv(native(m_socket), position, chunk, MSG_WAITALL);
        if (received < 0 && interrupted()) continue;
        if (received <= 0) return false;
        position += received;
        length -= static_cast<std::size_t>(received);
    }
    return true;
}

bool SocketStream::readable(std::uint32_t milliseconds)
{
#ifdef _WIN32
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(native(m_socket), &ready);
    timeval wait{static_cast<long>(milliseconds / 1000),
                 static_cast<long>(milliseconds % 1000) * 1000};
    return ::select(0, &ready, nullptr, nullptr, &wait) != 0;  // an error: let the receive say
#else
    pollfd ready{native(m_socket), POLLIN, 0};
    int result = 0;
    while ((result = ::poll(&ready, 1, static_cast<int>(milliseconds))) < 0 && interrupted()) {
    }
    return result != 0;
#endif
}

void SocketStream::shutdown()
{
    if (isOpen()) ::shutdown(native(m_socket), kShutdownBoth);
}

}  // namespace devices
