// A plain file standing in for a device path: opening a port needs nothing
// more of it. The path ends in "<folder>\<baseName>" on every system, so
// that the part after the last backslash, which names the port's shared
// objects, is baseName.
#pragma once

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"

#include <gtest/gtest.h>

#include <memory>
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

// A message channel opened on a fresh fake device, closed again at the end.
class FakePort : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(m_manager->OpenPort(m_device.path()), vkRN_OK); }
    void TearDown() override { m_manager->ClosePort(); }

    FakeDevice m_device{uniqueName("cam")};
    std::unique_ptr<ScsiScanManager> m_manager = std::make_unique<ScsiScanManager>();
};
