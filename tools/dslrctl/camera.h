// One camera session through the public header and the two exports only:
// open the port, connect, and on the way out stop notification, close the
// connection and the port, whatever happened in between. Every failed
// operation becomes a CameraError that names the operation and its code.
#pragma once

#include "VKRNQ402.h"

#include <condition_variable>
#include <cstdint>
#include <ctime>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace dslrctl {

class CameraError : public std::runtime_error {
public:
    // "OPERATION failed: 0x..., words", then "; NOTE" when one is given.
    CameraError(const std::string& operation, std::uint32_t code, const std::string& note = "");
    std::uint32_t code() const { return m_code; }

private:
    std::uint32_t m_code;
};

struct CameraEvent {
    std::uint32_t id = 0;
    std::vector<std::uint8_t> parameters;
};

// The event IDs dslrctl acts on.
constexpr std::uint32_t kEventJpegHeld = 8;
constexpr std::uint32_t kEventNumbers = 10;
constexpr std::uint32_t kEventRawHeld = 12;
constexpr std::uint32_t kEventNumber = 14;
constexpr std::uint32_t kEventStored = 16;
constexpr std::uint32_t kEventLost = 0x0004000D;

struct Volume {
    std::string name;
    std::uint32_t freeKiB = 0;
    std::uint32_t capacityKiB = 0;
};

struct Entry {
    std::string path;  // as the camera writes it
    std::uint16_t attributes = 0;
    std::uint32_t size = 0;
    std::time_t time = 0;  // UTC
    bool directory() const { return (attributes & 0x10) != 0; }
};

// The largest block a file write carries.
constexpr std::uint32_t kWriteBlock = 0xFF00;

class Camera {
public:
    explicit Camera(const std::string& port);
    ~Camera();
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    DslrObject* operator->() const { return m_object; }
    DslrObject* get() const { return m_object; }
    // Throws CameraError when `result` is not success.
    static void check(const char* operation, std::uint32_t result);

    void startEvents();
    // The next event; false when none came in time or Ctrl-C was pressed.
    bool nextEvent(CameraEvent& event, int timeoutMs);

    std::vector<Volume> volumes() const;
    // The entries `depth` levels below `path` (the path's own record left out).
    std::vector<Entry> list(const std::string& path, std::uint8_t depth) const;
    // The record of the path itself; false when there is none.
    bool stat(const std::string& path, Entry& entry) const;
    // Reads `length` announced bytes into `data` at `offset`.
    void read(std::uint8_t* data, std::uint32_t length) const;
    // Abandons a transfer under way (after Ctrl-C).
    void resetTransfer() const;

private:
    static std::uint32_t DSLR_STDCALL onEvent(std::uint32_t id, void* parameters,
                                              std::uint32_t size, std::uintptr_t context);

    DslrObject* m_object = nullptr;
    bool m_portOpen = false;
    bool m_connected = false;
    bool m_notifying = false;
    std::mutex m_lock;
    std::condition_variable m_arrived;
    std::deque<CameraEvent> m_events;
};

// User paths ("ATA01:/DCIM/X.JPG", "/DCIM", "ata02:") in the camera's syntax
// ("ATA01:\DCIM\X.JPG"); a path without a volume is on ATA01.
std::string cameraPath(const std::string& path);
// Camera paths as the tool shows them: "ATA01:/DCIM/X.JPG".
std::string shownPath(const std::string& path);
// The last part of a path.
std::string baseName(const std::string& path);

}  // namespace dslrctl
