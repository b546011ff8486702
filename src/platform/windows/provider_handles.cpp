// Provider device paths ("sim:NAME", "unix:PATH", "tcp:HOST:PORT") on
// Windows. Each opened device is represented by a real, unnamed event handle:
// its value cannot clash with any other handle of the process, and a handle
// the providers do not know goes straight to the system.

#include "platform/windows/provider_handles.h"

#include "platform/devices/async_device.h"

#include <map>
#include <memory>
#include <mutex>

namespace os::windows {

namespace {

struct Registry {
    std::mutex lock;
    std::map<HANDLE, std::shared_ptr<devices::AsyncDevice>> devices;
};

Registry& registry()
{
    // Never destroyed: handles may still be closed while the process ends.
    static auto* instance = new Registry;
    return *instance;
}

std::shared_ptr<devices::AsyncDevice> deviceOf(HANDLE handle)
{
    std::lock_guard<std::mutex> guard(registry().lock);
    auto found = registry().devices.find(handle);
    return found == registry().devices.end() ? nullptr : found->second;
}

}  // namespace

HANDLE WINAPI CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE templateFile)
{
    if (!devices::isProviderPath(name))
        return ::CreateFileA(name, access, share, security, disposition, flags, templateFile);
    std::uint32_t error = 0;
    std::unique_ptr<devices::ScsiTarget> target = devices::openScsiTarget(name, error);
    if (!target) {
        ::SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    HANDLE handle = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (handle == nullptr) return INVALID_HANDLE_VALUE;
    auto device = std::make_shared<devices::AsyncDevice>(std::move(target));
    std::lock_guard<std::mutex> guard(registry().lock);
    registry().devices.emplace(handle, std::move(device));
    return handle;
}

BOOL WINAPI DeviceIoControl(HANDLE handle, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                            DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped)
{
    std::shared_ptr<devices::AsyncDevice> device = deviceOf(handle);
    if (!device)
        return ::DeviceIoControl(handle, code, in, inSize, out, outSize, returned, overlapped);
    const DWORD error = device->deviceIoControl(code, in, inSize, out, outSize, overlapped);
    if (error == 0) return TRUE;
    ::SetLastError(error);
    return FALSE;
}

BOOL WINAPI CancelIo(HANDLE handle)
{
    std::shared_ptr<devices::AsyncDevice> device = deviceOf(handle);
    if (!device) return ::CancelIo(handle);
    device->cancelIo();
    return TRUE;
}

BOOL WINAPI CloseHandle(HANDLE handle)
{
    std::shared_ptr<devices::AsyncDevice> device;
    {
        std::lock_guard<std::mutex> guard(registry().lock);
        auto found = registry().devices.find(handle);
        if (found != registry().devices.end()) {
            device = std::move(found->second);
            registry().devices.erase(found);
        }
    }
    // The device stops (its commands complete as cancelled) before its
    // handle value can be reused by the system.
    device.reset();
    return ::CloseHandle(handle);
}

}  // namespace os::windows
