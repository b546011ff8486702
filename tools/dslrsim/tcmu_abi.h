// The shared-area layout of the kernel's userspace SCSI target
// (linux/target_core_user.h, mailbox version 2). That header cannot be
// compiled as C++: its inline helpers turn integers into enums implicitly.
// So its structures are restated here, field for field, and the sizes and
// offsets the kernel uses are checked below.
#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/uio.h>

namespace dslrsim::tcmu {

constexpr std::uint16_t kFlagCapReadLen = 1 << 1;  // the kernel takes read lengths
constexpr std::uint8_t kUflagUnknownOp = 0x1;
constexpr std::uint8_t kUflagReadLen = 0x2;
constexpr std::uint32_t kOpMask = 0x7;
constexpr std::size_t kSenseSize = 96;

enum Op : std::uint32_t { kOpPad = 0, kOpCmd = 1, kOpTmr = 2 };

struct alignas(64) Mailbox {
    std::uint16_t version;
    std::uint16_t flags;
    std::uint32_t cmdr_off;
    std::uint32_t cmdr_size;
    std::uint32_t cmd_head;
    alignas(64) std::uint32_t cmd_tail;  // written by this side only
};

// Naturally aligned, these have the kernel's packed layout exactly.
struct EntryHeader {
    std::uint32_t len_op;
    std::uint16_t cmd_id;
    std::uint8_t kflags;
    std::uint8_t uflags;
};

struct Entry {
    EntryHeader hdr;
    union {
        struct {
            std::uint32_t iov_cnt;
            std::uint32_t iov_bidi_cnt;
            std::uint32_t iov_dif_cnt;
            std::uint64_t cdb_off;
            std::uint64_t pad1;
            std::uint64_t pad2;
            // followed by iov_cnt struct iovec, offsets into the area
        } req;
        struct {
            std::uint8_t scsi_status;
            std::uint8_t pad1;
            std::uint16_t pad2;
            std::uint32_t read_len;
            std::uint8_t sense_buffer[kSenseSize];
        } rsp;
    };
};

static_assert(sizeof(Mailbox) == 128 && offsetof(Mailbox, cmd_head) == 12 &&
              offsetof(Mailbox, cmd_tail) == 64);
static_assert(sizeof(EntryHeader) == 8 && sizeof(Entry) == 112);
static_assert(offsetof(Entry, req.cdb_off) == 24 && sizeof(Entry::req) == 40 &&
              offsetof(Entry, req) + sizeof(Entry::req) == 48);
static_assert(offsetof(Entry, rsp.read_len) == 12 && offsetof(Entry, rsp.sense_buffer) == 16);

inline Op opOf(const EntryHeader& header) { return static_cast<Op>(header.len_op & kOpMask); }
inline std::uint32_t lengthOf(const EntryHeader& header) { return header.len_op & ~kOpMask; }
// The entry's data segments follow its fixed part.
inline iovec* segmentsOf(Entry& entry)
{
    return reinterpret_cast<iovec*>(reinterpret_cast<std::uint8_t*>(&entry) + offsetof(Entry, req) +
                                    sizeof(Entry::req));
}

}  // namespace dslrsim::tcmu
