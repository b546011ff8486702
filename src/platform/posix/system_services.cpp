// Memory, critical sections, time, system texts, the registry stand-in, the
// message box and the log's location.

#include "platform/posix/posix_api.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <string>

namespace os::posix {

namespace {

void* heapMalloc(std::size_t size) { return std::malloc(size); }
void* heapCalloc(std::size_t count, std::size_t size) { return std::calloc(count, size); }
void heapFree(void* block) { std::free(block); }

DWORD WINAPI getLastError() { return lastError(); }
void WINAPI setLastErrorApi(DWORD error) { setLastError(error); }

HLOCAL WINAPI localAlloc(UINT flags, SIZE_T bytes)
{
    void* block = (flags & LMEM_ZEROINIT) ? std::calloc(1, bytes ? bytes : 1)
                                          : std::malloc(bytes ? bytes : 1);
    if (block == nullptr) setLastError(ERROR_NOT_ENOUGH_MEMORY);
    return block;
}

HLOCAL WINAPI localFree(HLOCAL block)
{
    std::free(block);
    return nullptr;
}

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION::storage),
              "a pthread mutex fits the critical section's storage");

pthread_mutex_t* sectionMutex(LPCRITICAL_SECTION section)
{
    return std::launder(reinterpret_cast<pthread_mutex_t*>(section->storage));
}

void WINAPI initializeCriticalSection(LPCRITICAL_SECTION section)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);  // re-entrant, as on Windows
    pthread_mutex_init(new (section->storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}
void WINAPI enterCriticalSection(LPCRITICAL_SECTION section)
{
    pthread_mutex_lock(sectionMutex(section));
}
void WINAPI leaveCriticalSection(LPCRITICAL_SECTION section)
{
    pthread_mutex_unlock(sectionMutex(section));
}
void WINAPI deleteCriticalSection(LPCRITICAL_SECTION section)
{
    pthread_mutex_destroy(sectionMutex(section));
}

DWORD millisecondsSinceBoot()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<DWORD>(static_cast<std::uint64_t>(now.tv_sec) * 1000u +
                              static_cast<std::uint64_t>(now.tv_nsec) / 1000000u);
}

void WINAPI sleepMilliseconds(DWORD milliseconds)
{
    // Sleep(0) gives the processor to another ready thread and returns at
    // once when there is none. A zero nanosleep is no such thing: Linux
    // still arms a timer and sleeps out its slack, 50 us and more, which the
    // channel's Sleep(0) after every message would pay each time.
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    timespec duration{static_cast<time_t>(milliseconds / 1000),
                      static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&duration, &duration) != 0 && errno == EINTR) {
    }
}
DWORD WINAPI tickCount() { return millisecondsSinceBoot(); }
// Linux timers need no resolution request.
UINT WINAPI timerPeriod(UINT) { return TIMERR_NOERROR; }

// Linux stands in for Windows NT 5.1 (XP, build 2600): the NT behaviour is
// the one the library should take here.
BOOL WINAPI getVersionExA(LPOSVERSIONINFOA info)
{
    if (info == nullptr || info->dwOSVersionInfoSize < sizeof(OSVERSIONINFOA)) {
        setLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    info->dwMajorVersion = 5;
    info->dwMinorVersion = 1;
    info->dwBuildNumber = 2600;
    info->dwPlatformId = VER_PLATFORM_WIN32_NT;
    std::memset(info->szCSDVersion, 0, sizeof(info->szCSDVersion));
    return TRUE;
}

const char* systemText(DWORD code)
{
    switch (code) {
        case ERROR_SUCCESS:
            return "The operation completed successfully.";
        case ERROR_INVALID_FUNCTION:
            return "Incorrect function.";
        case ERROR_FILE_NOT_FOUND:
            return "The system cannot find the file specified.";
        case ERROR_PATH_NOT_FOUND:
            return "The system cannot find the path specified.";
        case ERROR_ACCESS_DENIED:
            return "Access is denied.";
        case ERROR_INVALID_HANDLE:
            return "The handle is invalid.";
        case ERROR_NOT_ENOUGH_MEMORY:
            return "Not enough storage is available to process this command.";
        case ERROR_GEN_FAILURE:
            return "A device attached to the system is not functioning.";
        case ERROR_SHARING_VIOLATION:
            return "The process cannot access the file because it is being used by another "
                   "process.";
        case ERROR_NOT_SUPPORTED:
            return "The request is not supported.";
        case ERROR_DEV_NOT_EXIST:
            return "The specified network resource or device is no longer available.";
        case ERROR_INVALID_PARAMETER:
            return "The parameter is incorrect.";
        case ERROR_SEM_TIMEOUT:
            return "The semaphore timeout period has expired.";
        case ERROR_INSUFFICIENT_BUFFER:
            return "The data area passed to a system call is too small.";
        case ERROR_INVALID_NAME:
            return "The filename, directory name, or volume label syntax is incorrect.";
        case ERROR_ALREADY_EXISTS:
            return "Cannot create a file when that file already exists.";
        case ERROR_MORE_DATA:
            return "More data is available.";
        case ERROR_NOT_OWNER:
            return "Attempt to release mutex not owned by caller.";
        case ERROR_INVALID_ADDRESS:
            return "Attempt to access invalid address.";
        case ERROR_OPERATION_ABORTED:
            return "The I/O operation has been aborted because of either a thread exit or an "
                   "application request.";
        case ERROR_IO_INCOMPLETE:
            return "Overlapped I/O event is not in a signaled state.";
        case ERROR_IO_PENDING:
            return "Overlapped I/O operation is in progress.";
        case ERROR_ALLOTTED_SPACE_EXCEEDED:
            return "No more memory is available for security information updates.";
        case ERROR_TIMEOUT:
            return "This operation returned because the timeout period expired.";
        default:
            return nullptr;
    }
}

DWORD WINAPI formatMessageA(DWORD flags, LPCVOID, DWORD code, DWORD, LPSTR buffer, DWORD size,
                            va_list*)
{
    const char* text = (flags & FORMAT_MESSAGE_FROM_SYSTEM) ? systemText(code) : nullptr;
    if (text == nullptr || buffer == nullptr) {
        setLastError(text == nullptr ? ERROR_MR_MID_NOT_FOUND : ERROR_INVALID_PARAMETER);
        return 0;
    }
    std::string message = std::string(text) + "\r\n";  // as Windows ends its texts
    char* target = buffer;
    if (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) {
        target = static_cast<char*>(localAlloc(LPTR, message.size() + 1));
        if (target == nullptr) return 0;
        *reinterpret_cast<char**>(buffer) = target;
    } else if (size < message.size() + 1) {
        setLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::memcpy(target, message.c_str(), message.size() + 1);
    return static_cast<DWORD>(message.size());
}

// There is no desktop: the box is a line on the error stream.
int WINAPI messageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT)
{
    std::fprintf(stderr, "%s: %s\n", caption != nullptr ? caption : "",
                 text != nullptr ? text : "");
    return IDOK;
}

// The registry knows one value here, the debug flag word, standing in the
// environment as VKRN_DSLRLOGLEVEL (decimal or 0x-hexadecimal).
HKEY debugKey() { return reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x5EC0)); }

