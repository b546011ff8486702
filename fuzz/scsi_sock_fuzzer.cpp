// The scsi-sock protocol's headers as the host decodes them: the input is a
// device-to-host reply (header, data, sense) as recorded from an honest
// camera and mutated; a request header is decoded from the same bytes.
// Whatever decodes must name no more data or sense than the protocol lets
// follow.

#include "platform/devices/scsi_sock.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::uint8_t reply[scsisock::kReplySize] = {};
    std::memcpy(reply, data, std::min(size, sizeof(reply)));
    scsisock::Reply decoded;
    if (scsisock::decode(reply, decoded)) {
        std::uint8_t again[scsisock::kReplySize];
        scsisock::encode(decoded, again);
        if (std::memcmp(again, reply, sizeof(reply)) != 0) std::abort();
    }
    std::uint8_t request[scsisock::kRequestSize] = {};
    std::memcpy(request, data, std::min(size, sizeof(request)));
    scsisock::Request asked;
    if (scsisock::decode(request, asked) &&
        (asked.cdbLength > 16 || asked.direction > scsisock::kDataOut))
        std::abort();
    return 0;
}
