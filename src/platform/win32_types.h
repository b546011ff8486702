// The Win32 types and constants the library is written against.
//
// On Windows they come from <windows.h>. Elsewhere this file declares the same
// names with the same meaning and, where the library depends on it, the same
// layout, so that the library code reads identically on both systems.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <mmsystem.h>

#else  // POSIX

#define WINAPI
#define CALLBACK

typedef int BOOL;
typedef std::uint8_t BYTE;
typedef std::uint16_t WORD;
typedef std::uint32_t DWORD;
typedef std::int32_t LONG;
typedef std::uint32_t UINT;
typedef std::uintptr_t ULONG_PTR;
typedef std::size_t SIZE_T;
typedef void* HANDLE;
typedef void* LPVOID;
typedef const void* LPCVOID;
typedef char CHAR;
typedef const char* LPCSTR;
typedef char* LPSTR;
typedef DWORD* LPDWORD;
typedef BYTE* LPBYTE;
typedef DWORD REGSAM;
typedef void* PSID;
typedef void* HLOCAL;
typedef struct HKEY__* HKEY;
typedef HKEY* PHKEY;
typedef struct HWND__* HWND;

#define TRUE 1
#define FALSE 0

#define INVALID_HANDLE_VALUE ((HANDLE)(std::intptr_t)-1)
#define INFINITE 0xFFFFFFFFu

#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu
#define STILL_ACTIVE 259u

#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_ALL 0x10000000u
#define OPEN_EXISTING 3u
#define FILE_FLAG_OVERLAPPED 0x40000000u
#define SYNCHRONIZE 0x00100000u
#define WRITE_DAC 0x00040000u
#define WRITE_OWNER 0x00080000u
#define MUTEX_ALL_ACCESS 0x001F0001u
#define PAGE_READWRITE 0x04u
#define FILE_MAP_WRITE 0x0002u
#define FILE_MAP_READ 0x0004u
#define FILE_MAP_ALL_ACCESS 0x000F001Fu

#define ERROR_SUCCESS 0L
#define ERROR_INVALID_FUNCTION 1L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_GEN_FAILURE 31L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_DEV_NOT_EXIST 55L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_SEM_TIMEOUT 121L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_MORE_DATA 234L
#define ERROR_NOT_OWNER 288L
#define ERROR_MR_MID_NOT_FOUND 317L
#define ERROR_INVALID_ADDRESS 487L
#define ERROR_OPERATION_ABORTED 995L
#define ERROR_IO_INCOMPLETE 996L
#define ERROR_IO_PENDING 997L
#define ERROR_ALLOTTED_SPACE_EXCEEDED 1344L
#define ERROR_TIMEOUT 1460L

#define VER_PLATFORM_WIN32s 0u
#define VER_PLATFORM_WIN32_WINDOWS 1u
#define VER_PLATFORM_WIN32_NT 2u

#define HKEY_LOCAL_MACHINE ((HKEY)(std::uintptr_t)0x80000002u)
#define KEY_QUERY_VALUE 0x0001u
#define REG_DWORD 4u

#define MB_OK 0x00000000u
#define MB_ICONERROR 0x00000010u
#define MB_APPLMODAL 0x00000000u

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u
#define LANG_NEUTRAL 0x00u
#define SUBLANG_DEFAULT 0x01u
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))

#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

#define ACL_REVISION 2u
#define SECURITY_DESCRIPTOR_REVISION 1u
#define SECURITY_WORLD_RID 0x00000000u

#define TIMERR_NOERROR 0u
#define IDOK 1
#define ACCESS_ALLOWED_ACE_TYPE 0u
#define ACCESS_DENIED_ACE_TYPE 1u
#define SE_DACL_PRESENT 0x0004u
#define STATUS_PENDING 0x00000103u

struct SID_IDENTIFIER_AUTHORITY {
    BYTE Value[6];
};
#define SECURITY_WORLD_SID_AUTHORITY \
    {                                \
        {                            \
            0, 0, 0, 0, 0, 1         \
        }                            \
    }

struct ACL {
    BYTE AclRevision;
    BYTE Sbz1;
    WORD AclSize;
    WORD AceCount;
    WORD Sbz2;
};
typedef ACL* PACL;

struct SECURITY_DESCRIPTOR {
    BYTE Revision;
    BYTE Sbz1;
    WORD Control;
    PSID Owner;
    PSID Group;
    PACL Sacl;
    PACL Dacl;
};
typedef void* PSECURITY_DESCRIPTOR;

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
typedef SECURITY_ATTRIBUTES* LPSECURITY_ATTRIBUTES;

struct OVERLAPPED {
    ULONG_PTR Internal;      // completion status of the request
    ULONG_PTR InternalHigh;  // bytes transferred
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
};
typedef OVERLAPPED* LPOVERLAPPED;

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
};
typedef OSVERSIONINFOA* LPOSVERSIONINFOA;
static_assert(sizeof(OSVERSIONINFOA) == 148, "OSVERSIONINFOA is 148 bytes");

// Opaque storage for the POSIX critical section; the implementation places a
// recursive pthread mutex in it.
struct CRITICAL_SECTION {
    alignas(16) unsigned char storage[64];
};
typedef CRITICAL_SECTION* LPCRITICAL_SECTION;

typedef DWORD(WINAPI* LPTHREAD_START_ROUTINE)(LPVOID);

#endif  // _WIN32
