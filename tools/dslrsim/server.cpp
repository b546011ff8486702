#include "tools/dslrsim/server.h"

#include "tools/dslrsim/session.h"

#include <cerrno>
#include <cstring>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace dslrsim {

namespace {

sockaddr_un unixAddress(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);  // length checked by the parser
    return address;
}

// Whether a server is answering on the local socket at `path`.
bool someoneListens(const std::string& path)
{
    const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = unixAddress(path);
    const bool answered =
        ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(probe);
    return answered;
}

}  // namespace

Server::Bound Server::bind(const devices::SocketAddress& address, std::string& error)
{
    return address.kind == devices::SocketAddress::Kind::kUnix ? bindUnix(address.path, error)
                                                               : bindTcp(address, error);
}

Server::Bound Server::bindUnix(const std::string& path, std::string& error)
{
    struct stat existing;
    if (::lstat(path.c_str(), &existing) == 0) {
        if (!S_ISSOCK(existing.st_mode)) {
            error = path + " exists and is not a socket";
            return Bound::kFailed;
        }
        if (someoneListens(path)) {
            error = "address in use: another server listens on " + path;
            return Bound::kInUse;
        }
        ::unlink(path.c_str());  // left behind by a server that died
    }
    m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = unixAddress(path);
    if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(m_listener, 16) != 0) {
        const int reason = errno;
        error = "cannot listen on " + path + ": " + std::strerror(reason);
        return reason == EADDRINUSE ? Bound::kInUse : Bound::kFailed;
    }
    m_unixPath = path;
    return Bound::kOk;
}

Server::Bound Server::bindTcp(const devices::SocketAddress& address, std::string& error)
{
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo* found = nullptr;
    const std::string port = std::to_string(address.port);
    if (const int failed = ::getaddrinfo(address.host.c_str(), port.c_str(), &hints, &found)) {
        error = "cannot resolve " + address.host + ": " + ::gai_strerror(failed);
        return Bound::kFailed;
    }
    int reason = 0;
    for (addrinfo* entry = found; entry != nullptr && m_listener < 0; entry = entry->ai_next) {
        const int fd = ::socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC, 0);
        const int on = 1;
        ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));  // quick restarts
        if (::bind(fd, entry->ai_addr, entry->ai_addrlen) == 0 && ::listen(fd, 16) == 0) {
            m_listener = fd;
        } else {
            reason = errno;
            ::close(fd);
        }
    }
    ::freeaddrinfo(found);
    if (m_listener >= 0) return Bound::kOk;
    error = "cannot listen on " + address.host + ":" + port + ": " + std::strerror(reason);
    return reason == EADDRINUSE ? Bound::kInUse : Bound::kFailed;
}

void Server::start()
{
    m_acceptor = std::thread([this] { acceptLoop(); });
}

void Server::acceptLoop()
{
    for (;;) {
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_stopping) {
            if (fd >= 0) ::close(fd);
            return;
        }
        if (fd < 0) continue;  // a connection that went before it was taken
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));  // fails harmlessly on unix
        m_connections.insert(fd);
        std::thread([this, fd] { serve(fd); }).detach();
    }
}

void Server::serve(int fd)
{
    serveSession(fd, m_camera);
    std::lock_guard<std::mutex> guard(m_lock);
    m_connections.erase(fd);
    ::close(fd);
    m_ended.notify_all();
}

void Server::stop()
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (m_listener < 0 || m_stopping) return;
        m_stopping = true;
        ::shutdown(m_listener, SHUT_RDWR);  // wakes the acceptor
    }
    if (m_acceptor.joinable()) m_acceptor.join();
    std::unique_lock<std::mutex> lock(m_lock);
    for (int fd : m_connections) ::shutdown(fd, SHUT_RDWR);
    m_ended.wait(lock, [this] { return m_connections.empty(); });
    ::close(m_listener);
    if (!m_unixPath.empty()) ::unlink(m_unixPath.c_str());
}

}  // namespace dslrsim
