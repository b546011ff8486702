#include "sim/handshake.h"

#include "sim/record_fields.h"

#include <cstring>
#include <initializer_list>

namespace sim {

namespace {

Message replyOf(std::uint32_t type, std::initializer_list<std::uint32_t> words)
{
    Message reply{type, std::vector<std::uint8_t>(4 * words.size())};
    std::size_t offset = 0;
    for (std::uint32_t word : words) {
        std::memcpy(reply.data.data() + offset, &word, 4);
        offset += 4;
    }
    return reply;
}

}  // namespace

std::optional<Message> answerHandshake(const Message& request, const CameraOptions& options)
{
    switch (request.type) {
        case 0x10000001:  // connect
            return replyOf(0x20000001, {0, options.connectAnswer});
        case 0x10000003:  // device ID
            return replyOf(0x20000003, {0, options.deviceId, options.modelId, options.blockSize});
        case 0x10000004:  // get negotiation data
            return replyOf(0x20000004, {0, options.blockSize});
        case 0x10000005:  // set negotiation data: the camera takes the host's size
            return replyOf(0x20000005, {0, wordAt(request.data, 4)});
        default:
            return std::nullopt;
    }
}

}  // namespace sim
