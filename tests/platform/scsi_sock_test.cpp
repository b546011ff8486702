// The scsi-sock wire format: byte layout, round trips, and frames from a
// peer that does not speak it.

#include "platform/devices/scsi_sock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ScsiSock, RequestLayoutIsLittleEndianAndRoundTrips)
{
    scsisock::Request request;
    request.tag = 0x01020304;
    request.cdbLength = 10;
    request.direction = scsisock::kDataOut;
    request.senseLength = 21;
    request.transferLength = 0x8000;
    request.timeoutMs = 10000;
    const std::uint8_t cdb[10] = {0x2A, 0, 0, 0, 0, 0, 0, 0x80, 0x00, 0};
    std::memcpy(request.cdb.data(), cdb, sizeof(cdb));

    std::uint8_t bytes[scsisock::kRequestSize];
    scsisock::encode(request, bytes);
    const Bytes head = {'V', 'S', 'C', '1',  4, 3, 2,    1,    10, 2,
                        21,  0,   0,   0x80, 0, 0, 0x10, 0x27, 0,  0};
    EXPECT_EQ(Bytes(bytes, bytes + 20), head);
    EXPECT_EQ(Bytes(bytes + 20, bytes + 36), Bytes(request.cdb.begin(), request.cdb.end()));

    scsisock::Request back;
    ASSERT_TRUE(scsisock::decode(bytes, back));
    EXPECT_EQ(back.tag, request.tag);
    EXPECT_EQ(back.transferLength, request.transferLength);
    EXPECT_EQ(back.timeoutMs, request.timeoutMs);
    EXPECT_EQ(back.cdb, request.cdb);
}

TEST(ScsiSock, ReplyLayoutRoundTrips)
{
    scsisock::Reply reply;
    reply.tag = 7;
    reply.srbStatus = 0x16;
    reply.scsiStatus = 2;
    reply.senseLength = 18;
    reply.transferred = 0x6000;
    std::uint8_t bytes[scsisock::kReplySize];
    scsisock::encode(reply, bytes);
    EXPECT_EQ(Bytes(bytes, bytes + 16),
              (Bytes{'V', 'S', 'R', '1', 7, 0, 0, 0, 0x16, 2, 18, 0, 0, 0x60, 0, 0}));
    scsisock::Reply back;
    ASSERT_TRUE(scsisock::decode(bytes, back));
    EXPECT_EQ(back.transferred, 0x6000u);
    EXPECT_EQ(back.srbStatus, 0x16);
}

TEST(ScsiSock, ForeignFramesAreRefused)
{
    scsisock::Request request;
    request.cdbLength = 6;
    std::uint8_t good[scsisock::kRequestSize];
    scsisock::encode(request, good);
    struct Damage {
        int offset;
        std::uint8_t value;
    } damages[] = {{0, 'X'}, {8, 7}, {8, 0}, {9, 3}, {11, 1}};
    for (const Damage& d : damages) {
        std::uint8_t bytes[scsisock::kRequestSize];
        std::memcpy(bytes, good, sizeof(bytes));
        bytes[d.offset] = d.value;
        scsisock::Request out;
        EXPECT_FALSE(scsisock::decode(bytes, out)) << d.offset;
    }
    std::uint8_t reply[scsisock::kReplySize] = {'V', 'S', 'C', '1'};  // a request's magic
    scsisock::Reply out;
    EXPECT_FALSE(scsisock::decode(reply, out));
}

}  // namespace
