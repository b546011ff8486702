// Ctrl-C and SIGTERM set a flag. Transfers and waits look at it between
// blocks and end cleanly (transfer reset, port closed, no partial file). A
// command still blocked on a silent camera a moment later is ended by force:
// a watcher thread writes to the pipe the library watches
// (VKRN_INTERRUPT_FD), and the command fails as a lost device. The library
// is never called from the handler.
#pragma once

namespace dslrctl {

void installInterruptHandler();
bool interrupted();

// Thrown where a loop sees the flag; main turns it into exit status 130.
struct Interrupted {};

// Throws Interrupted when the flag is set.
void stopIfInterrupted();

}  // namespace dslrctl
