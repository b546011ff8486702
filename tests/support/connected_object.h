// A device object with its port open and the camera connected through its
// slots (with a notification callback where given), closed and deleted
// again when the owner goes. The tests and the benchmarks share it, so it
// asserts nothing itself: disconnect() says whether the close succeeded.
#pragma once

#include "VKRNQ402.h"

#include <string>

class ConnectedObject {
public:
    explicit ConnectedObject(const std::string& port, DslrNotifyCallback callback = nullptr,
                             uintptr_t context = 0)
        : m_slots(DSLR_GetObject())
    {
        m_connected = m_slots != nullptr && !port.empty() &&
                      m_slots->baseDslrOpenPort(port.c_str()) == vkRN_OK &&
                      m_slots->baseOpenCameraComm(0, callback, context) == vkRN_OK;
    }
    ~ConnectedObject()
    {
        disconnect();
        if (m_slots != nullptr) DSLR_DeleteObject(m_slots);
    }
    // Ends the connection and closes the port (while the camera is still
    // there); true when both succeeded, or when there was nothing to end.
    bool disconnect()
    {
        if (!m_connected) return true;
        m_connected = false;
        const bool closed = m_slots->baseCloseCameraComm() == vkRN_OK;
        return m_slots->baseDslrClosePort() == vkRN_OK && closed;
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
