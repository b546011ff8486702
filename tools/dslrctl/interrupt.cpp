#include "interrupt.h"

#include <csignal>
#include <string>

#ifndef _WIN32
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>
#endif

namespace dslrctl {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;
// The write end of the pipe the library watches (VKRN_INTERRUPT_FD): one
// byte ends every wait for the camera at once.
int g_wakeLibrary = -1;

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
#ifndef _WIN32
    if (g_wakeLibrary >= 0) {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = ::write(g_wakeLibrary, &byte, 1);
    }
#endif
}

// Before any port is opened: the library reads the variable at each open.
void shareInterruptWithLibrary()
{
#ifndef _WIN32
    int ends[2];
    if (::pipe(ends) != 0) return;  // Ctrl-C then waits for the command's time-out
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);  // a second signal never blocks in the handler
    ::setenv("VKRN_INTERRUPT_FD", std::to_string(ends[0]).c_str(), 1);
    g_wakeLibrary = ends[1];
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
