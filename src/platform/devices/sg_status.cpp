// Kernel report -> SRB status. The first row that matches decides, in this
// order: the system call's errno, the host adapter's status, the driver's
// status, the device's SCSI status. The SRB statuses are the ones the layers
// above act on: success and error (error repeats until the caller's time
// runs out), busy and bus reset (repeated as error is), no device (reported
// and given up), and request flushed (the device is gone).
//
// Where Linux says more than the still-image driver can, the choice leans
// to the status that makes the library try again within its own time budget
// rather than one that declares the camera gone: only a device that has
// really left (ENODEV/ENXIO, DID_NO_CONNECT, a transport that failed fast)
// is reported lost. A time-out or abort is an error, not a lost device.

#include "platform/devices/sg_status.h"

#include "platform/scsiscan.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <iterator>

namespace devices {

namespace {

// Host adapter statuses (DID_*) and driver statuses (DRIVER_*) as the
// kernel's SCSI headers number them.
enum Host : std::uint16_t {
    kDidOk = 0x00,
    kDidNoConnect = 0x01,
    kDidBusBusy = 0x02,
    kDidBadTarget = 0x04,
    kDidReset = 0x08,
    kDidSoftError = 0x0B,
    kDidImmRetry = 0x0C,
    kDidRequeue = 0x0D,
    kDidTransportDisrupted = 0x0E,
    kDidTransportFailfast = 0x0F,
};
constexpr std::uint16_t kDriverBusy = 0x01;
constexpr std::uint16_t kDriverStatusMask = 0x07;  // without the DRIVER_SENSE bit

// SCSI status bytes.
constexpr std::uint8_t kGood = 0x00;
constexpr std::uint8_t kConditionMet = 0x04;
constexpr std::uint8_t kIntermediate = 0x10;
constexpr std::uint8_t kIntermediateConditionMet = 0x14;
constexpr std::uint8_t kBusy = 0x08;
constexpr std::uint8_t kTaskSetFull = 0x28;
constexpr std::uint8_t kAcaActive = 0x30;

struct HostRow {
    std::uint16_t host;
    std::uint8_t srb;
    bool lost;
};

constexpr HostRow kHostRows[] = {
    {kDidNoConnect, SRB_STATUS_REQUEST_FLUSHED, true},
    {kDidTransportFailfast, SRB_STATUS_REQUEST_FLUSHED, true},
    {kDidBadTarget, SRB_STATUS_NO_DEVICE, false},
    {kDidReset, SRB_STATUS_BUS_RESET, false},
    {kDidBusBusy, SRB_STATUS_BUSY, false},
    {kDidSoftError, SRB_STATUS_BUSY, false},
    {kDidImmRetry, SRB_STATUS_BUSY, false},
    {kDidRequeue, SRB_STATUS_BUSY, false},
    {kDidTransportDisrupted, SRB_STATUS_BUSY, false},
    // Every other adapter status (time-out, abort, parity, ...): error.
};

bool isOneOf(std::uint8_t value, std::initializer_list<std::uint8_t> values)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

ScsiOutcome lost() { return {SRB_STATUS_REQUEST_FLUSHED, 0, 0, Completion::kDeviceLost}; }

std::uint8_t srbOfErrno(int error)
{
    // The request never reached the device: the sg queue or its buffers
    // were full, so trying again later may work.
    if (error == EBUSY || error == EAGAIN || error == ENOMEM) return SRB_STATUS_BUSY;
    return SRB_STATUS_ERROR;
}

std::uint8_t srbOfScsiStatus(std::uint8_t status)
{
    status &= 0xFE;  // bit 0 is reserved
    if (isOneOf(status, {kGood, kConditionMet, kIntermediate, kIntermediateConditionMet}))
        return SRB_STATUS_SUCCESS;
    if (isOneOf(status, {kBusy, kTaskSetFull, kAcaActive})) return SRB_STATUS_BUSY;
    return SRB_STATUS_ERROR;  // check condition, reservation conflict, task aborted
}

std::uint32_t movedOf(const SgReport& report)
{
    if (report.resid <= 0) return report.requested;
    return report.requested - std::min(report.requested, static_cast<std::uint32_t>(report.resid));
}

}  // namespace

ScsiOutcome srbOutcomeOf(const SgReport& report)
{
    if (report.error == ENODEV || report.error == ENXIO) return lost();
    if (report.error != 0) return {srbOfErrno(report.error), 0};
    std::uint8_t srb = SRB_STATUS_ERROR;
    if (report.hostStatus != kDidOk) {
        const auto row =
            std::find_if(std::begin(kHostRows), std::end(kHostRows),
                         [&](const HostRow& r) { return r.host == report.hostStatus; });
        if (row != std::end(kHostRows) && row->lost) return lost();
        if (row != std::end(kHostRows)) srb = row->srb;
    } else if ((report.driverStatus & kDriverStatusMask) != 0) {
        srb = (report.driverStatus & kDriverStatusMask) == kDriverBusy ? SRB_STATUS_BUSY
                                                                       : SRB_STATUS_ERROR;
    } else {
        srb = srbOfScsiStatus(report.scsiStatus);
    }
    // Only a successful command counts bytes: adapters commonly leave resid
    // at 0 on a failed one although nothing moved, and counting those would
    // hand the layers above bytes that never came.
    return {srb, srb == SRB_STATUS_SUCCESS ? movedOf(report) : 0, 0, Completion::kDone};
}

}  // namespace devices
