// The operating system as one table of operations.
//
// The library is written against a subset of Win32. Every call it makes to the
// system goes through `os::api()`: on Windows the table forwards to the real
// API, on POSIX systems to our own implementation of the same subset. Tests
// replace single entries to inject faults (a failing allocation, CreateMutexA,
// MapViewOfFile, a wait that times out) or to run the clock fast.
//
// The library calls the operations as `os::CreateMutexA(...)`, so that each
// function reads like the Win32 code it stands for.
#pragma once

#include "platform/win32_types.h"

#include <cstdarg>

namespace os {

struct Api {
    // Memory. Every allocation of the library goes through these.
    void* (*Malloc)(std::size_t size);
    void* (*Calloc)(std::size_t count, std::size_t size);
    void (*Free)(void* block);

    // Errors and handles.
    DWORD(WINAPI* GetLastError)();
    void(WINAPI* SetLastError)(DWORD error);
    BOOL(WINAPI* CloseHandle)(HANDLE handle);

    // Files and devices.
    HANDLE(WINAPI* CreateFileA)
    (LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
     DWORD flags, HANDLE templateFile);
    BOOL(WINAPI* DeviceIoControl)
    (HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
     LPDWORD returned, LPOVERLAPPED overlapped);
    BOOL(WINAPI* GetOverlappedResult)
    (HANDLE device, LPOVERLAPPED overlapped, LPDWORD transferred, BOOL wait);
    BOOL(WINAPI* CancelIo)(HANDLE device);

