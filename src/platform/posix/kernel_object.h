// Handles of the POSIX implementation: every HANDLE names a reference-counted
// kernel object in one process-wide table. The object kinds (events, mutexes,
// mappings, threads, files and devices) override what they support.
#pragma once

#include "platform/win32_types.h"

#include <cstddef>
#include <memory>

namespace os::posix {

void setLastError(DWORD error);
DWORD lastError();

class KernelObject {
public:
    virtual ~KernelObject() = default;
    // WaitForSingleObject on this object.
    virtual DWORD wait(DWORD milliseconds);
    // Device I/O; only devices implement it.
    virtual BOOL deviceIoControl(DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                                 LPDWORD returned, LPOVERLAPPED overlapped);
    virtual BOOL cancelIo();
};

HANDLE insertHandle(std::shared_ptr<KernelObject> object);
std::shared_ptr<KernelObject> lookupHandle(HANDLE handle);
template <typename T>
std::shared_ptr<T> lookupAs(HANDLE handle)
{
    return std::dynamic_pointer_cast<T>(lookupHandle(handle));
}
bool removeHandle(HANDLE handle);
// Live handles of this process, for leak checks in tests.
std::size_t openHandleCount();

// Opens a device path that is not a plain file; registered by the device
// providers under a prefix such as "sim:". Returns null with the last error
// set when the device cannot be opened.
using DeviceOpener = std::shared_ptr<KernelObject> (*)(const char* path);
void RegisterDeviceOpener(const char* prefix, DeviceOpener opener);

}  // namespace os::posix
