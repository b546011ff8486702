// The host's way to end every wait for a camera at once (Ctrl-C in a
// command-line tool), without a new export and without the library touching
// the host's signal handling.
//
// The host names, in the environment variable VKRN_INTERRUPT_FD, the read end
// of a pipe (or one end of a socket pair) it owns. Writing one byte to the
// other end is async-signal-safe, so the host's signal handler may do it.
// From then on the fd stays readable: every device wait that is running ends
// at once and every later one fails at once, as a lost device does (the
// library answers no-device). The host is on its way out; nothing resets it.
//
// The variable is read when a port is opened; an fd that is not a pipe or a
// socket is ignored, so a stray variable inherited by another program does
// nothing.
#pragma once

#include <chrono>
#include <cstdint>

namespace devices {

// The host's interrupt fd, or -1 when there is none (always -1 on Windows).
int hostInterruptFd();

// A point in time a wait for a device must not pass.
using Deadline = std::chrono::steady_clock::time_point;

// The deadline of a command that carries `timeoutMs` (0: none set, the
// driver's default applies), started now: the time-out plus a small margin,
// so that the caller's own wait of the same length ends first and the
// target's stops just after it.
Deadline commandDeadline(std::uint32_t timeoutMs);

// Milliseconds left until `deadline` (0 once passed), at most INT_MAX.
int millisecondsUntil(Deadline deadline);

}  // namespace devices
