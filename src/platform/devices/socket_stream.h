// A connected stream socket (local or TCP), closed when the owner goes.
// The only code that knows whether the system's sockets are BSD sockets or
// Winsock.
#pragma once

#include "platform/devices/host_interrupt.h"
#include "platform/devices/socket_address.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace devices {

class SocketStream {
public:
    // Connects; on failure the stream is not open and `error` holds a Win32
    // error code (ERROR_FILE_NOT_FOUND when nobody listens there).
    SocketStream(const SocketAddress& address, std::uint32_t& error);
    ~SocketStream();
    SocketStream(const SocketStream&) = delete;
    SocketStream& operator=(const SocketStream&) = delete;

    bool isOpen() const { return m_socket != kNoSocket; }
    // Both return false when the peer has gone or the stream was shut down,
    // when `deadline` passes before all bytes went or came, and when the host
    // interrupts its waits (see host_interrupt.h). A signal the host handles
    // is no reason to give up.
    bool sendAll(const void* bytes, std::size_t length, Deadline deadline);
    bool receiveAll(void* bytes, std::size_t length, Deadline deadline);
    // Whether bytes (or the end of the stream, or the host's interrupt) are
    // there within `milliseconds`, so that a receive would not wait.
    bool readable(std::uint32_t milliseconds);
    // Copies up to `length` bytes that have arrived without taking them;
    // returns how many (0 when none, or the stream failed).
    std::size_t peek(void* bytes, std::size_t length);
    // Bytes that have arrived and not been received.
    std::size_t arrived();
    // Ends both directions: a blocked send or receive returns at once.
    void shutdown();

private:
    enum class Ready { kReady, kTimedOut, kInterrupted };
    enum Direction { kReadable, kWritable };
    Ready waitReady(Direction direction, int milliseconds);

    using Native = std::intptr_t;
    static constexpr Native kNoSocket = -1;
    Native m_socket = kNoSocket;
    int m_interrupt = -1;  // the host's interrupt fd, or -1
};

}  // namespace devices
