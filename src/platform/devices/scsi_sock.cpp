#include "platform/devices/scsi_sock.h"

#include <cstring>

namespace scsisock {

namespace {

void put32(std::uint8_t* at, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i) at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint32_t get32(const std::uint8_t* at)
{
    return static_cast<std::uint32_t>(at[0]) | static_cast<std::uint32_t>(at[1]) << 8 |
           static_cast<std::uint32_t>(at[2]) << 16 | static_cast<std::uint32_t>(at[3]) << 24;
}

bool knownCdbLength(std::uint8_t length)
{
    return length == 6 || length == 10 || length == 12 || length == 16;
}

}  // namespace

void encode(const Request& request, std::uint8_t (&bytes)[kRequestSize])
{
    put32(bytes, kRequestMagic);
    put32(bytes + 4, request.tag);
    bytes[8] = request.cdbLength;
    bytes[9] = request.direction;
    bytes[10] = request.senseLength;
    bytes[11] = 0;
    put32(bytes + 12, request.transferLength);
    put32(bytes + 16, request.timeoutMs);
    std::memcpy(bytes + 20, request.cdb.data(), request.cdb.size());
}

void encode(const Reply& reply, std::uint8_t (&bytes)[kReplySize])
{
    put32(bytes, kReplyMagic);
    put32(bytes + 4, reply.tag);
    bytes[8] = reply.srbStatus;
    bytes[9] = reply.scsiStatus;
    bytes[10] = reply.senseLength;
    bytes[11] = 0;
    put32(bytes + 12, reply.transferred);
}

bool decode(const std::uint8_t (&bytes)[kRequestSize], Request& request)
{
    if (get32(bytes) != kRequestMagic || !knownCdbLength(bytes[8]) || bytes[9] > kDataOut ||
        bytes[11] != 0) {
        return false;
    }
    request.tag = get32(bytes + 4);
    request.cdbLength = bytes[8];
    request.direction = bytes[9];
    request.senseLength = bytes[10];
    request.transferLength = get32(bytes + 12);
    request.timeoutMs = get32(bytes + 16);
    std::memcpy(request.cdb.data(), bytes + 20, request.cdb.size());
    return true;
}

bool decode(const std::uint8_t (&bytes)[kReplySize], Reply& reply)
{
    if (get32(bytes) != kReplyMagic || bytes[11] != 0) return false;
    reply.tag = get32(bytes + 4);
    reply.srbStatus = bytes[8];
    reply.scsiStatus = bytes[9];
    reply.senseLength = bytes[10];
    reply.transferred = get32(bytes + 12);
    return true;
}

}  // namespace scsisock
