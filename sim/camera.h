// The simulated camera: the device's side of the SCSI pass-through and of
// the message channel. It assembles messages written to it in any number of
// blocks, answers the connection handshake, serves replies to reads, and
// answers REQUEST SENSE. Thread-safe: every handle of a process reaches the
// same camera, and commands may come from several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

struct CameraOptions {
    std::uint32_t modelId = 0x80000402;
    std::uint32_t blockSize = 0xFF00;
    std::uint32_t deviceId = 0x00000001;
    std::uint32_t connectAnswer = 0;  // 0 SUCCESS, 1 ALREADY, 2 FAILED, 3 WAIT
};

// What one SCSI command did: the driver's SRB status and the bytes moved.
struct CommandResult {
    std::uint8_t srbStatus;
    std::uint32_t transferred;
};

// A command as the camera received it, for tests to inspect.
struct ReceivedCommand {
    std::vector<std::uint8_t> cdb;
    std::uint32_t length;
};

class Camera {
public:
    explicit Camera(CameraOptions options = {});

    // Runs one command. `data` is the host's buffer of `length` bytes: the
    // source of a write, the destination of a read.
    CommandResult execute(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                          std::uint32_t length);

    // Changes the camera's identity and answers for the next connection.
    void configure(const CameraOptions& options);

    std::vector<ReceivedCommand> received() const;
    // The message types the host sent, in order.
    std::vector<std::uint32_t> messagesReceived() const;

private:
    CommandResult write(const std::uint8_t* data, std::uint32_t length);
    CommandResult read(std::uint8_t* data, std::uint32_t length);
    CommandResult requestSense(std::uint8_t* data, std::uint32_t length);
    void answer(std::uint32_t type, const std::vector<std::uint8_t>& payload);
    void reply(std::uint32_t type, std::initializer_list<std::uint32_t> words);

    CameraOptions m_options;
    mutable std::mutex m_lock;
    std::vector<std::uint8_t> m_incoming;  // a message still being written
    std::vector<std::uint8_t> m_outgoing;  // the reply waiting to be read
    std::vector<ReceivedCommand> m_received;
    std::vector<std::uint32_t> m_messages;
};

// The camera of one name in this process, created on first use: every
// handle of "sim:NAME" reaches it.
std::shared_ptr<Camera> cameraNamed(const std::string& name);

}  // namespace sim
