// For the test in a virtual machine: connects to the camera on the port
// named on the command line and downloads one file over and over until the
// camera goes away. Prints "ready" once the first download is under way,
// then, when a call fails, "failed 0x%08X next 0x%08X flag N": the failing
// result, the result of the next call (a setting read) and the port's shared
// no-device flag.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

DWORD downloadOnce(DslrObject* camera, const char* path, std::vector<BYTE>& buffer)
{
    std::uint32_t length = 0;
    DWORD result = camera->baseGetFile(path, &length);
    for (std::uint32_t done = 0; result == vkRN_OK && done < length;) {
        const std::uint32_t part = std::min<std::uint32_t>(length - done, buffer.size());
        result = camera->baseDslrReadData(buffer.data(), part);
        done += part;
    }
    return result;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: device_loss_check PORT CAMERA_FILE\n");
        return 2;
    }
    auto* object = static_cast<Dslr1394Object*>(DSLR_GetObject());
    DslrObject* camera = object;
    if (camera->baseDslrOpenPort(argv[1]) != vkRN_OK ||
        camera->baseOpenCameraComm(0, nullptr, 0) != vkRN_OK) {
        std::printf("cannot connect\n");
        return 1;
    }
    std::vector<BYTE> buffer(0x10000);
    DWORD result = downloadOnce(camera, argv[2], buffer);
    std::printf("ready\n");
    std::fflush(stdout);
    while (result == vkRN_OK) result = downloadOnce(camera, argv[2], buffer);
    char owner[32] = {};
    const DWORD next = camera->baseReadSetting(OWNER_NAME, owner);
    std::printf("failed 0x%08lX next 0x%08lX flag %lu\n", static_cast<unsigned long>(result),
                static_cast<unsigned long>(next),
                static_cast<unsigned long>(object->m_scsiScanMngrPtr->ReadMapFile()));
    camera->baseCloseCameraComm();
    camera->baseDslrClosePort();
    DSLR_DeleteObject(camera);
    return 0;
}
