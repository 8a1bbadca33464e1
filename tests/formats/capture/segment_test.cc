// Where a Matroska file says that it ends.
#include "formats/capture/segment.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "captures.h"

namespace {

using namespace std::string_literals;

const std::string kHead = "\x1A\x45\xDF\xA3"s;
const std::string kSegment = "\x18\x53\x80\x67"s;

class CaptureSegment : public testing::Test {
 protected:
  std::optional<formats::Segment> read(const std::string &bytes) const {
    write_bytes(folder / "a.mkv", bytes);
    return formats::read_segment(folder / "a.mkv");
  }

  /// The end that a file with this size of its segment says; nothing when it is left open.
  std::optional<std::uint64_t> end(const std::string &size) const {
    const auto segment = read(kHead +
                              "\x83"
                              "abc"s +
                              kSegment + size + std::string(8, 'x'));
    EXPECT_TRUE(segment.has_value());
    return segment ? segment->end : std::nullopt;
  }

  TempFolder folder;
};

}  // namespace

// Catches sizes of another length, an end that does not count what stands before the segment, and bits of the length
// that count as the size.
TEST_F(CaptureSegment, EndsBehindItsSize) {
  const std::uint64_t start = 4 + 1 + 3 + 4;
  EXPECT_EQ(end("\x80"s), start + 1);
  EXPECT_EQ(end("\xFE"s), start + 1 + 0x7E);
  EXPECT_EQ(end("\x40\x02"s), start + 2 + 2);
  EXPECT_EQ(end("\x01\x00\x00\x01\x02\x03\x04\x05"s), start + 8 + 0x102030405);
}

TEST_F(CaptureSegment, IsLeftOpen) {
  EXPECT_EQ(end("\xFF"s), std::nullopt);
  EXPECT_EQ(end("\x7F\xFF"s), std::nullopt);
  EXPECT_EQ(end("\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s), std::nullopt);
}

// Catches bytes that are read behind the end, and other files that are taken for Matroska.
TEST_F(CaptureSegment, IsNotThere) {
  EXPECT_FALSE(read("").has_value());
  EXPECT_FALSE(read(kHead).has_value());
  EXPECT_FALSE(read(std::string(64, 'x')).has_value());
  EXPECT_FALSE(read(kHead +
                    "\x83"
                    "abc"s +
                    std::string(32, 'x'))
                   .has_value());
  EXPECT_FALSE(read(kHead +
                    "\x83"
                    "abc"s +
                    kSegment)
                   .has_value());
  EXPECT_FALSE(read(kHead + "\xFF"s + kSegment + std::string(16, 'x')).has_value()) << "a head without an end";
  EXPECT_FALSE(read(kHead + "\x00"s + std::string(32, 'x')).has_value()) << "a size of more than eight bytes";
  EXPECT_FALSE(read(kHead + "\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFE"s + kSegment).has_value()) << "behind every file";
}
