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
#include <sys/ioctl.h>
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
    m_interrupt = hostInterruptFd();
}

SocketStream::~SocketStream()
{
    if (isOpen()) closeNative(native(m_socket));
}

bool SocketStream::sendAll(const void* bytes, std::size_t length, Deadline deadline)
{
    const char* position = static_cast<const char*>(bytes);
    while (length > 0) {
        // A camera that stops taking a write's data holds no one either.
        if (waitReady(kWritable, millisecondsUntil(deadline)) != Ready::kReady) return false;
        const int chunk = length > 0x10000 ? 0x10000 : static_cast<int>(length);
        const auto sent = ::send(native(m_socket), position, chunk, kSendFlags);
        if (sent < 0 && interrupted()) continue;
        if (sent <= 0) return false;
        position += sent;
        length -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool SocketStream::receiveAll(void* bytes, std::size_t length, Deadline deadline)
{
    char* position = static_cast<char*>(bytes);
    while (length > 0) {
        // Every wait for the peer is bounded: a camera that stops in the
        // middle of a reply must not hold the caller past its time-out.
        if (waitReady(kReadable, millisecondsUntil(deadline)) != Ready::kReady) return false;
        const int chunk = length > 0x10000 ? 0x10000 : static_cast<int>(length);
        const auto received = ::recv(native(m_socket), position, chunk, 0);
        if (received < 0 && interrupted()) continue;
        if (received <= 0) return false;
        position += received;
        length -= static_cast<std::size_t>(received);
    }
    return true;
}

bool SocketStream::readable(std::uint32_t milliseconds)
{
    const int limit = milliseconds > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(milliseconds);
    return waitReady(kReadable, limit) != Ready::kTimedOut;
}

SocketStream::Ready SocketStream::waitReady(Direction direction, int milliseconds)
{
#ifdef _WIN32
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(native(m_socket), &ready);
    timeval wait{static_cast<long>(milliseconds / 1000),
                 static_cast<long>(milliseconds % 1000) * 1000};
    fd_set* readSet = direction == kReadable ? &ready : nullptr;
    fd_set* writeSet = direction == kWritable ? &ready : nullptr;
    // An error: let the send or receive say.
    return ::select(0, readSet, writeSet, nullptr, &wait) != 0 ? Ready::kReady : Ready::kTimedOut;
#else
    const short events = direction == kReadable ? POLLIN : POLLOUT;
    pollfd watched[2] = {{native(m_socket), events, 0}, {m_interrupt, POLLIN, 0}};
    const nfds_t count = m_interrupt >= 0 ? 2 : 1;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    int result = 0;
    // A handled signal ends poll() early: wait on for the time that is left.
    while ((result = ::poll(watched, count, milliseconds)) < 0 && interrupted())
        milliseconds = millisecondsUntil(end);
    if (count == 2 && watched[1].revents != 0) return Ready::kInterrupted;
    // An error (result < 0) is for the send or receive to report.
    return result != 0 ? Ready::kReady : Ready::kTimedOut;
#endif
}

std::size_t SocketStream::peek(void* bytes, std::size_t length)
{
#ifdef _WIN32
    const int flags = MSG_PEEK;  // only asked once arrived() says the bytes are there
#else
    const int flags = MSG_PEEK | MSG_DONTWAIT;
#endif
    const auto got =
        ::recv(native(m_socket), static_cast<char*>(bytes), static_cast<int>(length), flags);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

std::size_t SocketStream::arrived()
{
#ifdef _WIN32
    u_long count = 0;
    if (::ioctlsocket(native(m_socket), FIONREAD, &count) != 0) return 0;
#else
    int count = 0;
    if (::ioctl(native(m_socket), FIONREAD, &count) != 0 || count < 0) return 0;
#endif
    return static_cast<std::size_t>(count);
}

void SocketStream::shutdown()
{
    if (isOpen()) ::shutdown(native(m_socket), kShutdownBoth);
}

}  // namespace devices
