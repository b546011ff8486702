// The table on Windows: the real Win32 API, plus the C runtime heap and the
// log file's fixed place.

#include "platform/platform_api.h"
#include "platform/windows/provider_handles.h"

#include <cstdlib>

namespace {

void* heapMalloc(std::size_t size) { return std::malloc(size); }
void* heapCalloc(std::size_t count, std::size_t size) { return std::calloc(count, size); }
void heapFree(void* block) { std::free(block); }

// The headers declare these with slightly different parameter types.
BOOL WINAPI allocateAndInitializeSid(SID_IDENTIFIER_AUTHORITY* authority, BYTE count, DWORD sub0,
                                     DWORD sub1, DWORD sub2, DWORD sub3, DWORD sub4, DWORD sub5,
                                     DWORD sub6, DWORD sub7, PSID* sid)
{
    return ::AllocateAndInitializeSid(authority, count, sub0, sub1, sub2, sub3, sub4, sub5, sub6,
                                      sub7, sid);
}
LPVOID WINAPI freeSid(PSID sid) { return ::FreeSid(sid); }
BOOL WINAPI unmapViewOfFile(LPCVOID view) { return ::UnmapViewOfFile(view); }
UINT WINAPI beginPeriod(UINT period) { return ::timeBeginPeriod(period); }
UINT WINAPI endPeriod(UINT period) { return ::timeEndPeriod(period); }
DWORD WINAPI getTime() { return ::timeGetTime(); }
BOOL WINAPI getVersionExA(LPOSVERSIONINFOA info) { return ::GetVersionExA(info); }
LONG WINAPI regOpenKeyExA(HKEY key, LPCSTR subKey, DWORD options, REGSAM access, PHKEY result)
{
    return ::RegOpenKeyExA(key, subKey, options, access, result);
}
LONG WINAPI regQueryValueExA(HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data,
                             LPDWORD size)
{
    return ::RegQueryValueExA(key, name, reserved, type, data, size);
}
LONG WINAPI regCloseKey(HKEY key) { return ::RegCloseKey(key); }
DWORD WINAPI formatMessageA(DWORD flags, LPCVOID source, DWORD id, DWORD language, LPSTR buffer,
                            DWORD size, va_list* arguments)
{
    return ::FormatMessageA(flags, source, id, language, buffer, size, arguments);
}
const char* logFilePath() { return "C:\\vkrn1394.log"; }

}  // namespace

namespace os {

const Api& systemApi()
{
    static const Api table = {
        heapMalloc,
        heapCalloc,
        heapFree,
        ::GetLastError,
        ::SetLastError,
        os::windows::CloseHandle,
        os::windows::CreateFileA,
        os::windows::DeviceIoControl,
        ::GetOverlappedResult,
        os::windows::CancelIo,
        ::CreateEventA,
        ::SetEvent,
        ::ResetEvent,
        ::CreateMutexA,
        ::OpenMutexA,
        ::ReleaseMutex,
        ::WaitForSingleObject,
        ::InitializeCriticalSection,
        ::EnterCriticalSection,
        ::LeaveCriticalSection,
        ::DeleteCriticalSection,
        ::CreateFileMappingA,
        ::MapViewOfFile,
        unmapViewOfFile,
        allocateAndInitializeSid,
        ::GetLengthSid,
        freeSid,
        ::InitializeAcl,
        ::AddAccessDeniedAce,
        ::AddAccessAllowedAce,
        ::InitializeSecurityDescriptor,
        ::SetSecurityDescriptorDacl,
        ::LocalAlloc,
        ::LocalFree,
        ::CreateThread,
        ::GetExitCodeThread,
        ::GetCurrentThreadId,
        ::GetCurrentProcessId,
        ::Sleep,
        ::GetTickCount,
        getTime,
        beginPeriod,
        endPeriod,
        getVersionExA,
        formatMessageA,
        ::MessageBoxA,
        regOpenKeyExA,
        regQueryValueExA,
        regCloseKey,
        logFilePath,
    };
    return table;
}

}  // namespace os
