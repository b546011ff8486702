// Diagnostic log: leveled trace records, hex dumps and system error texts,
// selected by the debug flag word.
#pragma once

#include "platform/win32_types.h"

#include <cstdint>

// Module tags passed as the first argument of every log call.
#define DBG_TAG_VKRN "[VKRN]"
#define DBG_TAG_DSCS "[DSCS]"
#define DBG_TAG_SSCM "[SSCM]"

// Record levels.
enum DbgLevel : std::uint32_t {
    DBG_ATTACH = 0,
    DBG_THREAD_ATTACH = 1,
    DBG_ERROR = 2,
    DBG_ERRTEXT = 3,
    DBG_ENTRY = 4,
    DBG_EXIT = 5,
    DBG_SYSCALL = 6,
    DBG_DATALEN = 7,
    DBG_CHECK = 8,
    DBG_VALUE = 9,
    DBG_TIME = 10,
    DBG_DATA = 11,
    DBG_EVENT = 12,
    DBG_DUMPHEAD = 13,
    DBG_DUMPBODY = 14,
    DBG_DETAIL = 15,
};

// Bits of the debug flag word that switch behaviour rather than logging.
enum DbgFlag : std::uint32_t {
    DBGFLAG_HOLD_NOTIFY_THREADS = 0x80000000u,
    DBGFLAG_NO_POLLING_THREAD = 0x40000000u,
    DBGFLAG_NOTIFY_ON_CONNECT = 0x20000000u,
    DBGFLAG_NO_READ_NODEVICE = 0x10000000u,
    DBGFLAG_LONG_DUMPS = 0x08000000u,
    DBGFLAG_CANNED_FUNCTION_INFO = 0x04000000u,
    DBGFLAG_MASKED_RAPI_VERSION = 0x02000000u,
    DBGFLAG_RECORD_RANGE_CHECKS = 0x00800000u,
    DBGFLAG_CANNED_ANSWERS = 0x00400000u,
    DBGFLAG_RENAME_ATA02 = 0x00200000u,
    DBGFLAG_READ12_BLOCKWISE = 0x00100000u,
    DBGFLAG_READ12 = 0x00020000u,
    DBGFLAG_EXTRA_TIMING = 0x00010000u,
};

// Library load notifications (the values of the Windows loader).
#ifndef DLL_PROCESS_ATTACH
#define DLL_PROCESS_DETACH 0u
#define DLL_PROCESS_ATTACH 1u
#define DLL_THREAD_ATTACH 2u
#define DLL_THREAD_DETACH 3u
#endif

#if defined(__GNUC__)
#define DBG_PRINTF_FORMAT __attribute__((format(printf, 3, 4)))
#else
#define DBG_PRINTF_FORMAT
#endif

void Dbg_Printf(const char* tag, std::uint32_t level, const char* format, ...) DBG_PRINTF_FORMAT;
void Dbg_Dump(const char* tag, const char* title, const void* data, std::uint32_t length);
void Dbg_PrintErrorString(const char* tag, DWORD errorCode);
std::uint32_t Dbg_GetLogLevel();

// The library's load handling: writes the attach and detach records, opening
// the log file at process attach and closing it at process detach. Always
// succeeds. Called by DllMain on Windows and by the shared library's
// constructor and destructor elsewhere.
BOOL Dbg_LibraryEntry(DWORD reason);

// For tests only: replace the cached flag word (as if the registry had been
// read), or forget it so that the next call reads the registry again. The
// product reads the registry once per process.
void Dbg_SetLogLevelForTest(std::uint32_t flags);
void Dbg_ResetLogLevelForTest();

// Log texts of the SCSI layers begin with five spaces.
#define SSCM_TEXT(text) "     " text

// A handle or pointer as the unsigned long that "%lx" expects.
inline unsigned long Dbg_Handle(const void* handle)
{
    return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(handle));
}
