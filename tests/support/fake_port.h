// A message channel opened on a plain file standing in for a device, for
// suites that play the device from a script (support/scripted_device.h).
#pragma once

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

class FakePort : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_manager = new ScsiScanManager;
        ASSERT_EQ(m_manager->OpenPort(m_device.path()), vkRN_OK);
    }
    void TearDown() override
    {
        m_manager->ClosePort();
        delete m_manager;
    }

    FakeDevice m_device{uniqueName("cam")};
    ScsiScanManager* m_manager = nullptr;
};
