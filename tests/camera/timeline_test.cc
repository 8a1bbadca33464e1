// Where the frames of a capture lie.
#include "pacing/timeline.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace {

using camera::Timeline;

/// A capture with a sidecar that has these times.
formats::Capture with_times(const std::vector<std::int64_t> &times) {
  formats::Capture capture;
  capture.has_sidecar = true;
  for (const std::int64_t time : times)
    capture.frames.time_us.set(capture.frames.count++, time);
  return capture;
}

/// The frames of the numbers from 0 on; -1 where one is missing, up to the end.
std::vector<int> frames_of(const Timeline &timeline, std::uint64_t numbers) {
  std::vector<int> frames;
  for (std::uint64_t number = 0; number < numbers; ++number)
    frames.push_back(timeline.frame(number) ? static_cast<int>(*timeline.frame(number)) : -1);
  return frames;
}

using Frames = std::vector<int>;

}  // namespace

// Catches jitter taken for a gap, and a gap for jitter.
TEST(Timeline, GapsByDistance) {
  const Timeline timeline(with_times({50, 60, 75, 84, 115, 125}), 30, 1, false);
  EXPECT_EQ(timeline.nominal_us(), 10U);
  EXPECT_EQ(frames_of(timeline, 9), (Frames{0, 1, 2, 3, -1, -1, 4, 5, -1}));
  EXPECT_EQ(timeline.place_us(3), 34U);
  EXPECT_EQ(timeline.place_us(4), 44U);
  EXPECT_EQ(timeline.place_us(5), 54U);
  EXPECT_EQ(timeline.place_us(6), 65U);
  EXPECT_FALSE(timeline.has_ended(7));
  EXPECT_TRUE(timeline.has_ended(8));
  EXPECT_EQ(timeline.place_us(8), 85U);
  EXPECT_EQ(timeline.place_us(10), 105U);
  EXPECT_EQ(timeline.first_time_us(), 50U);
  EXPECT_EQ(timeline.first_sequence(), 0U);
}

// Catches numbers that are guessed although they are known, and numbers that start again taken for a gap.
TEST(Timeline, GapsByNumber) {
  formats::Capture capture = with_times({0, 10, 50, 60, 70, 80});
  const std::uint32_t numbers[] = {7, 8, 9, 12, 1, 4'000'000};
  for (std::size_t i = 0; i < 6; ++i)
    capture.frames.sequence.set(i, numbers[i]);
  const Timeline timeline(capture, 30, 1, false);
  EXPECT_EQ(timeline.first_sequence(), 7U);
  EXPECT_EQ(frames_of(timeline, 9), (Frames{0, 1, 2, -1, -1, 3, 4, 5, -1}));
}

// Catches a place that falls, and a frame whose own time is lost.
TEST(Timeline, TimesThatGoBack) {
  const Timeline timeline(with_times({100, 110, 90, 100, 110}), 30, 1, false);
  const std::uint64_t places[] = {0, 10, 10, 20, 30};
  const std::int64_t offsets[] = {0, 0, -20, -20, -20};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(timeline.place_us(i), places[i]) << i;
    EXPECT_EQ(timeline.offset_us(i), offsets[i]) << i;
  }
}

// Catches a round that begins at once or with the numbers of the first.
TEST(Timeline, Loops) {
  const Timeline timeline(with_times({0, 20, 30, 40}), 30, 1, true);
  EXPECT_EQ(frames_of(timeline, 11), (Frames{0, -1, 1, 2, 3, 0, -1, 1, 2, 3, 0}));
  EXPECT_FALSE(timeline.has_ended(1'000'000));
  EXPECT_EQ(timeline.place_us(5), 50U);
  EXPECT_EQ(timeline.place_us(7), 70U);
  EXPECT_EQ(timeline.place_us(10), 100U);
}

// Catches a capture without times, or with one frame, that has no places.
TEST(Timeline, WithoutDistances) {
  formats::Capture capture;
  capture.frames.count = 3;
  const Timeline timeline(capture, 30000, 1001, true);
  EXPECT_EQ(timeline.place_us(2), 66733U);
  EXPECT_EQ(timeline.place_us(3), 66733U + 33366U);
  EXPECT_FALSE(timeline.first_time_us().has_value());
  const Timeline one(with_times({5}), 25, 1, true);
  EXPECT_EQ(one.place_us(2), 80000U);
}

// Catches an overflow, and millions of numbers that a jump of the clock would skip.
TEST(Timeline, AnyTimes) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const Timeline timeline(with_times({0, 10, kMost, -kMost, 0, 10, 20}), 30, 1, false);
  EXPECT_EQ(frames_of(timeline, 8), (Frames{0, 1, 2, 3, 4, 5, 6, -1}));
  for (std::size_t i = 0; i < 7; ++i)
    EXPECT_LE(timeline.place_us(i), std::uint64_t{1} << 62U);
}
