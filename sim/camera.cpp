#include "sim/camera.h"

#include "sim/handshake.h"
#include "sim/inquiry.h"
#include "sim/record_fields.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <thread>

namespace sim {

namespace {

constexpr std::uint8_t kSuccess = 0x01;
constexpr std::uint8_t kError = 0x04;
constexpr std::uint8_t kRequestFlushed = 0x16;

bool isWrite(std::uint8_t opcode) { return opcode == 0x2A || opcode == 0xAA; }

ReplyKind replyKindOf(const Message& message)
{
    if (message.type != kRapiFrame) return ReplyKind::kHandshake;
    const std::uint32_t request = wordAt(message.data, 4);
    // The listing and the drive strings: the records a host builds names from.
    return request == 0x1120000B || request == 0x1120000E ? ReplyKind::kListing : ReplyKind::kRapi;
}

}  // namespace

Camera::Camera(CameraOptions options) : m_options(options)
{
    registerSettings(m_remoteApi, m_settings, m_options.modelId);
    m_storage = defaultStorage(cameraClock(m_settings));
    registerStorage(m_remoteApi, m_storage, m_settings, m_options.modelId);
    registerRelease(m_remoteApi, m_release, m_storage, m_settings, m_events, m_options.modelId);
    registerImageParams(m_remoteApi, m_imageParams, m_options.modelId);
    m_remoteApi.keepRecords(m_options.keepRecords);
}

CommandResult Camera::execute(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                              std::uint32_t length)
{
    // The link's time runs from the command's arrival: the camera's own work
    // happens while the link is busy, not after it.
    const LinkClock::Clock::time_point arrived = LinkClock::Clock::now();
    LinkClock::Clock::time_point due;
    CommandResult result{};
    {
        std::lock_guard<std::mutex> guard(m_lock);
        result = executeLocked(cdb, cdbLength, data, length);
        // A command that is never answered holds no link time.
        if (m_options.link == LinkModel::kInstant || result.disposition != Disposition::kComplete)
            return result;
        due = m_link.schedule(linkCommandTime(m_options.link, result.transferred), arrived);
    }
    // The wait is outside the lock: the control API stays at hand meanwhile.
    std::this_thread::sleep_until(due);
    m_link.answered(LinkClock::Clock::now());
    return result;
}

CommandResult Camera::executeLocked(const std::uint8_t* cdb, std::size_t cdbLength,
                                    std::uint8_t* data, std::uint32_t length)
{
    if (cdb == nullptr || cdbLength == 0 || (data == nullptr && length != 0)) return {kError, 0};
    const std::uint8_t opcode = cdb[0];
    if (m_options.keepRecords) {
        ReceivedCommand record{std::vector<std::uint8_t>(cdb, cdb + cdbLength), length, {}};
        if (isWrite(opcode)) record.data.assign(data, data + length);
        m_received.push_back(std::move(record));
    }

    if (m_offBus) return {kRequestFlushed, 0, Disposition::kDeviceLost};
    if (m_silent) return {0, 0, Disposition::kSilent};
    // Scripted faults are for the commands of the message channel; INQUIRY
    // is the device's identity, answered the same whatever is scripted.
    if (opcode == kInquiry) return inquiry(cdb, cdbLength, data, length);
    std::optional<CommandFault> fault = m_faults.take(opcode);
    if (!fault) {
        CommandResult result = perform(opcode, data, length);
        if (m_tap && !isWrite(opcode) && result.disposition == Disposition::kComplete)
            m_tap(opcode, data, std::min(result.transferred, length));
        return result;
    }
    if (fault->disposition == Disposition::kDeviceLost) {
        m_offBus = true;
        m_port.reset();
    }
    if (fault->disposition != Disposition::kComplete || fault->maxBytes == 0)
        return {fault->srbStatus, 0, fault->disposition};
    CommandResult result = perform(opcode, data, std::min(length, fault->maxBytes));
    result.srbStatus = fault->srbStatus;
    return result;
}

CommandResult Camera::perform(std::uint8_t opcode, std::uint8_t* data, std::uint32_t length)
{
    switch (opcode) {
        case 0x2A:
        case 0xAA:
            if (std::optional<Message> message = m_port.write(data, length)) {
                if (m_options.keepRecords) m_messages.push_back(message->type);
                // A new message ends whatever the host left unread.
                Reply reply = answer(message->type, message->data);
                m_replyKind = replyKindOf(*message);
                if (m_spoiler) m_spoiler->spoilReply(m_replyKind, reply);
                m_port.setReply(std::move(reply));
            }
            return {kSuccess, length};
        case 0x28:
        case 0xA8: {
            // Nothing to send: the host asks again until its time runs out.
            const std::size_t count = m_port.read(data, length);
            if (count == 0) return {kError, 0};
            CommandResult result{kSuccess, static_cast<std::uint32_t>(count)};
            spoilTransport(m_replyKind, data, result);
            return result;
        }
        case 0x03:
            return requestSense(data, length);
        default:
            return {kError, 0};
    }
}

CommandResult Camera::inquiry(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                              std::uint32_t length)
{
    const std::vector<std::uint8_t> answer = inquiryData(cdb, cdbLength);
    if (answer.empty()) return {kError, 0};
    const std::uint32_t count =
        std::min<std::uint32_t>(length, static_cast<std::uint32_t>(answer.size()));
    std::memcpy(data, answer.data(), count);
    return {kSuccess, count};
}

CommandResult Camera::requestSense(std::uint8_t* data, std::uint32_t length)
{
    // A camera that was not told to notify keeps its events to itself.
    std::vector<std::uint8_t> sense =
        m_remoteApi.notifying() ? m_events.nextSense() : EventQueue().nextSense();
    if (m_spoiler) m_spoiler->spoilSense(sense);
    const std::uint32_t count =
        std::min<std::uint32_t>(length, static_cast<std::uint32_t>(sense.size()));
    std::memcpy(data, sense.data(), count);
    CommandResult result{kSuccess, count};
    spoilTransport(ReplyKind::kSense, data, result);
    return result;
}

void Camera::spoilTransport(ReplyKind kind, std::uint8_t* data, CommandResult& result)
{
    if (!m_spoiler) return;
    std::vector<std::uint8_t> previous = m_lastRead;
    if (kind != ReplyKind::kSense) m_lastRead.assign(data, data + result.transferred);
    std::optional<TransportSpoil> spoil = m_spoiler->spoilTransport(kind, result.transferred);
    if (m_spoilOnWire || !spoil) {
        result.transport = spoil;
    } else {
        // In-process there is no header or tag: the count the host is given
        // and the bytes it finds stand in for them.
        switch (spoil->spoil) {
            case SpoilClass::kTruncated:
                result.transferred = std::min(result.transferred, spoil->bytes);
                m_port.reset();
                break;
            case SpoilClass::kCountsMore:
                result.transferred += spoil->bytes;
                break;
            case SpoilClass::kCountsLess:
                result.transferred -= std::min(result.transferred, spoil->bytes);
                break;
            case SpoilClass::kOtherTag: {
                const auto count = std::min<std::size_t>(result.transferred, previous.size());
                std::copy_n(previous.begin(), count, data);
                result.transferred = static_cast<std::uint32_t>(count);
                break;
            }
            default:  // a stall: some bytes moved, the command never answered
                result.transferred = std::min(result.transferred, spoil->bytes);
                result.disposition = Disposition::kSilent;
        }
    }
}

Reply Camera::answer(std::uint32_t type, const std::vector<std::uint8_t>& payload)
{
    if (type == kRapiFrame) {
        // The Remote API reply is sent as it is (faults of its own above).
        return m_remoteApi.answer(payload).value_or(Reply{});
    }
    std::optional<Message> reply = answerHandshake({type, payload}, m_options);
    if (!reply) return {};
    if (m_replyOverride) {
        if (m_replyOverride->type) reply->type = *m_replyOverride->type;
        if (m_replyOverride->length) reply->data.resize(*m_replyOverride->length);
        m_replyOverride.reset();
    }
    return {encodeMessage(reply->type, reply->data), {}};
}

void Camera::configure(const CameraOptions& options)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_options = options;
    m_remoteApi.keepRecords(m_options.keepRecords);
}

