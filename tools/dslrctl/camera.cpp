#include "camera.h"
#include "camera_checks.h"

#include "interrupt.h"
#include "output.h"
#include "result_words.h"

#include <algorithm>
#include <iostream>
#include <cctype>
#include <chrono>
#include <cstring>

namespace dslrctl {

namespace {

// Listing times are the camera's local standard time, as its clock counts:
// the host's UTC less the C runtime's zone offset.
long zoneOffset()
{
#ifdef _WIN32
    _tzset();
    return _timezone;
#else
    tzset();
    return timezone;
#endif
}

std::vector<std::uint8_t> subtreeRequest(const std::string& path, std::uint8_t depth)
{
    std::vector<std::uint8_t> request{depth};
    request.insert(request.end(), path.begin(), path.end());
    request.insert(request.end(), {0, 0, 0});
    return request;
}

}  // namespace

CameraError::CameraError(const std::string& operation, std::uint32_t code, const std::string& note)
    : std::runtime_error(failureText(operation, code) + (note.empty() ? "" : "; " + note)), m_code(code)
{
}

void Camera::check(const char* operation, std::uint32_t result)
{
    if (result != vkRN_OK) throw CameraError(operation, result);
}

Camera::Camera(const std::string& port) : m_object(DSLR_GetObject())
{
    if (m_object == nullptr) throw std::runtime_error("DSLR_GetObject gave no device object");
    try {
        check("baseDslrOpenPort", m_object->baseDslrOpenPort(port.c_str()));
        m_portOpen = true;
        check("baseOpenCameraComm",
              m_object->baseOpenCameraComm(0, &Camera::onEvent, reinterpret_cast<std::uintptr_t>(this)));
        m_connected = true;
    } catch (...) {
        if (m_portOpen) m_object->baseDslrClosePort();
        DSLR_DeleteObject(m_object);
        throw;
    }
}

Camera::~Camera()
{
    if (m_notifying) m_object->baseNotifyTerminate();
    if (m_connected) m_object->baseCloseCameraComm();
    if (m_portOpen) m_object->baseDslrClosePort();
    DSLR_DeleteObject(m_object);
}

std::uint32_t DSLR_STDCALL Camera::onEvent(std::uint32_t id, void* parameters, std::uint32_t size,
                                           std::uintptr_t context)
{
    auto* camera = reinterpret_cast<Camera*>(context);
    CameraEvent event;
    event.id = id;
    // No event area holds more than its 64 bytes: a larger size is a lie,
    // and the bytes behind it are not the event's.
    if (parameters != nullptr && size != 0 && size <= kLongestEventParameters) {
        const auto* bytes = static_cast<const std::uint8_t*>(parameters);
        event.parameters.assign(bytes, bytes + size);
    }
    if (size > kLongestEventParameters || !wellFormedEvent(event)) {
        std::cerr << "dslrctl: a malformed camera event was left out (ID " << hexWord(id) << ", "
                  << size << " parameter bytes)\n";
        return 0;
    }
    {
        const std::lock_guard<std::mutex> hold(camera->m_lock);
        camera->m_events.push_back(std::move(event));
    }
    camera->m_arrived.notify_all();
    return 0;
}

void Camera::startEvents()
{
    if (m_notifying) return;
    check("baseNotifyStart", m_object->baseNotifyStart());
    m_notifying = true;
}

bool Camera::nextEvent(CameraEvent& event, int timeoutMs)
{
    // Short waits, so that Ctrl-C is seen within a tenth of a second.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    std::unique_lock<std::mutex> hold(m_lock);
    while (m_events.empty()) {
        if (interrupted() || std::chrono::steady_clock::now() >= end) return false;
        m_arrived.wait_for(hold, std::chrono::milliseconds(100));
    }
    event = std::move(m_events.front());
    m_events.pop_front();
    return true;
}

std::vector<Volume> Camera::volumes() const
{
    std::uint8_t buffer[273] = {};
    std::uint16_t count = 3;
    check("baseGetVols", m_object->baseGetVols(buffer, &count));
    std::uint32_t entries = 0;
    std::memcpy(&entries, buffer, 4);
    std::vector<Volume> result;
    for (std::size_t i = 0, at = 4; i < entries && at + 12 < sizeof(buffer); ++i) {
        Volume volume;
        std::memcpy(&volume.freeKiB, buffer + at + 4, 4);
        std::memcpy(&volume.capacityKiB, buffer + at + 8, 4);
        const auto* name = reinterpret_cast<const char*>(buffer + at + 12);
        volume.name.assign(name, strnlen(name, sizeof(buffer) - at - 12));
        at += 12 + volume.name.size() + 1;
        result.push_back(volume);
    }
    return result;
}

std::vector<Entry> Camera::list(const std::string& path, std::uint8_t depth) const
{
    std::vector<std::uint8_t> request = subtreeRequest(path, depth);
    std::uint32_t length = 0;
    check("baseGetDirs", m_object->baseGetDirs(request.data(), &length));
    checkListingLength(*this, length);
    std::vector<std::uint8_t> data(length);
    if (length != 0) read(data.data(), length);
    std::vector<Entry> entries;
    const long offset = zoneOffset();
    for (std::size_t at = 0; at + 10 < data.size();) {
        Entry entry;
        std::uint32_t time = 0;
        std::memcpy(&entry.attributes, &data[at], 2);
        std::memcpy(&entry.size, &data[at + 2], 4);
        std::memcpy(&time, &data[at + 6], 4);
        const auto* text = reinterpret_cast<const char*>(&data[at + 10]);
        entry.path.assign(text, strnlen(text, data.size() - at - 10));
        if (entry.path.empty()) break;
        at += 10 + entry.path.size() + 1;
        entry.time = static_cast<std::time_t>(time) + offset;
        if (depth != 0 && shownPath(entry.path) == shownPath(path)) continue;
        entries.push_back(std::move(entry));
    }
    return entries;
}

bool Camera::stat(const std::string& path, Entry& entry) const
{
    try {
        const std::vector<Entry> found = list(path, 0);
        if (found.empty()) return false;
        entry = found.front();
        return true;
    } catch (const CameraError& error) {
        // Not there, or a name the camera could not have made.
        if (error.code() == 0x02000201u || error.code() == 0x02000102u) return false;
        throw;
    }
}

void Camera::read(std::uint8_t* data, std::uint32_t length) const
{
    check("baseDslrReadData", m_object->baseDslrReadData(data, length));
}

void Camera::resetTransfer() const { m_object->baseDslrResetTransfer(1); }

std::string cameraPath(const std::string& path)
{
    std::string result = path;
    std::replace(result.begin(), result.end(), '/', '\\');
    const std::size_t colon = result.find(':');
    if (colon == std::string::npos) {
        if (result.empty() || result[0] != '\\') result.insert(0, "\\");
        result.insert(0, "ATA01:");
    } else if (colon + 1 == result.size() || result[colon + 1] != '\\') {
        result.insert(colon + 1, "\\");
    }
    for (std::size_t i = 0; i < result.find(':'); ++i)
        result[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(result[i])));
    return result;
}

std::string shownPath(const std::string& path)
{
    std::string result = path;
    // Other models write "/ATA01\DCIM"; show every path in one syntax.
    if (!result.empty() && result[0] == '/' && result.find(':') == std::string::npos) {
        const std::size_t end = result.find('\\');
        result = result.substr(1, end == std::string::npos ? std::string::npos : end - 1) + ":" +
                 (end == std::string::npos ? "\\" : result.substr(end));
    }
    std::replace(result.begin(), result.end(), '\\', '/');
    while (result.size() > 1 && result.back() == '/' && result[result.size() - 2] != ':')
        result.pop_back();
    return result;
}

std::string baseName(const std::string& path)
{
    const std::size_t end = path.find_last_of("/\\:");
    return end == std::string::npos ? path : path.substr(end + 1);
}

}  // namespace dslrctl
