// Device paths served by a provider ("sim:NAME", "unix:PATH", "tcp:HOST:PORT",
// "/dev/sgN")
// as kernel objects of the handle table.

#include "platform/devices/async_device.h"
#include "platform/posix/posix_api.h"

namespace os::posix {

namespace {

class ProviderDevice : public KernelObject {
public:
    explicit ProviderDevice(std::unique_ptr<devices::ScsiTarget> target)
        : m_device(std::move(target))
    {
    }

    BOOL deviceIoControl(DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize, LPDWORD,
                         LPOVERLAPPED overlapped) override
    {
        const DWORD error = m_device.deviceIoControl(code, in, inSize, out, outSize, overlapped);
        if (error == 0) return TRUE;
        setLastError(error);
        return FALSE;
    }

    BOOL cancelIo() override
    {
        m_device.cancelIo();
        return TRUE;
    }

private:
    devices::AsyncDevice m_device;
};

}  // namespace

std::shared_ptr<KernelObject> OpenProviderDevice(const char* path)
{
    std::uint32_t error = 0;
    std::unique_ptr<devices::ScsiTarget> target = devices::openScsiTarget(path, error);
    if (!target) {
        setLastError(error);
        return nullptr;
    }
    return std::make_shared<ProviderDevice>(std::move(target));
}

}  // namespace os::posix
