// detect (--auto-detect): the cameras this computer can reach. On Linux the
// SCSI generic nodes whose INQUIRY answer, as the kernel keeps it, is a
// still-image device; on Windows the still-image driver's device paths.

#include "commands.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#ifdef _WIN32
#include <windows.h>
#include <setupapi.h>
#endif

namespace dslrctl {

namespace {

using nlohmann::json;

struct Found {
    std::string port;
    std::string description;
};

#ifdef _WIN32

// The still-image device interface (GUID_DEVINTERFACE_IMAGE).
const GUID kStillImageInterface = {
    0x6bdd1fc6, 0x810f, 0x11d0, {0xbe, 0xc7, 0x08, 0x00, 0x2b, 0xe2, 0x09, 0x2f}};

std::vector<Found> reachableCameras()
{
    std::vector<Found> found;
    HDEVINFO devices = SetupDiGetClassDevsA(&kStillImageInterface, nullptr, nullptr,
                                            DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    if (devices == INVALID_HANDLE_VALUE) return found;
    SP_DEVICE_INTERFACE_DATA device = {};
    device.cbSize = sizeof(device);
    for (DWORD index = 0;
         SetupDiEnumDeviceInterfaces(devices, nullptr, &kStillImageInterface, index, &device);
         ++index) {
        DWORD size = 0;
        SetupDiGetDeviceInterfaceDetailA(devices, &device, nullptr, 0, &size, nullptr);
        if (size < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A)) continue;
        std::vector<char> block(size);
        auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(block.data());
        detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A);
        if (SetupDiGetDeviceInterfaceDetailA(devices, &device, detail, size, nullptr, nullptr))
            found.push_back({detail->DevicePath, "still-image device"});
    }
    SetupDiDestroyDeviceInfoList(devices);
    return found;
}

#else

std::string firstLine(const std::filesystem::path& file)
{
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

// SCSI peripheral device type 06h: a still-image device, as the camera
// answers INQUIRY.
constexpr char kStillImageType[] = "6";

std::vector<Found> reachableCameras()
{
    namespace fs = std::filesystem;
    std::vector<Found> found;
    std::error_code error;
    const fs::path root = "/sys/class/scsi_generic";
    for (const auto& node : fs::directory_iterator(root, error)) {
        const fs::path device = node.path() / "device";
        if (firstLine(device / "type") != kStillImageType) continue;
        found.push_back({"/dev/" + node.path().filename().string(),
                         firstLine(device / "vendor") + " " + firstLine(device / "model")});
    }
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
        return a.port.size() != b.port.size() ? a.port.size() < b.port.size() : a.port < b.port;
    });
    return found;
}

#endif

}  // namespace

int runDetect(const Options&, const Output& output)
{
    json cameras = json::array();
    char line[512];
    std::snprintf(line, sizeof(line), "%-30s %s", "Port", "Camera");
    output.text(line);
    output.text(std::string(62, '-'));
    for (const Found& camera : reachableCameras()) {
        std::snprintf(line, sizeof(line), "%-30s %s", camera.port.c_str(),
                      camera.description.c_str());
        output.text(line);
        cameras.push_back({{"port", camera.port}, {"camera", camera.description}});
    }
    output.document({{"cameras", cameras}});
    return 0;
}

}  // namespace dslrctl
