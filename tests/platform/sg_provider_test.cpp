// The SCSI generic provider without a kernel device: every row of the
// kernel-report mapping, and what opening a node that cannot be had says.

#include "platform/devices/sg_status.h"
#include "platform/devices/sg_target.h"
#include "platform/scsiscan.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using devices::Completion;
using devices::SgReport;

constexpr bool kLost = true;

struct MappingRow {
    const char* what;
    SgReport report;
    std::uint8_t srb;
    std::uint32_t transferred;
    bool lost = false;
};

// Requests of 512 bytes unless the row says otherwise.
constexpr SgReport reportOf(int error, std::uint16_t host, std::uint16_t driver,
                            std::uint8_t status, std::int32_t resid = 0)
{
    return {error, host, driver, status, resid, 512};
}

const MappingRow kMapping[] = {
    {"good", reportOf(0, 0, 0, 0x00), SRB_STATUS_SUCCESS, 512},
    {"good, short read", reportOf(0, 0, 0, 0x00, 500), SRB_STATUS_SUCCESS, 12},
    {"resid past the length", reportOf(0, 0, 0, 0x00, 9999), SRB_STATUS_SUCCESS, 0},
    {"check condition with sense", reportOf(0, 0, 0x08, 0x02, 512), SRB_STATUS_ERROR, 0},
    {"check condition, resid left 0", reportOf(0, 0, 0x08, 0x02), SRB_STATUS_ERROR, 0},
    {"device busy", reportOf(0, 0, 0, 0x08, 512), SRB_STATUS_BUSY, 0},
    {"reservation conflict", reportOf(0, 0, 0, 0x18, 512), SRB_STATUS_ERROR, 0},
    {"driver busy", reportOf(0, 0, 0x01, 0x00), SRB_STATUS_BUSY, 0},
    {"driver time-out", reportOf(0, 0, 0x06, 0x00, 512), SRB_STATUS_ERROR, 0},
    {"bus busy", reportOf(0, 0x02, 0, 0x00, 512), SRB_STATUS_BUSY, 0},
    {"transport disrupted", reportOf(0, 0x0E, 0, 0x00, 512), SRB_STATUS_BUSY, 0},
    {"bus reset", reportOf(0, 0x08, 0, 0x00, 512), SRB_STATUS_BUS_RESET, 0},
    {"bad target", reportOf(0, 0x04, 0, 0x00, 512), SRB_STATUS_NO_DEVICE, 0},
    {"adapter time-out", reportOf(0, 0x03, 0, 0x00, 512), SRB_STATUS_ERROR, 0},
    {"host status beats good", reportOf(0, 0x07, 0, 0x00), SRB_STATUS_ERROR, 0},
    {"no connect", reportOf(0, 0x01, 0, 0x00), SRB_STATUS_REQUEST_FLUSHED, 0, kLost},
    {"transport failed fast", reportOf(0, 0x0F, 0, 0x00), SRB_STATUS_REQUEST_FLUSHED, 0, kLost},
    {"node gone", reportOf(ENODEV, 0, 0, 0), SRB_STATUS_REQUEST_FLUSHED, 0, kLost},
    {"queue full", reportOf(EAGAIN, 0, 0, 0), SRB_STATUS_BUSY, 0},
    {"bad request", reportOf(EINVAL, 0, 0, 0), SRB_STATUS_ERROR, 0},
};

TEST(SgProvider, KernelReportsMapOntoSrbStatus)
{
    for (const MappingRow& row : kMapping) {
        SCOPED_TRACE(row.what);
        const devices::ScsiOutcome outcome = devices::srbOutcomeOf(row.report);
        EXPECT_EQ(outcome.srbStatus, row.srb);
        EXPECT_EQ(outcome.transferred, row.transferred);
        EXPECT_EQ(outcome.completion == Completion::kDeviceLost, row.lost);
    }
}

TEST(SgProvider, PermissionMessageNamesTheGroup)
{
    EXPECT_EQ(devices::sgAccessHelp("/dev/sg3", "disk"),
              "cannot open /dev/sg3: permission denied; the camera's node belongs to group "
              "'disk': add your user to it (sudo usermod -aG disk $USER) and log in again");
    EXPECT_EQ(devices::sgAccessHelp("/dev/sg3", "root"),
              "cannot open /dev/sg3: permission denied (run as root)");
}

#ifdef __linux__
TEST(SgProvider, NodesThatCannotBeHadAreRefused)
{
    struct Row {
        const char* path;
        std::uint32_t error;
    } const rows[] = {
        {"/dev/sg-none-such", ERROR_FILE_NOT_FOUND},
        {"/dev/null", ERROR_NOT_SUPPORTED},  // opens, but is no sg node
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        std::uint32_t error = 0;
        EXPECT_EQ(devices::openSgTarget(row.path, error), nullptr);
        EXPECT_EQ(error, row.error);
    }
    EXPECT_TRUE(devices::isProviderPath("/dev/sg0"));
}
#endif

}  // namespace
