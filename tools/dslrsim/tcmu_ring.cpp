#include "tools/dslrsim/tcmu_ring.h"

#include "tools/dslrsim/tcmu_abi.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace dslrsim {

namespace {

using namespace tcmu;

// A command's SCSI reply: the status byte and, for CHECK CONDITION, the
// sense key and additional sense code of fixed-format sense data.
struct ScsiReply {
    std::uint8_t status;
    std::uint8_t senseKey = 0;
    std::uint8_t asc = 0;
};

constexpr std::uint8_t kGood = 0x00;
constexpr std::uint8_t kCheckCondition = 0x02;
constexpr std::uint8_t kBusy = 0x08;
constexpr std::uint8_t kIllegalRequest = 0x05;
constexpr std::uint8_t kUnitAttention = 0x06;
constexpr std::uint8_t kHardwareError = 0x04;

// The engine's SRB status as a SCSI device says it. The kernel between the
// camera and the host's sg node reads these back as the same SRB statuses
// (see the provider's mapping). Where the kernel would retry on its own (the
// ABORTED COMMAND and NOT READY keys), other keys are used: the host library
// decides about repeating, as it does on the other transports.
ScsiReply scsiReplyOf(const sim::CommandResult& result)
{
    if (result.disposition != sim::Disposition::kComplete)
        return {kCheckCondition, kHardwareError, 0x44};  // internal target failure
    switch (result.srbStatus) {
        case 0x01:  // success
            return {kGood};
        case 0x05:  // busy
            return {kBusy};
        case 0x0E:  // bus reset: power on, reset or bus device reset occurred
            return {kCheckCondition, kUnitAttention, 0x29};
        case 0x08:  // no device
        case 0x16:  // request flushed
            return {kCheckCondition, kHardwareError, 0x44};
        default:  // error: command sequence error (nothing to read yet, ...)
            return {kCheckCondition, kIllegalRequest, 0x2C};
    }
}

// The CDB's length follows from its operation code's group.
std::size_t cdbLengthOf(std::uint8_t opcode)
{
    switch (opcode >> 5) {
        case 0:
            return 6;
        case 4:
            return 16;
        case 5:
            return 12;
        default:
            return 10;
    }
}

// The ring does not say which way data goes; the CDB does. Of the commands
// the camera knows, only the writes carry data to it.
bool hostWrites(std::uint8_t opcode)
{
    return opcode == 0x0A || opcode == 0x2A || opcode == 0xAA || opcode == 0x8A;
}

void writeReply(Entry& entry, const ScsiReply& reply)
{
    entry.rsp.scsi_status = reply.status;
    std::memset(entry.rsp.sense_buffer, 0, sizeof(entry.rsp.sense_buffer));
    if (reply.status != kCheckCondition) return;
    entry.rsp.sense_buffer[0] = 0x70;  // current error, fixed format
    entry.rsp.sense_buffer[2] = static_cast<char>(reply.senseKey);
    entry.rsp.sense_buffer[7] = 10;  // additional sense length
    entry.rsp.sense_buffer[12] = static_cast<char>(reply.asc);
}

}  // namespace

bool TcmuRing::inArea(std::uint64_t offset, std::uint64_t length) const
{
    return offset <= m_size && length <= m_size - offset;
}

bool TcmuRing::valid() const
{
    if (m_size < sizeof(Mailbox)) return false;
    const auto* mailbox = reinterpret_cast<const Mailbox*>(m_area);
    return mailbox->cmdr_size > 0 && inArea(mailbox->cmdr_off, mailbox->cmdr_size);
}

