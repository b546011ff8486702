// A device object connected to a fresh in-process camera through its slots,
// for suites that test operations end to end.
#pragma once

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "sim/camera.h"
#include "support/fake_device.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

class SimObject : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_camera = sim::cameraNamed(m_name);
        m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
        m_slots = m_object;
        ASSERT_EQ(m_slots->baseDslrOpenPort(("sim:" + m_name).c_str()), vkRN_OK);
        ASSERT_EQ(m_slots->baseOpenCameraComm(0, nullptr, 0), vkRN_OK);
    }
    void TearDown() override
    {
        m_slots->baseCloseCameraComm();
        m_slots->baseDslrClosePort();
        DSLR_DeleteObject(m_slots);
    }

    std::string m_name = uniqueName("object");
    std::shared_ptr<sim::Camera> m_camera;
    Dslr1394Object* m_object = nullptr;
    DslrObject* m_slots = nullptr;
};
