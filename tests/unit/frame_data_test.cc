// A frame's bytes as one block.
#include "output/frame_data.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

#include "fake_zel.h"
#include "tests/support/error_slot.h"

namespace {

class FrameData : public testing::Test {
 protected:
  void SetUp() override { fake::reset(); }
  ErrorSlot slot_;
};

std::vector<std::uint8_t> counting(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
  return bytes;
}

std::vector<std::uint8_t> copy_of(const std::uint8_t *data, std::size_t size) {
  return {data, data + size};
}

// Catches a copy of contiguous bytes: the pointer is the library's own.
TEST_F(FrameData, ContiguousBytesAreTheLibrarys) {
  const fake::BufferPtr buffer = fake::make_buffer({.payload = counting(1000)});
  EXPECT_EQ(frame_data(buffer.get(), slot_.address()), fake::payload_of(buffer.get()));
  EXPECT_EQ(fake::calls("zel_frame_take_chunk").size(), 1u);
  EXPECT_EQ(slot_.take(), "none");
}

// Catches a failure mark taken for data, and the library's error replaced by another.
TEST_F(FrameData, FailedContiguousChunkKeepsTheLibrarysError) {
  const fake::BufferPtr buffer = fake::make_buffer({.payload = counting(10)});
  fake::fail("zel_frame_take_chunk", 1, {.code = 42, .message = "no mapping"});
  EXPECT_EQ(frame_data(buffer.get(), slot_.address()), nullptr);
  EXPECT_EQ(slot_.take(), "zel-error-quark/42: no mapping");
}

// Catches an error made up here for memory that the client may not read, where the caller has one: null, and no more.
TEST_F(FrameData, ContiguousChunkWithoutPointerIsNull) {
  const fake::BufferPtr buffer = fake::make_buffer({.payload = counting(10), .null_chunk = 0});
  EXPECT_EQ(frame_data(buffer.get(), slot_.address()), nullptr);
  EXPECT_EQ(slot_.take(), "none");
}

// Catches chunks lost, doubled or out of order, a missing zero byte, and an error slot handed to the chunk calls.
TEST_F(FrameData, ChunksAreGatheredInOrder) {
  const fake::BufferPtr buffer =
      fake::make_buffer({.payload = counting(100), .chunks = {1, 59, 40}, .contiguous = false});
  const std::uint8_t *data = frame_data(buffer.get(), slot_.address());
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(copy_of(data, 100), counting(100));
  EXPECT_EQ(data[100], 0);
  EXPECT_EQ(fake::calls("zel_frame_take_chunk").size(), 4u);  // three and the one of size 0
}

// Catches a buffer made anew for every frame or shrunk after a small one: the larger frame's block serves on.
TEST_F(FrameData, OneBufferGrowsAndIsReused) {
  const fake::BufferPtr large =
      fake::make_buffer({.payload = counting(100'000), .chunks = {60'000, 40'000}, .contiguous = false});
  const fake::BufferPtr small = fake::make_buffer({.payload = counting(3), .chunks = {1, 2}, .contiguous = false});
  const fake::BufferPtr larger =
      fake::make_buffer({.payload = counting(5'000'000), .chunks = {5'000'000}, .contiguous = false});

  const std::uint8_t *first = frame_data(large.get(), slot_.address());
  EXPECT_EQ(copy_of(first, 100'000), counting(100'000));
  const std::uint8_t *second = frame_data(small.get(), slot_.address());
  EXPECT_EQ(second, first);
  EXPECT_EQ(copy_of(second, 3), counting(3));
  EXPECT_EQ(second[3], 0);
  EXPECT_EQ(copy_of(frame_data(larger.get(), slot_.address()), 5'000'000), counting(5'000'000));

  fake::refill(large.get(), {.payload = counting(7), .chunks = {7}, .contiguous = false});
  const std::uint8_t *fourth = frame_data(large.get(), slot_.address());
  EXPECT_EQ(copy_of(fourth, 7), counting(7));
}

// Catches writing past the block, or stale bytes of an earlier frame, when the chunks do not add up to the size.
TEST_F(FrameData, ChunksThatDoNotAddUp) {
  const fake::BufferPtr too_many =
      fake::make_buffer({.payload = counting(100), .chunks = {60, 40}, .contiguous = false, .size = 50});
  const std::uint8_t *data = frame_data(too_many.get(), slot_.address());
  EXPECT_EQ(copy_of(data, 50), counting(50));
  EXPECT_EQ(data[50], 0);

  const fake::BufferPtr too_few =
      fake::make_buffer({.payload = counting(10), .chunks = {10}, .contiguous = false, .size = 12});
  std::vector<std::uint8_t> expected = counting(10);
  expected.resize(12);
  EXPECT_EQ(copy_of(frame_data(too_few.get(), slot_.address()), 12), expected);
}

// Catches a read through a null chunk, an endless loop over a chunk that keeps failing, and bytes of the chunks behind
// it in its place.
TEST_F(FrameData, UnreadableChunksBecomeZeroes) {
  const fake::BufferPtr unreadable =
      fake::make_buffer({.payload = counting(4), .chunks = {1, 2, 1}, .contiguous = false, .null_chunk = 1});
  EXPECT_EQ(copy_of(frame_data(unreadable.get(), slot_.address()), 4), (std::vector<std::uint8_t>{1, 0, 0, 4}));

  const fake::BufferPtr failing =
      fake::make_buffer({.payload = counting(4), .chunks = {1, 2, 1}, .contiguous = false, .failing_chunk = 1});
  EXPECT_EQ(copy_of(frame_data(failing.get(), slot_.address()), 4), (std::vector<std::uint8_t>{1, 0, 0, 0}));
  EXPECT_EQ(slot_.take(), "none");
}

// Catches a null block for an empty frame: it has one, of no bytes.
TEST_F(FrameData, EmptyFrame) {
  const fake::BufferPtr buffer = fake::make_buffer({.contiguous = false});
  const std::uint8_t *data = frame_data(buffer.get(), slot_.address());
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data[0], 0);
}

// Catches an exception that escapes, or an overflow of size and final zero, when a frame is too large for the memory;
// and a buffer that is of no use afterwards.
TEST_F(FrameData, OutOfMemory) {
  for (const gsize size : {G_MAXSIZE, G_MAXSIZE - 1, G_MAXSIZE / 2 + 1000}) {
    const fake::BufferPtr huge = fake::make_buffer({.payload = counting(1), .contiguous = false, .size = size});
    EXPECT_EQ(frame_data(huge.get(), slot_.address()), nullptr);
    EXPECT_EQ(slot_.take(), "zel-error-quark/11: Out of memory");
    EXPECT_EQ(frame_data(huge.get(), nullptr), nullptr);
  }
  const fake::BufferPtr next = fake::make_buffer({.payload = counting(3), .contiguous = false});
  EXPECT_EQ(copy_of(frame_data(next.get(), slot_.address()), 3), counting(3));
}

}  // namespace
