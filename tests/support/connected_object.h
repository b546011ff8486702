// A device object with its port open and the camera connected through its
// slots (with a notification callback where given), closed and deleted
// again when the owner goes.
#pragma once

#include "VKRNQ402.h"

#include <gtest/gtest.h>

#include <string>

class ConnectedObject {
public:
    explicit ConnectedObject(const std::string& port, DslrNotifyCallback callback = nullptr,
                             uintptr_t context = 0)
        : m_slots(DSLR_GetObject())
    {
        m_connected = m_slots->baseDslrOpenPort(port.c_str()) == vkRN_OK &&
                      m_slots->baseOpenCameraComm(0, callback, context) == vkRN_OK;
    }
    ~ConnectedObject()
    {
        disconnect();
        DSLR_DeleteObject(m_slots);
    }
    // Ends the connection and closes the port (while the camera is still there).
    void disconnect()
    {
        if (!m_connected) return;
        EXPECT_EQ(m_slots->baseCloseCameraComm(), vkRN_OK);
        EXPECT_EQ(m_slots->baseDslrClosePort(), vkRN_OK);
        m_connected = false;
    }
    ConnectedObject(const ConnectedObject&) = delete;
    ConnectedObject& operator=(const ConnectedObject&) = delete;

    bool connected() const { return m_connected; }
    DslrObject* get() const { return m_slots; }
    DslrObject* operator->() const { return m_slots; }

private:
    DslrObject* m_slots;
    bool m_connected = false;
};
