#include "interrupt.h"

#include <csignal>

namespace dslrctl {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void onInterrupt(int)
{
    g_interrupted = 1;
}

}  // namespace

void installInterruptHandler()
{
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
}

bool interrupted() { return g_interrupted != 0; }

void stopIfInterrupted()
{
    if (interrupted()) throw Interrupted{};
}

}  // namespace dslrctl