CameraOptions Camera::options() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_options;
}

void Camera::injectFault(const CommandFault& fault) { injectFaults({fault}); }

void Camera::injectFaults(const std::vector<CommandFault>& faults)
{
    std::lock_guard<std::mutex> guard(m_lock);
    for (const CommandFault& fault : faults) m_faults.add(fault);
}

void Camera::setSilent(bool silent)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_silent = silent;
}

void Camera::dropOffBus()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_offBus = true;
    m_port.reset();
}

void Camera::attach()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_offBus = false;
}

void Camera::overrideNextReply(const ReplyOverride& change)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_replyOverride = change;
}

void Camera::setSpoiler(std::unique_ptr<Spoiler> spoiler, bool onWire)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_spoiler = std::move(spoiler);
    m_spoilOnWire = onWire;
}

void Camera::rearmSpoiler()
{
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_spoiler) m_spoiler->rearm();
}

unsigned Camera::spoilsDone() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_spoiler ? m_spoiler->spoiled() : 0;
}

void Camera::raiseEvent(std::uint32_t id, const std::vector<std::uint8_t>& parameters)
{
    raiseEventRecord(eventRecord(id, parameters));
}

void Camera::raiseEventRecord(const std::vector<std::uint8_t>& record)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_events.push(record);
}

