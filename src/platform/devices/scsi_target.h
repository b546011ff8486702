// A device that runs SCSI commands one at a time, synchronously: the
// in-process simulated camera or a camera on a socket. The asynchronous
// device in front of it turns this into the overlapped model of the
// still-image driver.
#pragma once

#include <cstdint>
#include <memory>

namespace devices {

enum class DataDirection : std::uint8_t { kNone = 0, kIn = 1, kOut = 2 };

struct ScsiCommand {
    const std::uint8_t* cdb = nullptr;
    std::uint8_t cdbLength = 0;
    DataDirection direction = DataDirection::kNone;
    std::uint32_t length = 0;
    std::uint32_t timeoutMs = 0;   // the driver's command time-out, 0 = none set
    std::uint8_t senseLength = 0;  // sense bytes the caller can take
};

enum class Completion {
    kDone,        // completed: status and count are valid
    kNever,       // the device will never answer this command
    kDeviceLost,  // the device is gone; so are all later commands
};

struct ScsiOutcome {
    std::uint8_t srbStatus = 0;
    std::uint32_t transferred = 0;
    std::uint8_t senseLength = 0;  // sense bytes written to the sense buffer
    Completion completion = Completion::kDone;
};

class ScsiTarget {
public:
    virtual ~ScsiTarget() = default;
    // One command at a time, in two halves, so that the caller's thread can
    // run it when the device answers quickly and leave the wait to a worker
    // when not. start() hands the command over (the data of a write is taken
    // then); answerWithin() says whether its answer is there within the time
    // given; finish() takes the answer into `buffer` (command.length bytes:
    // the data to write or the space to read into) and `sense`
    // (command.senseLength bytes), waiting as long as the device takes. A
    // target that cannot split a command runs it all in finish(), and its
    // answer is never said to be there at once.
    virtual void start(const ScsiCommand& command, const std::uint8_t* buffer)
    {
        (void)command;
        (void)buffer;
    }
    virtual bool answerWithin(std::uint32_t milliseconds)
    {
        (void)milliseconds;
        return false;
    }
    virtual ScsiOutcome finish(const ScsiCommand& command, std::uint8_t* buffer,
                               std::uint8_t* sense) = 0;
    // Makes a blocked finish() return soon (as a lost device); used when the
    // handle is closed. Later calls may fail at once.
    virtual void interrupt() {}
    // The running command was cancelled by its caller: a target whose
    // answer can no longer be taken in full ends its finish() soon (as a
    // lost device); others let it run to its own end. Called from another
    // thread than finish().
    virtual void abandon() {}
};

// The target a provider port path names, or null with `error` set to a
// Win32 error code: "sim:NAME", "unix:PATH", "tcp:HOST:PORT", "/dev/sgN".
std::unique_ptr<ScsiTarget> openScsiTarget(const char* path, std::uint32_t& error);
// Whether a provider of this file serves the path.
bool isProviderPath(const char* path);

}  // namespace devices
