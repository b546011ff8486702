// CreateFileA and device I/O. Plain paths open files; paths under a
// registered prefix (the device providers) open devices.

#include "platform/devices/async_device.h"
#include "platform/posix/posix_api.h"

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace os::posix {

namespace {

class File : public KernelObject {
public:
    explicit File(int fd) : m_fd(fd) {}
    ~File() override { ::close(m_fd); }
    BOOL deviceIoControl(DWORD, LPVOID, DWORD, LPVOID, DWORD, LPDWORD, LPOVERLAPPED) override
    {
        setLastError(ERROR_NOT_SUPPORTED);  // a plain file is no SCSI device
        return FALSE;
    }
    BOOL cancelIo() override { return TRUE; }  // nothing is ever pending

private:
    int m_fd;
};

struct Openers {
    std::mutex lock;
    std::vector<std::pair<std::string, DeviceOpener>> byPrefix = {
        {"sim:", OpenProviderDevice}, {"unix:", OpenProviderDevice}, {"tcp:", OpenProviderDevice},
        {"/dev/sg", OpenProviderDevice}};
};

Openers& openers()
{
    static Openers* instance = new Openers;
    return *instance;
}

DeviceOpener openerFor(const char* path)
{
    std::lock_guard<std::mutex> guard(openers().lock);
    for (const auto& entry : openers().byPrefix) {
        if (std::strncmp(path, entry.first.c_str(), entry.first.size()) == 0) return entry.second;
    }
    return nullptr;
}

// Devices store NT status values, as drivers do on Windows; plain Win32
// error codes (below the NT severity bits) pass through unchanged.
DWORD errorOfStatus(ULONG_PTR status)
{
    if (status == devices::kStatusCancelled) return ERROR_OPERATION_ABORTED;
    if (status >= 0xC0000000u) return ERROR_GEN_FAILURE;
    return static_cast<DWORD>(status);
}

}  // namespace

void RegisterDeviceOpener(const char* prefix, DeviceOpener opener)
{
    std::lock_guard<std::mutex> guard(openers().lock);
    for (auto& entry : openers().byPrefix) {
        if (entry.first == prefix) {
            entry.second = opener;
            return;
        }
    }
    openers().byPrefix.emplace_back(prefix, opener);
}

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD, LPSECURITY_ATTRIBUTES,
                          DWORD disposition, DWORD, HANDLE)
{
    if (name == nullptr || disposition != OPEN_EXISTING) {
        setLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    if (DeviceOpener opener = openerFor(name)) {
        std::shared_ptr<KernelObject> device = opener(name);
        return device ? insertHandle(std::move(device)) : INVALID_HANDLE_VALUE;
    }
    bool reads = (access & GENERIC_READ) != 0;
    bool writes = (access & GENERIC_WRITE) != 0;
    int mode = reads && writes ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    int fd = ::open(name, mode | O_CLOEXEC);
    if (fd < 0) {
        setLastError(errno == ENOENT || errno == ENOTDIR ? ERROR_FILE_NOT_FOUND
                     : errno == EACCES                   ? ERROR_ACCESS_DENIED
                                                         : ERROR_GEN_FAILURE);
        return INVALID_HANDLE_VALUE;
    }
    return insertHandle(std::make_shared<File>(fd));
}

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped)
{
    auto object = lookupHandle(device);
    if (!object) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return object->deviceIoControl(code, in, inSize, out, outSize, returned, overlapped);
}

// A device completes a request by storing its status in Internal and the
// byte count in InternalHigh, then signalling the record's event.
BOOL WINAPI GetOverlappedResult(HANDLE device, LPOVERLAPPED overlapped, LPDWORD transferred,
                                BOOL wait)
{
    if (!lookupHandle(device) || overlapped == nullptr) {
        setLastError(overlapped == nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (wait && overlapped->hEvent != nullptr) WaitForSingleObject(overlapped->hEvent, INFINITE);
    ULONG_PTR status = __atomic_load_n(&overlapped->Internal, __ATOMIC_ACQUIRE);
    if (status == STATUS_PENDING) {
        setLastError(ERROR_IO_INCOMPLETE);
        return FALSE;
    }
    if (transferred != nullptr) *transferred = static_cast<DWORD>(overlapped->InternalHigh);
    if (status != 0) {
        setLastError(errorOfStatus(status));
        return FALSE;
    }
    return TRUE;
}

BOOL WINAPI CancelIo(HANDLE device)
{
    auto object = lookupHandle(device);
    if (!object) {
        setLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return object->cancelIo();
}

}  // namespace os::posix
