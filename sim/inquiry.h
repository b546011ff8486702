// The camera's answer to INQUIRY: the same on every transport, so that a
// kernel that scans the camera as a SCSI device sees what a host would.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

constexpr std::uint8_t kInquiry = 0x12;

// The standard INQUIRY data; empty for a request of a vital product data
// page (EVPD), which the camera does not keep.
std::vector<std::uint8_t> inquiryData(const std::uint8_t* cdb, std::size_t cdbLength);

}  // namespace sim