LONG WINAPI regOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM, PHKEY result)
{
    if (result == nullptr || subKey == nullptr) return ERROR_INVALID_PARAMETER;
    if (key != HKEY_LOCAL_MACHINE || std::strcmp(subKey, "SOFTWARE\\Velor\\ARXdebug") != 0 ||
        std::getenv("VKRN_DSLRLOGLEVEL") == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    *result = debugKey();
    return ERROR_SUCCESS;
}

LONG WINAPI regQueryValueExA(HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data,
                             LPDWORD size)
{
    const char* text = std::getenv("VKRN_DSLRLOGLEVEL");
    if (key != debugKey() || name == nullptr || std::strcmp(name, "dslrLogLevel") != 0 ||
        text == nullptr) {
        return ERROR_FILE_NOT_FOUND;
    }
    char* end = nullptr;
    unsigned long value = std::strtoul(text, &end, 0);
    if (end == text || *end != '\0' || value > 0xFFFFFFFFul)
        return ERROR_FILE_NOT_FOUND;  // unreadable
    if (type != nullptr) *type = REG_DWORD;
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    if (data == nullptr || *size < sizeof(DWORD)) {
        *size = sizeof(DWORD);
        return data == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA;
    }
    auto word = static_cast<DWORD>(value);
    std::memcpy(data, &word, sizeof(word));
    *size = sizeof(DWORD);
    return ERROR_SUCCESS;
}

LONG WINAPI regCloseKey(HKEY key)
{
    return key == debugKey() ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

const char* logFilePath()
{
    static const std::string path = [] {
        if (const char* set = std::getenv("VKRN_LOG_FILE")) return std::string(set);
        const char* dir = std::getenv("TMPDIR");
        return std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/vkrn1394.log";
    }();
    return path.c_str();
}

}  // namespace

const Api& systemApiTable()
{
    static const Api table = {
        heapMalloc,
        heapCalloc,
        heapFree,
        getLastError,
        setLastErrorApi,
        CloseHandle,
        CreateFileA,
        DeviceIoControl,
        GetOverlappedResult,
        CancelIo,
        CreateEventA,
        SetEvent,
        ResetEvent,
        CreateMutexA,
        OpenMutexA,
        ReleaseMutex,
        WaitForSingleObject,
        initializeCriticalSection,
        enterCriticalSection,
        leaveCriticalSection,
        deleteCriticalSection,
        CreateFileMappingA,
        MapViewOfFile,
        UnmapViewOfFile,
        AllocateAndInitializeSid,
        GetLengthSid,
        FreeSid,
        InitializeAcl,
        AddAccessDeniedAce,
        AddAccessAllowedAce,
        InitializeSecurityDescriptor,
        SetSecurityDescriptorDacl,
        localAlloc,
        localFree,
        CreateThread,
        GetExitCodeThread,
        GetCurrentThreadId,
        GetCurrentProcessId,
        sleepMilliseconds,
        tickCount,
        tickCount,
        timerPeriod,
        timerPeriod,
        getVersionExA,
        formatMessageA,
        messageBoxA,
        regOpenKeyExA,
        regQueryValueExA,
        regCloseKey,
        logFilePath,
    };
    return table;
}

}  // namespace os::posix

namespace os {
const Api& systemApi() { return posix::systemApiTable(); }
}  // namespace os
