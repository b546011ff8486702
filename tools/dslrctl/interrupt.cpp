#include "interrupt.h"

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#ifndef _WIN32
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>
#endif

namespace dslrctl {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;
#ifndef _WIN32
// The handler's only other act: one byte to the watcher below.
int g_wakeWatcher = -1;
#endif

// A transfer that is moving sees the flag between blocks and ends cleanly,
// with the camera told (transfer reset). Only a command still blocked after
// this long is ended by force.
constexpr auto kGraceForCleanEnd = std::chrono::milliseconds(300);

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
#ifndef _WIN32
    if (g_wakeWatcher >= 0) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = ::write(g_wakeWatcher, &byte, 1);
    }
#endif
}

#ifndef _WIN32
bool closeOnExecPipe(int (&ends)[2])
{
    if (::pipe(ends) != 0) return false;
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);  // a second signal never blocks in the handler
    return true;
}
#endif

// Before any port is opened (the library reads the variable at each open):
// the pipe the library watches (VKRN_INTERRUPT_FD), written by a watcher
// thread the grace after the signal. Without it Ctrl-C waits for the
// command's time-out.
void shareInterruptWithLibrary()
{
#ifndef _WIN32
    int library[2];
    int watcher[2];
    if (!closeOnExecPipe(library)) return;
    if (!closeOnExecPipe(watcher)) return;
    ::setenv("VKRN_INTERRUPT_FD", std::to_string(library[0]).c_str(), 1);
    g_wakeWatcher = watcher[1];
    std::thread([signalled = watcher[0], wakeLibrary = library[1]] {
        char byte = 0;
        while (::read(signalled, &byte, 1) < 0) {
        }
        std::this_thread::sleep_for(kGraceForCleanEnd);
        [[maybe_unused]] const ssize_t written = ::write(wakeLibrary, &byte, 1);
    }).detach();
#endif
}

}  // namespace

void installInterruptHandler()
{
    shareInterruptWithLibrary();
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
}

bool interrupted() { return g_interrupted != 0; }

void stopIfInterrupted()
{
    if (interrupted()) throw Interrupted{};
}

}  // namespace dslrctl
