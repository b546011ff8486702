// dslrsim's side of the kernel's userspace SCSI target, on a shared area
// laid out here as the kernel lays it out: what each command is answered
// with, data split over segments, and entries that are not commands.

#ifdef __linux__

#include "tools/dslrsim/tcmu_abi.h"
#include "tools/dslrsim/tcmu_ring.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace dslrsim::tcmu;

constexpr std::uint32_t kRingOffset = 128;
constexpr std::uint32_t kRingSize = 4096;
constexpr std::uint32_t kDataOffset = 8192;

// A shared area with an empty ring; queue() places entries as the kernel does.
class Area {
public:
    explicit Area(std::uint16_t flags = kFlagCapReadLen) : m_bytes(65536)
    {
        mailbox().version = 2;
        mailbox().flags = flags;
        mailbox().cmdr_off = kRingOffset;
        mailbox().cmdr_size = kRingSize;
    }
    Mailbox& mailbox() { return *reinterpret_cast<Mailbox*>(m_bytes.data()); }
    dslrsim::TcmuRing ring() { return {m_bytes.data(), m_bytes.size()}; }
    std::uint8_t* at(std::size_t offset) { return m_bytes.data() + offset; }

    // A command whose data is `segments` (their lengths), filled from `data`
    // for writes; returns the entry.
    Entry& queue(const std::vector<std::uint8_t>& cdb, std::vector<std::size_t> segments,
                 const std::vector<std::uint8_t>& data = {})
    {
        std::memcpy(at(m_data), cdb.data(), cdb.size());
        const std::size_t cdbOffset = m_data;
        m_data += 64;
        // As the kernel sizes it: the segments, but never less than a whole entry.
        const std::size_t length = std::max(48 + segments.size() * sizeof(iovec), sizeof(Entry));
        auto& entry = *reinterpret_cast<Entry*>(at(kRingOffset + mailbox().cmd_head));
        entry.hdr.len_op = static_cast<std::uint32_t>(length) | kOpCmd;
        entry.req.cdb_off = cdbOffset;
        entry.req.iov_cnt = static_cast<std::uint32_t>(segments.size());
        std::size_t copied = 0;
        for (std::size_t i = 0; i < segments.size(); ++i) {
            segmentsOf(entry)[i].iov_base = reinterpret_cast<void*>(m_data);
            segmentsOf(entry)[i].iov_len = segments[i];
            const std::size_t part = std::min(segments[i], data.size() - copied);
            std::memcpy(at(m_data), data.data() + copied, part);
            copied += part;
            m_data += segments[i];
        }
        mailbox().cmd_head += static_cast<std::uint32_t>(length);
        return entry;
    }
    void queueOther(Op op, std::uint32_t length)
    {
        auto& header = *reinterpret_cast<EntryHeader*>(at(kRingOffset + mailbox().cmd_head));
        header.len_op = length | op;
        mailbox().cmd_head += length;
    }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_data = kDataOffset;
};

// "status key/asc read N" (N -1: no read length reported).
std::string replyOf(const Entry& entry)
{
    char text[48];
    std::snprintf(text, sizeof(text), "%02X %X/%02X read %d", entry.rsp.scsi_status,
                  entry.rsp.sense_buffer[2], entry.rsp.sense_buffer[12],
                  (entry.hdr.uflags & kUflagReadLen) ? static_cast<int>(entry.rsp.read_len) : -1);
    return text;
}

TEST(TcmuRing, CommandsAreAnsweredAsTheCameraAnswersThem)
{
    struct Row {
        const char* what;
        std::vector<std::uint8_t> cdb;
        std::size_t length;
        std::optional<sim::CommandFault> fault;
        const char* reply;
    };
    const std::vector<std::uint8_t> read10 = {0x28, 0, 0, 0, 0, 0, 0, 0, 8, 0};
    const std::vector<std::uint8_t> sense = {0x03, 0, 0, 0, 18, 0};
    const Row rows[] = {
        {"inquiry", {0x12, 0, 0, 0, 36, 0}, 36, {}, "00 0/00 read 36"},
        {"inquiry, more room than data", {0x12, 0, 0, 0, 96, 0}, 96, {}, "00 0/00 read 36"},
        {"vital product data", {0x12, 1, 0x80, 0, 96, 0}, 96, {}, "02 5/2C read -1"},
        {"read with nothing to read", read10, 512, {}, "02 5/2C read -1"},
        {"unknown command", {0xC1, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0, {}, "02 5/2C read -1"},
        {"busy", sense, 18, sim::CommandFault{0x03, 0x05, 0}, "08 0/00 read -1"},
        {"bus reset", sense, 18, sim::CommandFault{0x03, 0x0E, 0}, "02 6/29 read -1"},
        {"device lost", sense, 18, sim::CommandFault{0x03, 0x16, 0, sim::Disposition::kDeviceLost},
         "02 4/44 read -1"},
    };
    sim::Camera camera;  // one for all rows: the lost device comes last
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        if (row.fault) camera.injectFault(*row.fault);
        Area area;
        Entry& entry = area.queue(row.cdb, {row.length});
        EXPECT_EQ(area.ring().serve(camera), 1u);
        EXPECT_EQ(replyOf(entry), row.reply);
        EXPECT_EQ(area.mailbox().cmd_tail, area.mailbox().cmd_head);
    }
}

TEST(TcmuRing, DataSplitOverSegmentsReachesTheCameraWhole)
{
    sim::Camera camera;
    Area area;
    std::vector<std::uint8_t> data(300);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i);
    area.queue({0x2A, 0, 0, 0, 0, 0, 0, 0x01, 0x2C, 0}, {100, 200}, data);
    area.ring().serve(camera);
    ASSERT_EQ(camera.received().size(), 1u);
    EXPECT_EQ(camera.received()[0].data, data);
}

TEST(TcmuRing, EntriesThatAreNoCommandsArePassedOver)
{
    sim::Camera camera;
    Area area(0);  // a kernel that cannot take read lengths
    area.queueOther(kOpPad, 64);
    area.queueOther(static_cast<Op>(5), 16);
    Entry& inquiry = area.queue({0x12, 0, 0, 0, 36, 0}, {36});
    Entry& outside = area.queue({0x12, 0, 0, 0, 36, 0}, {36});
    outside.req.cdb_off = 1u << 20;
    EXPECT_EQ(area.ring().serve(camera), 4u);
    const auto* unknown = reinterpret_cast<EntryHeader*>(area.at(kRingOffset + 64));
    EXPECT_EQ(unknown->uflags & kUflagUnknownOp, kUflagUnknownOp);
    EXPECT_EQ(replyOf(inquiry), "00 0/00 read -1");
    EXPECT_EQ(replyOf(outside), "02 5/24 read -1");
    EXPECT_EQ(camera.received().size(), 1u);
}

}  // namespace

#endif
