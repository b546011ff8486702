// The camera's Remote API engine: requests arrive as the payload of a
// 0x10000010 message; each is dispatched by its command code to a handler
// that returns the reply record and, for commands that announce one, the
// data that follows the reply. The dispatch is a table the storage,
// settings and release-control commands extend.
#pragma once

#include "sim/message_port.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace sim {

struct RapiRequest {
    std::uint32_t kind = 0;
    std::uint32_t messageId = 0;
    std::uint32_t size = 0;
    std::uint32_t refConst = 0;
    std::vector<std::uint8_t> params;
};

struct RapiAnswer {
    std::uint32_t errorCode = 0;
    std::vector<std::uint8_t> record;  // after the 20-byte reply header
    ByteSource data;                   // an announced data phase, read after the reply
    bool replies = true;               // false: the command gets no reply at all
};

// Spoils the next reply to one command code, as a confused camera would.
struct RapiFault {
    std::optional<std::uint32_t> errorCode;
    std::optional<std::uint32_t> replyId;
    std::optional<std::uint32_t> refConst;
};

constexpr std::uint32_t kRapiFrame = 0x10000010;
constexpr std::uint32_t kRapiReplyFrame = 0x20000010;
constexpr std::uint32_t kRapiUnknownCommand = 0x00A50001;

class RemoteApi {
public:
    using Handler = std::function<RapiAnswer(const RapiRequest&)>;

    RemoteApi();
    // Adds or replaces the handler of a command code.
    void define(std::uint32_t request, Handler handler);
    // The bytes the camera sends back for a request message's payload: the
    // reply frame and any data phase after it; nothing when it does not
    // answer. A payload too short for a request header is not answered.
    std::optional<Reply> answer(const std::vector<std::uint8_t>& payload);

    void injectFault(std::uint32_t request, const RapiFault& fault) { m_faults[request] = fault; }
    bool notifying() const { return m_notifying; }
    void setNotifying(bool on) { m_notifying = on; }
    void setBenchmarkDataSize(std::uint32_t size) { m_benchmarkSize = size; }
    std::vector<RapiRequest> requests() const { return m_requests; }
    void keepRecords(bool on) { m_keepRecords = on; }

private:
    std::map<std::uint32_t, Handler> m_handlers;
    std::map<std::uint32_t, RapiFault> m_faults;
    std::vector<RapiRequest> m_requests;
    bool m_keepRecords = true;
    bool m_notifying = false;
    std::uint32_t m_benchmarkSize = 0x1000;
};

// A refusal still carries a record of the command's size (zeros), as the
// host reads a reply of that size whatever its error word says.
RapiAnswer refuse(std::uint32_t error, std::size_t recordSize = 0);

// The bytes of a benchmark data phase: byte i is (i * 7 + 3) & 0xFF.
std::vector<std::uint8_t> benchmarkData(std::uint32_t size);

}  // namespace sim
