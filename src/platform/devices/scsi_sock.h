// The scsi-sock wire format (version 1): SCSI commands to a camera served over
// a stream socket, one connection per opened handle, answered in order. All
// integers little-endian. Used by the socket device provider (host side) and
// by dslrsim (device side).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace scsisock {

constexpr std::uint32_t kRequestMagic = 0x31435356;  // "VSC1"
constexpr std::uint32_t kReplyMagic = 0x31525356;    // "VSR1"
constexpr std::size_t kRequestSize = 36;
constexpr std::size_t kReplySize = 16;

enum Direction : std::uint8_t { kNone = 0, kDataIn = 1, kDataOut = 2 };

// Host to device; `transferLength` data bytes follow when direction is kDataOut.
struct Request {
    std::uint32_t tag = 0;
    std::uint8_t cdbLength = 0;  // 6, 10, 12 or 16
    std::uint8_t direction = kNone;
    std::uint8_t senseLength = 0;  // sense bytes the host can take
    std::uint32_t transferLength = 0;
    std::uint32_t timeoutMs = 0;
    std::array<std::uint8_t, 16> cdb = {};
};

// Device to host; `transferred` data bytes follow when the request was
// kDataIn, then `senseLength` sense bytes.
struct Reply {
    std::uint32_t tag = 0;
    std::uint8_t srbStatus = 0;
    std::uint8_t scsiStatus = 0;  // 0 good, 2 check condition
    std::uint8_t senseLength = 0;
    std::uint32_t transferred = 0;
};

void encode(const Request& request, std::uint8_t (&bytes)[kRequestSize]);
void encode(const Reply& reply, std::uint8_t (&bytes)[kReplySize]);
// Decoding refuses a wrong magic, a CDB length other than 6, 10, 12 or 16, an
// unknown direction and a non-zero reserved byte: the peer does not speak
// this protocol, and the connection must be dropped.
bool decode(const std::uint8_t (&bytes)[kRequestSize], Request& request);
bool decode(const std::uint8_t (&bytes)[kReplySize], Reply& reply);

}  // namespace scsisock
