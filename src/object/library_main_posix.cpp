// Load and unload of the shared library stand in for the Windows loader's
// process attach and detach. Linux reports no thread attach or detach, so
// those records are never written here.

#include "log/dbg_log.h"

namespace {

__attribute__((constructor)) void libraryLoaded() { Dbg_LibraryEntry(DLL_PROCESS_ATTACH); }
__attribute__((destructor)) void libraryUnloaded() { Dbg_LibraryEntry(DLL_PROCESS_DETACH); }

}  // namespace
