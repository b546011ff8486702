// Ctrl-C and SIGTERM set a flag and write one byte to the pipe the library
// watches (VKRN_INTERRUPT_FD), so that a command blocked on a silent camera
// ends at once as a lost device. Transfers and waits look at the flag between
// blocks and end cleanly (port closed, no partial file). The library is never
// called from the handler.
#pragma once

namespace dslrctl {

void installInterruptHandler();
bool interrupted();

// Thrown where a loop sees the flag; main turns it into exit status 130.
struct Interrupted {};

// Throws Interrupted when the flag is set.
void stopIfInterrupted();

}  // namespace dslrctl
