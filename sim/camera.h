// The simulated camera: the device's side of the SCSI pass-through and of
// the message channel. It assembles messages written to it in any number of
// blocks, answers the connection handshake, serves replies to reads, and
// answers REQUEST SENSE. Thread-safe: every handle of a process reaches the
// same camera, and commands may come from several threads.
//
// Tests steer it through a small control API: identity and block size,
// scripted SRB statuses and partial transfers, silence, leaving the bus,
// replies of the wrong type or size, and a record of every command.
#pragma once

#include "sim/camera_options.h"
#include "sim/event_queue.h"
#include "sim/fault_script.h"
#include "sim/image_params.h"
#include "sim/link_model.h"
#include "sim/message_port.h"
#include "sim/release.h"
#include "sim/remote_api.h"
#include "sim/settings.h"
#include "sim/spoiler.h"
#include "sim/storage.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// What one SCSI command did: the driver's SRB status, the bytes moved, and
// whether the command completes at all.
struct CommandResult {
    std::uint8_t srbStatus;
    std::uint32_t transferred;
    Disposition disposition = Disposition::kComplete;
    // A spoil for the transport to apply on the wire (a camera that spoils
    // on the wire; see setSpoiler).
    std::optional<TransportSpoil> transport = std::nullopt;
};

// A command as the camera received it, for tests to inspect. `data` holds
// what the host wrote (empty for reads).
struct ReceivedCommand {
    std::vector<std::uint8_t> cdb;
    std::uint32_t length;
    std::vector<std::uint8_t> data;
};

// Changes the next reply the camera sends: another message type, or a data
// part of another size (cut or zero-padded, with a matching header).
struct ReplyOverride {
    std::optional<std::uint32_t> type;
    std::optional<std::uint32_t> length;
};

class Camera {
public:
    explicit Camera(CameraOptions options = {});

    // Runs one command. `data` is the host's buffer of `length` bytes: the
    // source of a write, the destination of a read. With a link model, the
    // answer comes when the modelled link would have delivered it.
    CommandResult execute(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                          std::uint32_t length);

    // --- control API -------------------------------------------------------
    // Changes the camera's identity and answers for the next connection,
    // and its link model from the next command on.
    void configure(const CameraOptions& options);
    CameraOptions options() const;
    // The link time of every command answered under a link model.
    std::chrono::nanoseconds linkTime() const { return m_link.total(); }
    // The next commands (of the fault's operation code) answer as scripted.
    void injectFault(const CommandFault& fault);
    void injectFaults(const std::vector<CommandFault>& faults);
    // A silent camera takes commands and never answers them.
    void setSilent(bool silent);
    // A camera off the bus answers every command as a lost device until it
    // is attached again; what it was assembling or about to send is lost.
    void dropOffBus();
    void attach();
    void overrideNextReply(const ReplyOverride& change);
    // A camera that lies (sim/spoiler.h): the spoiler chooses the replies
    // to spoil. With `onWire`, transport spoils are left to the transport
    // (CommandResult::transport); otherwise the camera applies their nearest
    // in-process equivalent. nullptr ends the lying.
    void setSpoiler(std::unique_ptr<Spoiler> spoiler, bool onWire);
    // A new connection of a host: the spoiler plans its next spoil afresh.
    void rearmSpoiler();
    unsigned spoilsDone() const;
    // Queues an event for the host's sense reads: a record of the ID and
    // parameters, or a raw record (whatever its length word says).
    void raiseEvent(std::uint32_t id, const std::vector<std::uint8_t>& parameters = {});
    void raiseEventRecord(const std::vector<std::uint8_t>& record);
    std::size_t eventsWaiting() const;
    void clearEvents();
    // Remote API: one-shot spoiled replies per command code, the size of the
    // benchmark command's data phase, whether event reports are on (notify
    // start turns them on; tests may switch them directly), and every
    // request the camera received.
    void injectRapiFault(std::uint32_t request, const RapiFault& fault);
    void setBenchmarkDataSize(std::uint32_t size);
    void setEventReports(bool on);
    bool eventReports() const;
    std::vector<RapiRequest> rapiRequests() const;
    // Adds or replaces a Remote API command handler; it runs under the
    // camera's lock.
    void defineRapiCommand(std::uint32_t request, RemoteApi::Handler handler);
    // The settings family's state (sim/settings.h): a copy to inspect, and
    // a whole new state.
    SettingsState settings() const;
    void setSettings(const SettingsState& state);
    // The storage family's state (sim/storage.h): the volumes and the cards
    // in them. A copy shares the cards, so a test can look into a card
    // between commands; a new state puts other cards in the slots.
    StorageState storage() const;
    void setStorage(const StorageState& state);
    // The remote-release family's state (sim/release.h): remote release on
    // or off, parameters, transfer mode, shots left, the held image, UI lock.
    ReleaseState release() const;
    void setRelease(const ReleaseState& state);
    // The image-processing family's state (sim/image_params.h).
    ImageParamsState imageParams() const;
    void setImageParams(const ImageParamsState& state);

    // What the host sent, while the camera keeps records (CameraOptions).
    std::vector<ReceivedCommand> received() const;
    // The message types the host sent, in order.
    std::vector<std::uint32_t> messagesReceived() const;
    // Told the bytes of every reply the host reads and of every sense
    // answer, as the host receives them (recorders of honest traffic).
    void tapReplies(
        std::function<void(std::uint8_t opcode, const std::uint8_t* data, std::uint32_t count)>
            tap);
    void clearRecords();

private:
    CommandResult executeLocked(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                                std::uint32_t length);
    CommandResult perform(std::uint8_t opcode, std::uint8_t* data, std::uint32_t length);
    CommandResult requestSense(std::uint8_t* data, std::uint32_t length);
    CommandResult inquiry(const std::uint8_t* cdb, std::size_t cdbLength, std::uint8_t* data,
                          std::uint32_t length);
    Reply answer(std::uint32_t type, const std::vector<std::uint8_t>& payload);
    void spoilTransport(ReplyKind kind, std::uint8_t* data, CommandResult& result);

    mutable std::mutex m_lock;
    CameraOptions m_options;
    MessagePort m_port;
    FaultScript m_faults;
    EventQueue m_events;
    RemoteApi m_remoteApi;
    SettingsState m_settings;
    StorageState m_storage;
    ReleaseState m_release;
    ImageParamsState m_imageParams = defaultImageParams();
    bool m_silent = false;
    bool m_offBus = false;
    std::optional<ReplyOverride> m_replyOverride;
    std::unique_ptr<Spoiler> m_spoiler;
    bool m_spoilOnWire = false;
    ReplyKind m_replyKind = ReplyKind::kHandshake;
    std::vector<std::uint8_t> m_lastRead;  // another command's reply, for a spoiler
    std::function<void(std::uint8_t, const std::uint8_t*, std::uint32_t)> m_tap;
    std::vector<ReceivedCommand> m_received;
    std::vector<std::uint32_t> m_messages;  // the types of the messages the host sent
    LinkClock m_link;
};

// The camera of one name in this process, created on first use: every
// handle of "sim:NAME" reaches it.
std::shared_ptr<Camera> cameraNamed(const std::string& name);
// The next use of the name makes a new camera; handles still open keep the
// old one until they close.
void forgetCamera(const std::string& name);

}  // namespace sim