    // Events, mutexes and waits.
    HANDLE(WINAPI* CreateEventA)
    (LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCSTR name);
    BOOL(WINAPI* SetEvent)(HANDLE event);
    BOOL(WINAPI* ResetEvent)(HANDLE event);
    HANDLE(WINAPI* CreateMutexA)(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
    HANDLE(WINAPI* OpenMutexA)(DWORD access, BOOL inherit, LPCSTR name);
    BOOL(WINAPI* ReleaseMutex)(HANDLE mutex);
    DWORD(WINAPI* WaitForSingleObject)(HANDLE handle, DWORD milliseconds);

    // Critical sections.
    void(WINAPI* InitializeCriticalSection)(LPCRITICAL_SECTION section);
    void(WINAPI* EnterCriticalSection)(LPCRITICAL_SECTION section);
    void(WINAPI* LeaveCriticalSection)(LPCRITICAL_SECTION section);
    void(WINAPI* DeleteCriticalSection)(LPCRITICAL_SECTION section);

    // Named shared memory.
    HANDLE(WINAPI* CreateFileMappingA)
    (HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protect, DWORD sizeHigh, DWORD sizeLow,
     LPCSTR name);
    LPVOID(WINAPI* MapViewOfFile)
    (HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
    BOOL(WINAPI* UnmapViewOfFile)(LPCVOID view);

    // Security descriptors of named objects.
    BOOL(WINAPI* AllocateAndInitializeSid)
    (SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD sub0, DWORD sub1, DWORD sub2,
     DWORD sub3, DWORD sub4, DWORD sub5, DWORD sub6, DWORD sub7, PSID* sid);
    DWORD(WINAPI* GetLengthSid)(PSID sid);
    LPVOID(WINAPI* FreeSid)(PSID sid);
    BOOL(WINAPI* InitializeAcl)(PACL acl, DWORD length, DWORD revision);
    BOOL(WINAPI* AddAccessDeniedAce)(PACL acl, DWORD revision, DWORD mask, PSID sid);
    BOOL(WINAPI* AddAccessAllowedAce)(PACL acl, DWORD revision, DWORD mask, PSID sid);
    BOOL(WINAPI* InitializeSecurityDescriptor)(PSECURITY_DESCRIPTOR descriptor, DWORD revision);
    BOOL(WINAPI* SetSecurityDescriptorDacl)
    (PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl, BOOL defaulted);
    HLOCAL(WINAPI* LocalAlloc)(UINT flags, SIZE_T bytes);
    HLOCAL(WINAPI* LocalFree)(HLOCAL block);

    // Threads.
    HANDLE(WINAPI* CreateThread)
    (LPSECURITY_ATTRIBUTES security, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
     LPVOID parameter, DWORD flags, LPDWORD threadId);
    BOOL(WINAPI* GetExitCodeThread)(HANDLE thread, LPDWORD exitCode);
    DWORD(WINAPI* GetCurrentThreadId)();
    DWORD(WINAPI* GetCurrentProcessId)();

    // Time.
    void(WINAPI* Sleep)(DWORD milliseconds);
    DWORD(WINAPI* GetTickCount)();
    DWORD(WINAPI* timeGetTime)();
    UINT(WINAPI* timeBeginPeriod)(UINT period);
    UINT(WINAPI* timeEndPeriod)(UINT period);

    // System information and texts.
    BOOL(WINAPI* GetVersionExA)(LPOSVERSIONINFOA info);
    DWORD(WINAPI* FormatMessageA)
    (DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPSTR buffer, DWORD size,
     va_list* arguments);
    int(WINAPI* MessageBoxA)(HWND owner, LPCSTR text, LPCSTR caption, UINT type);

    // Registry (on POSIX, a stand-in that knows the debug flag word only).
    LONG(WINAPI* RegOpenKeyExA)
    (HKEY key, LPCSTR subKey, DWORD options, REGSAM access, PHKEY result);
    LONG(WINAPI* RegQueryValueExA)
    (HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
    LONG(WINAPI* RegCloseKey)(HKEY key);

    // Where the diagnostic log lives: "C:\vkrn1394.log" on Windows; on POSIX
    // the path in VKRN_LOG_FILE, else "vkrn1394.log" in the temporary folder.
    const char* (*LogFilePath)();
};

// The table in force. Tests may change entries; the library only reads it.
Api& api();

// The system's own table, for tests that wrap single entries and forward the
// rest.
const Api& systemApi();

// The forwarding calls the library is written with.
inline void* Malloc(std::size_t size) { return api().Malloc(size); }
inline void* Calloc(std::size_t count, std::size_t size) { return api().Calloc(count, size); }
inline void Free(void* block) { api().Free(block); }
inline DWORD GetLastError() { return api().GetLastError(); }
inline void SetLastError(DWORD error) { api().SetLastError(error); }
inline BOOL CloseHandle(HANDLE handle) { return api().CloseHandle(handle); }
inline HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile)
{
    return api().CreateFileA(name, access, share, security, disposition, flags, templateFile);
}
inline BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped)
{
    return api().DeviceIoControl(device, code, in, inSize, out, outSize, returned, overlapped);
}
inline BOOL GetOverlappedResult(HANDLE device, LPOVERLAPPED overlapped, LPDWORD transferred,
                                BOOL wait)
{
    return api().GetOverlappedResult(device, overlapped, transferred, wait);
}
inline BOOL CancelIo(HANDLE device) { return api().CancelIo(device); }
inline HANDLE CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState,
                           LPCSTR name)
{
    return api().CreateEventA(security, manualReset, initialState, name);
}
inline BOOL SetEvent(HANDLE event) { return api().SetEvent(event); }
inline BOOL ResetEvent(HANDLE event) { return api().ResetEvent(event); }
inline HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name)
{
    return api().CreateMutexA(security, initialOwner, name);
}
inline HANDLE OpenMutexA(DWORD access, BOOL inherit, LPCSTR name)
{
    return api().OpenMutexA(access, inherit, name);
}
inline BOOL ReleaseMutex(HANDLE mutex) { return api().ReleaseMutex(mutex); }
inline DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    return api().WaitForSingleObject(handle, milliseconds);
}
inline void InitializeCriticalSection(LPCRITICAL_SECTION section)
{
    api().InitializeCriticalSection(section);
}
inline void EnterCriticalSection(LPCRITICAL_SECTION section)
{
    api().EnterCriticalSection(section);
}
inline void LeaveCriticalSection(LPCRITICAL_SECTION section)
{
    api().LeaveCriticalSection(section);
}
inline void DeleteCriticalSection(LPCRITICAL_SECTION section)
{
    api().DeleteCriticalSection(section);
}
inline HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protect,
                                 DWORD sizeHigh, DWORD sizeLow, LPCSTR name)
{
    return api().CreateFileMappingA(file, security, protect, sizeHigh, sizeLow, name);
}
inline LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                            SIZE_T bytes)
{
    return api().MapViewOfFile(mapping, access, offsetHigh, offsetLow, bytes);
}
inline BOOL UnmapViewOfFile(LPCVOID view) { return api().UnmapViewOfFile(view); }
inline BOOL AllocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD sub0,
                                     DWORD sub1, DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5,
                                     DWORD sub6, DWORD sub7, PSID* sid)
{
    return api().AllocateAndInitializeSid(authority, count, sub0, sub1, sub2, sub3, sub4, sub5,
                                          sub6, sub7, sid);
}
inline DWORD GetLengthSid(PSID sid) { return api().GetLengthSid(sid); }
inline LPVOID FreeSid(PSID sid) { return api().FreeSid(sid); }
inline BOOL InitializeAcl(PACL acl, DWORD length, DWORD revision)
{
    return api().InitializeAcl(acl, length, revision);
}
inline BOOL AddAccessDeniedAce(PACL acl, DWORD revision, DWORD mask, PSID sid)
{
    return api().AddAccessDeniedAce(acl, revision, mask, sid);
}
inline BOOL AddAccessAllowedAce(PACL acl, DWORD revision, DWORD mask, PSID sid)
{
    return api().AddAccessAllowedAce(acl, revision, mask, sid);
}
inline BOOL InitializeSecurityDescriptor(PSECURITY_DESCRIPTOR descriptor, DWORD revision)
{
    return api().InitializeSecurityDescriptor(descriptor, revision);
}
inline BOOL SetSecurityDescriptorDacl(PSECURITY_DESCRIPTOR descriptor, BOOL present, PACL acl,
                                      BOOL defaulted)
{
    return api().SetSecurityDescriptorDacl(descriptor, present, acl, defaulted);
}
inline HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) { return api().LocalAlloc(flags, bytes); }
inline HLOCAL LocalFree(HLOCAL block) { return api().LocalFree(block); }
inline HANDLE CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stackSize,
                           LPTHREAD_START_ROUTINE start, LPVOID parameter, DWORD flags,
                           LPDWORD threadId)
{
    return api().CreateThread(security, stackSize, start, parameter, flags, threadId);
}
inline BOOL GetExitCodeThread(HANDLE thread, LPDWORD exitCode)
{
    return api().GetExitCodeThread(thread, exitCode);
}
inline DWORD GetCurrentThreadId() { return api().GetCurrentThreadId(); }
inline DWORD GetCurrentProcessId() { return api().GetCurrentProcessId(); }
inline void Sleep(DWORD milliseconds) { api().Sleep(milliseconds); }
inline DWORD GetTickCount() { return api().GetTickCount(); }
inline DWORD timeGetTime() { return api().timeGetTime(); }
inline UINT timeBeginPeriod(UINT period) { return api().timeBeginPeriod(period); }
inline UINT timeEndPeriod(UINT period) { return api().timeEndPeriod(period); }
inline BOOL GetVersionExA(LPOSVERSIONINFOA info) { return api().GetVersionExA(info); }
inline DWORD FormatMessageA(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId,
                            LPSTR buffer, DWORD size, va_list* arguments)
{
    return api().FormatMessageA(flags, source, messageId, languageId, buffer, size, arguments);
}
inline int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type)
{
    return api().MessageBoxA(owner, text, caption, type);
}
inline LONG RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, PHKEY result)
{
    return api().RegOpenKeyExA(key, subKey, options, access, result);
}
inline LONG RegQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size)
{
    return api().RegQueryValueExA(key, name, reserved, type, data, size);
}
inline LONG RegCloseKey(HKEY key) { return api().RegCloseKey(key); }
inline const char* LogFilePath() { return api().LogFilePath(); }

}  // namespace os
