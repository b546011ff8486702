#include "sim/inquiry.h"

#include <cstring>

namespace sim {

namespace {

// Peripheral device type 06h, the type still-image devices report. The
// version byte says SCSI-2, so that a kernel scanning the camera asks for no
// vital product data pages it would only be refused.
constexpr std::uint8_t kStillImageDevice = 0x06;
constexpr std::uint8_t kScsi2 = 0x02;
constexpr std::uint8_t kResponseFormat = 0x02;
constexpr std::size_t kStandardLength = 36;

}  // namespace

std::vector<std::uint8_t> inquiryData(const std::uint8_t* cdb, std::size_t cdbLength)
{
    if (cdbLength < 6 || (cdb[1] & 0x01) != 0) return {};
    std::vector<std::uint8_t> data(kStandardLength, 0);
    data[0] = kStillImageDevice;
    data[2] = kScsi2;
    data[3] = kResponseFormat;
    data[4] = kStandardLength - 5;  // additional length
    std::memcpy(&data[8], "VELOR   ", 8);
    std::memcpy(&data[16], "DSLR SIMULATOR  ", 16);
    std::memcpy(&data[32], "0402", 4);
    return data;
}

}  // namespace sim
