#include "sim/remote_api.h"

#include "sim/message_port.h"
#include "sim/record_fields.h"

#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kRequestHeader = 16;
constexpr std::uint32_t kReplyBit = 0x10000000;

std::vector<std::uint8_t> replyMessage(const RapiRequest& request, const RapiAnswer& answer,
                                       const RapiFault& fault)
{
    std::vector<std::uint8_t> reply;
    putWord(reply, request.kind);
    putWord(reply, fault.replyId.value_or(request.messageId + kReplyBit));
    putWord(reply, static_cast<std::uint32_t>(20 + answer.record.size()));
    putWord(reply, fault.refConst.value_or(request.refConst));
    putWord(reply, fault.errorCode.value_or(answer.errorCode));
    reply.insert(reply.end(), answer.record.begin(), answer.record.end());
    return reply;
}

}  // namespace

RapiAnswer refuse(std::uint32_t error, std::size_t recordSize)
{
    RapiAnswer answer;
    answer.errorCode = error;
    answer.record.assign(recordSize, 0);
    return answer;
}

std::vector<std::uint8_t> benchmarkData(std::uint32_t size)
{
    std::vector<std::uint8_t> data(size);
    for (std::uint32_t i = 0; i < size; ++i) data[i] = static_cast<std::uint8_t>(i * 7 + 3);
    return data;
}

RemoteApi::RemoteApi()
{
    define(0x121000FE, [this](const RapiRequest&) {  // notify start
        m_notifying = true;
        return RapiAnswer{};
    });
    define(0x121000FF, [this](const RapiRequest&) {  // notify stop
        m_notifying = false;
        return RapiAnswer{};
    });
    define(0x11200002, [this](const RapiRequest&) {  // data-phase benchmark
        RapiAnswer answer;
        answer.record.assign(16, 0);
        std::memcpy(answer.record.data(), &m_benchmarkSize, 4);
        answer.data = bytesSource(benchmarkData(m_benchmarkSize));
        return answer;
    });
    define(0x13100001, [](const RapiRequest&) { return RapiAnswer{}; });  // firmware-update test
}

void RemoteApi::define(std::uint32_t request, Handler handler)
{
    m_handlers[request] = std::move(handler);
}

std::optional<Reply> RemoteApi::answer(const std::vector<std::uint8_t>& payload)
{
    if (payload.size() < kRequestHeader) return std::nullopt;
    RapiRequest request{wordAt(payload, 0), wordAt(payload, 4), wordAt(payload, 8),
                        wordAt(payload, 12),
                        std::vector<std::uint8_t>(payload.begin() + kRequestHeader, payload.end())};
    if (m_keepRecords) m_requests.push_back(request);
    const auto handler = m_handlers.find(request.messageId);
    RapiAnswer answer;
    if (handler != m_handlers.end()) {
        answer = handler->second(request);
    } else {
        answer.errorCode = kRapiUnknownCommand;
    }
    if (!answer.replies) return std::nullopt;
    RapiFault fault;
    if (auto spoiled = m_faults.find(request.messageId); spoiled != m_faults.end()) {
        fault = spoiled->second;
        m_faults.erase(spoiled);
    }
    return Reply{encodeMessage(kRapiReplyFrame, replyMessage(request, answer, fault)),
                 std::move(answer.data)};
}

}  // namespace sim
