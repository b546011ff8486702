// A plain file standing in for a device path: opening a port needs nothing
// more of it. The path ends in "<folder>\<baseName>" on every system, so
// that the part after the last backslash, which names the port's shared
// objects, is baseName.
#pragma once

#include <string>

// prefix + this process's ID + a counter: unique across processes and calls.
std::string uniqueName(const std::string& prefix);

class FakeDevice {
public:
    explicit FakeDevice(const std::string& baseName, const std::string& folder = uniqueName("dev"));
    ~FakeDevice();
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;
    const char* path() const { return m_path.c_str(); }

private:
    std::string m_path;
};