std::size_t Camera::eventsWaiting() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_events.waiting();
}

void Camera::clearEvents()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_events.clear();
}

void Camera::injectRapiFault(std::uint32_t request, const RapiFault& fault)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_remoteApi.injectFault(request, fault);
}

void Camera::setBenchmarkDataSize(std::uint32_t size)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_remoteApi.setBenchmarkDataSize(size);
}

void Camera::setEventReports(bool on)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_remoteApi.setNotifying(on);
}

bool Camera::eventReports() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_remoteApi.notifying();
}

std::vector<RapiRequest> Camera::rapiRequests() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_remoteApi.requests();
}

void Camera::defineRapiCommand(std::uint32_t request, RemoteApi::Handler handler)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_remoteApi.define(request, std::move(handler));
}

SettingsState Camera::settings() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_settings;
}

void Camera::setSettings(const SettingsState& state)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_settings = state;
}

StorageState Camera::storage() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_storage;
}

void Camera::setStorage(const StorageState& state)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_storage = state;
}

ReleaseState Camera::release() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_release;
}

void Camera::setRelease(const ReleaseState& state)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_release = state;
}

ImageParamsState Camera::imageParams() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_imageParams;
}

void Camera::setImageParams(const ImageParamsState& state)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_imageParams = state;
}

std::vector<ReceivedCommand> Camera::received() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_received;
}

std::vector<std::uint32_t> Camera::messagesReceived() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_messages;
}

void Camera::tapReplies(
    std::function<void(std::uint8_t opcode, const std::uint8_t* data, std::uint32_t count)> tap)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_tap = std::move(tap);
}

void Camera::clearRecords()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_received.clear();
    m_messages.clear();
}

namespace {

std::mutex& cameraLock()
{
    static std::mutex lock;
    return lock;
}

// Never destroyed: handles may close after static destruction began.
std::map<std::string, std::shared_ptr<Camera>>& cameras()
{
    static auto* named = new std::map<std::string, std::shared_ptr<Camera>>;
    return *named;
}

}  // namespace

std::shared_ptr<Camera> cameraNamed(const std::string& name)
{
    std::lock_guard<std::mutex> guard(cameraLock());
    std::shared_ptr<Camera>& camera = cameras()[name];
    if (!camera) camera = std::make_shared<Camera>();
    return camera;
}

void forgetCamera(const std::string& name)
{
    std::lock_guard<std::mutex> guard(cameraLock());
    cameras().erase(name);
}

}  // namespace sim
