// Ctrl-C and SIGTERM set a flag and nothing else; transfers and waits look at
// it between blocks and end cleanly (transfer reset, port closed, no partial
// file). The library is never called from the handler.
#pragma once

namespace dslrctl {

void installInterruptHandler();
bool interrupted();

// Thrown where a loop sees the flag; main turns it into exit status 130.
struct Interrupted {};

// Throws Interrupted when the flag is set.
void stopIfInterrupted();

}  // namespace dslrctl
