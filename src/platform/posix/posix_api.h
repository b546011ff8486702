// The POSIX implementations of the table's operations, one function each.
#pragma once

#include "platform/platform_api.h"
#include "platform/posix/kernel_object.h"

#include <string>

namespace os::posix {

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES,
                          DWORD disposition, DWORD flags, HANDLE templateFile);
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped);
BOOL WINAPI GetOverlappedResult(HANDLE device, LPOVERLAPPED overlapped, LPDWORD transferred,
                                BOOL wait);
BOOL WINAPI CancelIo(HANDLE device);
HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL WINAPI SetEvent(HANDLE event);
BOOL WINAPI ResetEvent(HANDLE event);
HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE start,
                           LPVOID parameter, DWORD flags, LPDWORD threadId);
BOOL WINAPI GetExitCodeThread(HANDLE thread, LPDWORD exitCode);
DWORD WINAPI GetCurrentThreadId();
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
BOOL WINAPI CloseHandle(HANDLE handle);

HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
HANDLE WINAPI OpenMutexA(DWORD access, BOOL inherit, LPCSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);
HANDLE WINAPI CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protect, DWORD sizeHigh,
                                 DWORD sizeLow, LPCSTR name);
LPVOID WINAPI MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T bytes);
BOOL WINAPI UnmapViewOfFile(LPCVOID view);

BOOL WINAPI AllocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD sub0,
                                     DWORD sub1, DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5,
                                     DWORD sub6, DWORD sub7, PSID* sid);
DWORD WINAPI GetLengthSid(PSID sid);
LPVOID WINAPI FreeSid(PSID sid);
BOOL WINAPI InitializeAcl(PACL acl, DWORD length, DWORD revision);
BOOL WINAPI AddAccessDeniedAce(PACL acl, DWORD revision, DWORD mask, PSID sid);
BOOL WINAPI AddAccessAllowedAce(PACL acl, DWORD revision, DWORD mask, PSID sid);
BOOL WINAPI InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
BOOL WINAPI SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl,
                                      BOOL defaulted);
// Whether the attributes carry a descriptor whose list denies everyone the
// right to change the object's security (the named mutex emulates what NT
// does with such a descriptor).
const Api& systemApiTable();

bool DeniesWorldSecurityChanges(const SECURITY_ATTRIBUTES* security);

// Opens a provider's device: "sim:NAME" (the in-process simulated camera
// NAME), "unix:PATH" or "tcp:HOST:PORT" (a camera served by dslrsim).
std::shared_ptr<KernelObject> OpenProviderDevice(const char* path);

// Maps a Win32 object name to a valid, unique POSIX shared-memory name.
std::string SharedMemoryName(const char* kind, const char* win32Name);

}  // namespace os::posix
