// The listening socket and its connections: every connection is served on a
// thread of its own, all of them by the one camera.
#pragma once

#include "platform/devices/socket_address.h"
#include "sim/camera.h"

#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace dslrsim {

class Server {
public:
    enum class Bound { kOk, kInUse, kFailed };

    explicit Server(sim::Camera& camera) : m_camera(camera) {}
    ~Server() { stop(); }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Binds and listens; on failure `error` says why.
    Bound bind(const devices::SocketAddress& address, std::string& error);
    // Accepts connections on a thread of its own until stop().
    void start();
    // Closes the listener and every connection, waits for their threads,
    // and removes the socket file of a local address.
    void stop();

private:
    Bound bindUnix(const std::string& path, std::string& error);
    Bound bindTcp(const devices::SocketAddress& address, std::string& error);
    void acceptLoop();
    void serve(int fd);

    sim::Camera& m_camera;
    int m_listener = -1;
    std::string m_unixPath;
    std::thread m_acceptor;
    std::mutex m_lock;
    std::condition_variable m_ended;
    std::set<int> m_connections;
    bool m_stopping = false;
};

}  // namespace dslrsim
