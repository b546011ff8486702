// The Windows loader's notifications drive the log's attach and detach.

#include "log/dbg_log.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) { return Dbg_LibraryEntry(reason); }
