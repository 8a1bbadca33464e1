// The sidecar's bytes, both ways.
#include "formats/sidecar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

using formats::SidecarRecord;

constexpr SidecarRecord kRecord{.frame_type = 0xA1B2C3D4,
                                .reserved = 0x0A0B0C0D,
                                .time_us = 0x1122334455667788,
                                .size = 0x01020304,
                                .header_size = 0x21};
constexpr std::array<std::uint8_t, 24> kRecordBytes = {0xD4, 0xC3, 0xB2, 0xA1, 0x0D, 0x0C, 0x0B, 0x0A,
                                                       0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,
                                                       0x04, 0x03, 0x02, 0x01, 0x21, 0,    0,    0};

// Catches a changed layout: order, widths, byte order.
TEST(SidecarRecord, Bytes) {
  EXPECT_EQ(formats::sidecar_record_bytes(kRecord), kRecordBytes);
}

// Catches a reserved word that is not zero unless somebody says so.
TEST(SidecarRecord, ReservedWordIsZero) {
  const std::array<std::uint8_t, 24> bytes = formats::sidecar_record_bytes({.frame_type = 1, .size = 2});
  EXPECT_EQ(bytes,
            (std::array<std::uint8_t, 24>{1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0}));
}

// Catches fields read from other places than they are written to, and reads that need an alignment.
TEST(SidecarRecord, IsReadAtAnyAlignment) {
  for (std::size_t shift = 0; shift < 8; ++shift) {
    alignas(8) std::array<std::uint8_t, 32> room{};
    std::copy(kRecordBytes.begin(), kRecordBytes.end(), room.begin() + static_cast<std::ptrdiff_t>(shift));
    const SidecarRecord record = formats::sidecar_record(room.data() + shift);
    EXPECT_EQ(record.frame_type, kRecord.frame_type);
    EXPECT_EQ(record.reserved, kRecord.reserved);
    EXPECT_EQ(record.time_us, kRecord.time_us);
    EXPECT_EQ(record.size, kRecord.size);
    EXPECT_EQ(record.header_size, kRecord.header_size);
  }
}

// Catches a count of another byte order.
TEST(SidecarTrailer, BothWays) {
  const std::array<std::uint8_t, 4> bytes = formats::sidecar_trailer_bytes(0x01020304);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{4, 3, 2, 1}));
  EXPECT_EQ(formats::sidecar_trailer(bytes.data()), 0x01020304u);
}

}  // namespace
