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

// The library's refusal of an argument, and its result for an error code the
// camera answered.
constexpr DWORD kBad = vkRNERROR_INVALID_PARAMETER;
constexpr DWORD cameraError(std::uint32_t error) { return 0x02000000u | (error & 0xFFFF); }

class SimObject : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_camera = sim::cameraNamed(m_name);
        if (m_modelId != 0) configureModel(m_modelId);
        m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
        m_slots = m_object;
        ASSERT_EQ(m_slots->baseDslrOpenPort(("sim:" + m_name).c_str()), vkRN_OK);
        ASSERT_EQ(m_slots->baseOpenCameraComm(0, m_callback, m_context), vkRN_OK);
    }
    void TearDown() override
    {
        if (m_slots != nullptr) deleteObject();
    }
    // Closes and deletes the object before the test ends.
    void deleteObject()
    {
        m_slots->baseCloseCameraComm();
        m_slots->baseDslrClosePort();
        DSLR_DeleteObject(m_slots);
        m_slots = nullptr;
    }

    // The model the camera reports from now on.
    void configureModel(std::uint32_t model)
    {
        sim::CameraOptions options = m_camera->options();
        options.modelId = model;
        m_camera->configure(options);
    }
    // How many Remote API requests the camera has had, and the last one.
    std::size_t sent() const { return m_camera->rapiRequests().size(); }
    sim::RapiRequest lastRequest() const { return m_camera->rapiRequests().back(); }

    // A derived fixture may set these in its constructor: the model the
    // camera reports (0: its own) and the notification callback.
    std::uint32_t m_modelId = 0;
    DslrNotifyCallback m_callback = nullptr;
    uintptr_t m_context = 0;

    std::string m_name = uniqueName("object");
    std::shared_ptr<sim::Camera> m_camera;
    Dslr1394Object* m_object = nullptr;
    DslrObject* m_slots = nullptr;
};
