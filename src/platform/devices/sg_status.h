// What the Linux SCSI generic driver reports for one command, and how that
// reads as the still-image driver's SRB status and transferred count. A pure
// function, so that every row can be checked without a kernel.
#pragma once

#include "platform/devices/scsi_target.h"

#include <cstdint>

namespace devices {

// The fields of a completed sg request the mapping looks at. `error` is the
// errno of the write() or read() that failed, 0 when both went through.
struct SgReport {
    int error = 0;
    std::uint16_t hostStatus = 0;    // DID_* of the host adapter
    std::uint16_t driverStatus = 0;  // DRIVER_* (the DRIVER_SENSE bit only says sense came)
    std::uint8_t scsiStatus = 0;     // the SCSI status byte of the device
    std::int32_t resid = 0;          // requested minus moved, as the adapter saw it
    std::uint32_t requested = 0;     // the data length asked for
};

ScsiOutcome srbOutcomeOf(const SgReport& report);

}  // namespace devices
