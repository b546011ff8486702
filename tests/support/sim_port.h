// A message channel opened on a fresh in-process camera, for suites that
// drive the simulator through the library.
#pragma once

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "sim/camera.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

class SimPort : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_camera = sim::cameraNamed(m_name);
        m_manager = new ScsiScanManager;
        ASSERT_EQ(m_manager->OpenPort(("sim:" + m_name).c_str()), vkRN_OK);
    }
    void TearDown() override
    {
        EXPECT_EQ(m_manager->ClosePort(), vkRN_OK);
        delete m_manager;
        m_camera->setSilent(false);
        m_camera->attach();
    }
    DWORD connect()
    {
        DWORD deviceID = 0, model = 0;
        WORD endian = 0;
        return m_manager->ConnectCamera(&deviceID, &model, &endian);
    }

    std::string m_name = uniqueName("camera");
    std::shared_ptr<sim::Camera> m_camera;
    ScsiScanManager* m_manager = nullptr;
};
