// Spoiled replies: a camera that lies, for hosts to be tried against. A
// spoiler chooses which reply to spoil and how from a source of choices (a
// seed, or the bytes of a fuzz input), so that every run is reproducible.
//
// The classes are of two kinds. Transport classes spoil how a reply travels:
// the camera's transport applies them (the socket server on the wire; the
// in-process camera as its nearest equivalent). Message classes spoil what a
// reply says, and the camera applies them before the reply is read.
#pragma once

#include "sim/message_port.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

enum class SpoilClass : std::uint8_t {
    // transport
    kTruncated,   // part of the reply, then the connection is gone
    kCountsMore,  // the reply's header counts more bytes than follow
    kCountsLess,  // the reply's header counts fewer bytes than follow
    kOtherTag,    // the reply carries another command's tag
    kStall,       // the first bytes of the reply, then silence
    // messages
    kFrameHeader,  // a word of the message frame's header (type, length)
    kRapiHeader,   // a word of the Remote API reply header
    kAnnounced,    // an announced data length, or a data phase of another length
    kRecordWord,   // a word of a reply record
    kListing,      // bytes of a directory listing or of the drive strings
    kSense,        // sense data and the event record in it
};

constexpr std::size_t kSpoilClassCount = 11;

bool isTransportSpoil(SpoilClass spoil);
const char* spoilClassName(SpoilClass spoil);
// "truncated,sense" or "all"; false on an unknown name.
bool parseSpoilClasses(const std::string& text, std::vector<SpoilClass>& classes);
std::vector<SpoilClass> allSpoilClasses();

// Where the choices come from: a numbered seed or a fuzz input's bytes.
class Choices {
public:
    virtual ~Choices() = default;
    // A number below `bound` (bound > 0).
    virtual std::uint32_t below(std::uint32_t bound) = 0;
    // False once a byte source has run dry: no more spoils are planned.
    virtual bool more() const { return true; }
};

std::unique_ptr<Choices> seededChoices(std::uint64_t seed);
std::unique_ptr<Choices> byteChoices(std::vector<std::uint8_t> bytes);

// How a transport spoil is applied: `bytes` is how many bytes of the reply
// still travel (truncated, stall) or by how much the count is off.
struct TransportSpoil {
    SpoilClass spoil;
    std::uint32_t bytes;
};

// What a reply is, for the spoiler to tell which classes fit it.
enum class ReplyKind { kHandshake, kRapi, kListing, kSense };

class Spoiler {
public:
    // `limit`: how many spoils before the spoiler rests (0: no limit).
    Spoiler(std::vector<SpoilClass> classes, std::unique_ptr<Choices> choices, unsigned limit);

    // Spoils a reply's message (frame, Remote API header, record, data
    // phase) when its turn has come.
    void spoilReply(ReplyKind kind, Reply& reply);
    // Spoils sense data when its turn has come.
    void spoilSense(std::vector<std::uint8_t>& sense);
    // The transport spoil of a command that moves `length` bytes of a reply,
    // when its turn has come.
    std::optional<TransportSpoil> spoilTransport(ReplyKind kind, std::uint32_t length);
    // Starts over with the next spoil (a new connection of a host).
    void rearm();
    // Whether handshake replies may be spoiled too (a fuzzer's camera; a
    // lying dslrsim answers the handshake honestly).
    void spoilHandshakes(bool on) { m_handshakes = on; }
    unsigned spoiled() const { return m_spoiled; }
    // Told the class of every spoil as it is made (under the camera's lock).
    void onSpoil(std::function<void(SpoilClass)> report) { m_report = std::move(report); }

private:
    bool due(SpoilClass wanted, bool fits);
    void plan();
    std::uint32_t spoiledWord(std::uint32_t word);
    void spoilBytes(std::vector<std::uint8_t>& bytes, std::size_t from, std::size_t to);

    std::vector<SpoilClass> m_classes;
    std::unique_ptr<Choices> m_choices;
    unsigned m_limit;
    unsigned m_spoiled = 0;
    bool m_planned = false;
    SpoilClass m_next = SpoilClass::kTruncated;
    std::uint32_t m_countdown = 0;
    // A transport spoil waits for a sense read or for another read: the
    // host's event polling runs on its own time, so only the second kind is
    // reproducible whatever the host's threads do.
    bool m_onSense = false;
    bool m_handshakes = false;
    std::function<void(SpoilClass)> m_report;
};

}  // namespace sim
