// Faults a test scripts into the simulated camera: what the next commands
// answer instead of their normal result. Each fault is used up by one command.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>

namespace sim {

// What becomes of a command besides its SRB status and byte count.
enum class Disposition {
    kComplete,    // the command completes normally
    kSilent,      // the camera never answers it (a hung device)
    kDeviceLost,  // the camera has left the bus
};

constexpr std::uint8_t kAnyCommand = 0;
constexpr std::uint32_t kAllBytes = 0xFFFFFFFFu;

struct CommandFault {
    // The operation code this fault waits for; kAnyCommand takes the next command.
    std::uint8_t opcode = kAnyCommand;
    // The SRB status the command completes with.
    std::uint8_t srbStatus = 0x01;
    // Bytes the command moves at most. 0 means the camera does not perform
    // the command at all (nothing written is kept, nothing read is consumed).
    std::uint32_t maxBytes = kAllBytes;
    Disposition disposition = Disposition::kComplete;
};

// First-in first-out: the oldest fault that matches a command's operation
// code is the one it uses.
class FaultScript {
public:
    void add(const CommandFault& fault) { m_faults.push_back(fault); }
    void clear() { m_faults.clear(); }
    std::size_t pending() const { return m_faults.size(); }

    std::optional<CommandFault> take(std::uint8_t opcode)
    {
        for (auto it = m_faults.begin(); it != m_faults.end(); ++it) {
            if (it->opcode == kAnyCommand || it->opcode == opcode) {
                CommandFault fault = *it;
                m_faults.erase(it);
                return fault;
            }
        }
        return std::nullopt;
    }

private:
    std::deque<CommandFault> m_faults;
};

}  // namespace sim
