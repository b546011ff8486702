#include "support/fake_device.h"

#include "platform/platform_api.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>

std::string uniqueName(const std::string& prefix)
{
    static std::atomic<int> counter{0};
    return prefix + std::to_string(os::GetCurrentProcessId()) + "-" + std::to_string(counter++);
}

FakeDevice::FakeDevice(const std::string& baseName, const std::string& folder)
{
    namespace fs = std::filesystem;
    fs::path temp = fs::temp_directory_path();
#ifdef _WIN32
    fs::create_directories(temp / folder);
    m_path = (temp / folder).string() + "\\" + baseName;
#else
    m_path = (temp / (folder + "\\" + baseName)).string();
#endif
    std::ofstream(m_path).put('\0');
}

FakeDevice::~FakeDevice() { std::remove(m_path.c_str()); }