std::size_t TcmuRing::serve(sim::Camera& camera)
{
    auto* mailbox = reinterpret_cast<Mailbox*>(m_area);
    std::uint8_t* ring = m_area + mailbox->cmdr_off;
    const std::uint32_t head = __atomic_load_n(&mailbox->cmd_head, __ATOMIC_ACQUIRE);
    std::uint32_t tail = mailbox->cmd_tail;
    std::size_t consumed = 0;
    while (tail != head && tail < mailbox->cmdr_size) {
        auto* header = reinterpret_cast<EntryHeader*>(ring + tail);
        const std::uint32_t length = lengthOf(*header);
        // An entry that is empty or runs past the ring is not the kernel's:
        // stop rather than walk through memory.
        if (length == 0 || length > mailbox->cmdr_size - tail) break;
        const Op op = opOf(*header);
        if (op == kOpCmd) {
            answer(ring + tail, length, camera);
        } else if (op != kOpPad && op != kOpTmr) {
            header->uflags |= kUflagUnknownOp;
        }
        tail = (tail + length) % mailbox->cmdr_size;
        __atomic_store_n(&mailbox->cmd_tail, tail, __ATOMIC_RELEASE);
        ++consumed;
    }
    return consumed;
}

std::optional<TcmuRing::Request> TcmuRing::parse(std::uint8_t* bytes,
                                                 std::uint32_t entryLength) const
{
    auto& entry = *reinterpret_cast<Entry*>(bytes);
    const std::uint32_t iovCount = entry.req.iov_cnt;
    const std::uint64_t cdbOffset = entry.req.cdb_off;
    const auto segmentsEnd = reinterpret_cast<std::uint8_t*>(segmentsOf(entry)) - bytes;
    if (segmentsEnd + std::uint64_t{iovCount} * sizeof(iovec) > entryLength ||
        !inArea(cdbOffset, 1) || !inArea(cdbOffset, cdbLengthOf(m_area[cdbOffset])))
        return std::nullopt;
    Request request;
    request.cdb = m_area + cdbOffset;
    for (std::uint32_t i = 0; i < iovCount; ++i) {
        const auto offset = reinterpret_cast<std::uintptr_t>(segmentsOf(entry)[i].iov_base);
        const std::size_t length = segmentsOf(entry)[i].iov_len;
        if (!inArea(offset, length)) return std::nullopt;
        request.segments.push_back({m_area + offset, length});
        request.length += length;
    }
    return request;
}

void TcmuRing::answer(std::uint8_t* bytes, std::uint32_t entryLength, sim::Camera& camera)
{
    // Everything the request says is read before the reply overwrites it.
    const std::optional<Request> request = parse(bytes, entryLength);
    auto& entry = *reinterpret_cast<Entry*>(bytes);
    if (!request) {
        writeReply(entry, {kCheckCondition, kIllegalRequest, 0x24});  // invalid field in CDB
        return;
    }
    const bool writes = hostWrites(request->cdb[0]);
    std::vector<std::uint8_t> data(request->length);
    if (writes) request->gather(data.data());
    const sim::CommandResult result =
        camera.execute(request->cdb, cdbLengthOf(request->cdb[0]), data.data(),
                       static_cast<std::uint32_t>(data.size()));
    const ScsiReply reply = scsiReplyOf(result);
    writeReply(entry, reply);
    if (writes || reply.status != kGood) return;
    const std::size_t read = std::min<std::size_t>(result.transferred, data.size());
    request->scatter(data.data(), read);
    const auto* mailbox = reinterpret_cast<const Mailbox*>(m_area);
    if (mailbox->flags & kFlagCapReadLen) {
        // A short read tells the kernel how much came; the host sees the
        // rest as residue.
        entry.hdr.uflags |= kUflagReadLen;
        entry.rsp.read_len = static_cast<std::uint32_t>(read);
    }
}

void TcmuRing::Request::gather(std::uint8_t* data) const
{
    for (const Segment& segment : segments) {
        std::memcpy(data, segment.bytes, segment.length);
        data += segment.length;
    }
}

void TcmuRing::Request::scatter(const std::uint8_t* data, std::size_t count) const
{
    for (const Segment& segment : segments) {
        const std::size_t part = std::min(count, segment.length);
        std::memcpy(segment.bytes, data, part);
        data += part;
        count -= part;
    }
}

}  // namespace dslrsim
