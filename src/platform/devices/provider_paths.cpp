// Which provider serves a port path.

#include "platform/devices/scsi_target.h"
#include "platform/devices/sg_target.h"
#include "platform/devices/sim_target.h"
#include "platform/devices/socket_address.h"
#include "platform/devices/socket_target.h"
#include "platform/win32_types.h"

#include <cstring>

namespace devices {

namespace {

constexpr char kSimPrefix[] = "sim:";

bool isSimPath(const char* path)
{
    return path != nullptr && std::strncmp(path, kSimPrefix, std::strlen(kSimPrefix)) == 0;
}

}  // namespace

bool isProviderPath(const char* path)
{
    return isSimPath(path) || isSocketPath(path) || isSgPath(path);
}

std::unique_ptr<ScsiTarget> openScsiTarget(const char* path, std::uint32_t& error)
{
    error = 0;
    if (isSimPath(path)) return openSimTarget(path + std::strlen(kSimPrefix));
    if (isSocketPath(path)) return openSocketTarget(path, error);
    if (isSgPath(path)) return openSgTarget(path, error);
    error = ERROR_FILE_NOT_FOUND;
    return nullptr;
}

}  // namespace devices
