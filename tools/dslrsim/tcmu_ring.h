// The command ring of the kernel's userspace SCSI target (target_core_user)
// as dslrsim serves it: every command the kernel queued between the ring's
// tail and head runs on the camera engine, and its answer is written back
// as a SCSI status, sense data and the length read. Works on any memory
// laid out as the kernel lays out the shared area, so tests can build one.
#pragma once

#include "sim/camera.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace dslrsim {

class TcmuRing {
public:
    // `area` is the whole shared area: mailbox, ring and data.
    TcmuRing(std::uint8_t* area, std::size_t size) : m_area(area), m_size(size) {}

    // Whether the mailbox describes a ring that lies inside the area.
    bool valid() const;
    // Answers every waiting command; returns how many entries it consumed
    // (the kernel is told when this is not 0).
    std::size_t serve(sim::Camera& camera);

private:
    // A command's CDB and data segments, all inside the area.
    struct Request {
        struct Segment {
            std::uint8_t* bytes;
            std::size_t length;
        };
        const std::uint8_t* cdb = nullptr;
        std::vector<Segment> segments;
        std::size_t length = 0;
        void gather(std::uint8_t* data) const;
        void scatter(const std::uint8_t* data, std::size_t count) const;
    };

    std::optional<Request> parse(std::uint8_t* entry, std::uint32_t entryLength) const;
    void answer(std::uint8_t* entry, std::uint32_t entryLength, sim::Camera& camera);
    bool inArea(std::uint64_t offset, std::uint64_t length) const;

    std::uint8_t* m_area;
    std::size_t m_size;
};

}  // namespace dslrsim
