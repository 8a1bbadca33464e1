// A capture's figures against ones that were made by hand.
#include "frames/model/statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

using frames::Capture;
using frames::measure_capture;
using frames::Statistics;
using testing::ElementsAre;
using testing::IsEmpty;

Capture with_times(const std::vector<std::int64_t> &times, std::uint32_t size = 100) {
  Capture capture;
  for (const std::int64_t time : times) {
    capture.frames.time_us.set(capture.frames.count, time);
    capture.frames.size.set(capture.frames.count++, size);
  }
  return capture;
}

template <typename Number>
void set(frames::Column<Number> &column, const std::vector<Number> &numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i)
    column.set(i, numbers[i]);
}

std::vector<std::size_t> gaps_after(const Statistics &statistics) {
  std::vector<std::size_t> frames;
  for (const frames::Gap &gap : statistics.gaps)
    frames.push_back(gap.after);
  return frames;
}

std::vector<std::uint64_t> missing_of(const Statistics &statistics) {
  std::vector<std::uint64_t> missing;
  for (const frames::Gap &gap : statistics.gaps)
    missing.push_back(gap.missing);
  return missing;
}

frames::Distribution measured(const std::vector<std::int64_t> &values) {
  const auto result = frames::measure([&values](auto &&visit) {
    for (const std::int64_t value : values)
      visit(value);
  });
  EXPECT_TRUE(result.has_value());
  return result.value_or(frames::Distribution{});
}

}  // namespace

// Catches a percentile that is interpolated, or one rank off, and a deviation of a sample instead of the population.
TEST(FramesDistribution, IsNearestRank) {
  const frames::Distribution five = measured({15, 20, 35, 40, 50});
  EXPECT_EQ(five.p50, 35);
  EXPECT_EQ(five.p90, 50);
  EXPECT_EQ(five.min, 15);
  EXPECT_EQ(five.max, 50);
  EXPECT_DOUBLE_EQ(five.mean, 32);
  const frames::Distribution two = measured({10, 20});
  EXPECT_EQ(two.p50, 10);
  EXPECT_DOUBLE_EQ(two.stddev, 5);
  std::vector<std::int64_t> thousand;
  for (std::int64_t i = 1000; i > 0; --i)
    thousand.push_back(i);
  const frames::Distribution many = measured(thousand);
  EXPECT_EQ(many.p50, 500);
  EXPECT_EQ(many.p90, 900);
  EXPECT_EQ(many.p99, 990);
  EXPECT_EQ(many.p999, 999);
  thousand.push_back(1001);
  const frames::Distribution one_more = measured(thousand);
  EXPECT_EQ(one_more.p50, 501);
  EXPECT_EQ(one_more.p999, 1000);
}

// Catches values whose difference or sum does not fit 64 bits, and ranks among values that share their upper bits.
TEST(FramesDistribution, TakesAnyValues) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const frames::Distribution ends = measured({kMost, kLeast, 0, kMost, 1});
  EXPECT_EQ(ends.min, kLeast);
  EXPECT_EQ(ends.p50, 1);
  EXPECT_EQ(ends.p90, kMost);
  EXPECT_DOUBLE_EQ(ends.mean, 9223372036854775807.0 / 5);
  const frames::Distribution near = measured({70'000, 5, 70'001, 70'002, -70'000});
  EXPECT_EQ(near.p50, 70'000);
  EXPECT_EQ(near.p90, 70'002);
  const frames::Distribution latency = measured({-5'000'000'000, 5'000'000'000, 7});
  EXPECT_EQ(latency.p50, 7);
}

// Catches a rank that is lost where few or many values are searched in steps of other sizes.
TEST(FramesDistribution, FindsWhatSortingFinds) {
  std::mt19937_64 random(1);
  for (const std::size_t count :
       {std::size_t{1}, std::size_t{2}, std::size_t{255}, std::size_t{256}, std::size_t{5000}, std::size_t{300'000}}) {
    for (const unsigned bits : {1U, 8U, 9U, 17U, 18U, 19U, 36U, 37U, 64U}) {
      SCOPED_TRACE(testing::Message() << count << " values of " << bits << " bits");
      std::vector<std::int64_t> values(count);
      std::generate(values.begin(), values.end(), [&] { return static_cast<std::int64_t>(random()) >> (64U - bits); });
      const frames::Distribution found = measured(values);
      std::sort(values.begin(), values.end());
      EXPECT_EQ(found.p50, values[(count * 500 + 999) / 1000 - 1]);
      EXPECT_EQ(found.p90, values[(count * 900 + 999) / 1000 - 1]);
      EXPECT_EQ(found.p99, values[(count * 990 + 999) / 1000 - 1]);
      EXPECT_EQ(found.p999, values[(count * 999 + 999) / 1000 - 1]);
    }
  }
}

// Catches rates over all frames instead of the distances, and the last frame's bits in the bit rate.
TEST(FramesStatistics, RatesAreOverTheDistances) {
  Capture capture = with_times({1'000'000, 1'040'000, 1'080'000, 1'120'000, 1'160'000});
  const Statistics statistics = measure_capture(capture);
  EXPECT_EQ(statistics.duration_us, 160'000);
  EXPECT_DOUBLE_EQ(statistics.fps.value_or(0), 25);
  EXPECT_DOUBLE_EQ(statistics.bitrate_bps.value_or(0), 20'000);
  EXPECT_EQ(statistics.bytes, 500u);
  EXPECT_EQ(statistics.nominal_us, 40'000);
  EXPECT_EQ(statistics.missing, 0u);
  EXPECT_EQ(statistics.delta_us->count, 4u);
  EXPECT_FALSE(statistics.keys.has_value());
}

// Catches 32-bit sums.
TEST(FramesStatistics, SumsHave64Bits) {
  const Statistics statistics = measure_capture(with_times({0, 1, 2}, std::numeric_limits<std::uint32_t>::max()));
  EXPECT_EQ(statistics.bytes, 3 * std::uint64_t{std::numeric_limits<std::uint32_t>::max()});
}

// Catches a rate of frames that take no time or go back.
TEST(FramesStatistics, NoRateWithoutDuration) {
  for (const auto &times : std::vector<std::vector<std::int64_t>>{{5}, {5, 5}, {5, 9, 2}}) {
    const Statistics statistics = measure_capture(with_times(times));
    EXPECT_TRUE(statistics.duration_us.has_value());
    EXPECT_FALSE(statistics.fps.has_value());
    EXPECT_FALSE(statistics.bitrate_bps.has_value());
  }
  EXPECT_FALSE(measure_capture(with_times({})).duration_us.has_value());
}

// Catches a gap at one and a half times the distance, a quotient that is not rounded half up, and a nominal distance
// that counts those that are not positive.
TEST(FramesGaps, AreAboveOneAndAHalf) {
  const Statistics even = measure_capture(with_times({0, 10, 20, 30, 45, 61, 71, 96, 120}));
  EXPECT_EQ(even.nominal_us, 10);
  EXPECT_THAT(gaps_after(even), ElementsAre(4, 6, 7));
  EXPECT_THAT(missing_of(even), ElementsAre(1, 2, 1));
  EXPECT_EQ(even.missing, 4u);
  const Statistics odd = measure_capture(with_times({0, 33, 66, 99, 148, 198}));
  EXPECT_THAT(gaps_after(odd), ElementsAre(4));  // 49 is below 49.5
  const Statistics back = measure_capture(with_times({100, 90, 90, 80, 90, 100}));
  EXPECT_EQ(back.nominal_us, 10);
  EXPECT_THAT(back.backwards, ElementsAre(1, 3));
  EXPECT_THAT(back.repeated, ElementsAre(2));
  EXPECT_THAT(back.gaps, IsEmpty());
}

// Catches frames counted as missing that a clock step or a stall only seems to skip, and skipped numbers in even times.
TEST(FramesGaps, SequenceNumbersDecide) {
  Capture capture = with_times({0, 10, 20, 1000, 1010, 1020, 1030});
  set<std::uint32_t>(capture.frames.sequence, {5, 6, 7, 8, 9, 12, 13});
  const Statistics statistics = measure_capture(capture);
  EXPECT_THAT(gaps_after(statistics), ElementsAre(2, 4));
  EXPECT_THAT(missing_of(statistics), ElementsAre(0, 2));
  EXPECT_EQ(statistics.missing, 2u);
  EXPECT_EQ(statistics.gaps[0].delta_us, 980);
}

// Catches a number that wraps, or starts again, taken for billions of lost frames.
TEST(FramesGaps, SequenceNumbersWrapAndStartAgain) {
  Capture capture = with_times({0, 10, 20, 30, 40});
  set<std::uint32_t>(capture.frames.sequence, {0xFFFFFFFE, 0xFFFFFFFF, 1, 2, 0});
  const Statistics statistics = measure_capture(capture);
  EXPECT_THAT(gaps_after(statistics), ElementsAre(1));
  EXPECT_EQ(statistics.missing, 1u);
}

// Catches a figure where neither times nor numbers are known.
TEST(FramesGaps, UnknownWithoutTimesAndNumbers) {
  Capture capture;
  for (int i = 0; i < 3; ++i)
    capture.frames.size.set(capture.frames.count++, 5);
  EXPECT_FALSE(measure_capture(capture).missing.has_value());
  set<std::uint32_t>(capture.frames.sequence, {1, 2, 5});
  EXPECT_EQ(measure_capture(capture).missing, 2u);
}

// Catches a last GOP that is left out, frames before the first key frame that count, and sizes in the wrong group.
TEST(FramesGops, GoFromKeyToKey) {
  Capture capture = with_times({0, 1, 2, 3, 4, 5, 6});
  set<std::uint8_t>(capture.frames.key, {0, 1, 0, 0, 1, 0, 0});
  capture.frames.key.set(7, 1);
  capture.frames.time_us.set(7, 7);
  capture.frames.size.set(7, 900);
  capture.frames.count = 8;
  const Statistics statistics = measure_capture(capture);
  ASSERT_TRUE(statistics.gop.has_value());
  EXPECT_EQ(statistics.gop->count, 3u);
  EXPECT_EQ(statistics.gop->min, 1u);
  EXPECT_EQ(statistics.gop->max, 3u);
  EXPECT_DOUBLE_EQ(statistics.gop->mean, 7.0 / 3);
  EXPECT_EQ(statistics.keys, 3u);
  EXPECT_EQ(statistics.size_key->max, 900);
  EXPECT_EQ(statistics.size_other->max, 100);
  EXPECT_EQ(statistics.size_other->count, 5u);
}

// Catches a first distance at the client that counts, and unknown values that count as 0.
TEST(FramesStatistics, OnlyKnownValuesCount) {
  Capture capture = with_times({0, 10, 20, 30});
  set<std::uint32_t>(capture.frames.delta_cts_us, {0, 11, 12, 13});
  capture.frames.latency_us.set(1, -7);
  capture.frames.latency_us.set(3, 9);
  const Statistics statistics = measure_capture(capture);
  EXPECT_EQ(statistics.delta_cts_us->count, 3u);
  EXPECT_EQ(statistics.delta_cts_us->min, 11);
  EXPECT_EQ(statistics.latency_us->count, 2u);
  EXPECT_EQ(statistics.latency_us->min, -7);
}

// Catches numbers in the wrong frame behind others that are unknown, and across blocks.
TEST(FramesColumn, KnowsWhatWasSet) {
  frames::Column<std::uint32_t> column;
  EXPECT_FALSE(column.any());
  EXPECT_TRUE(column.all(0));
  constexpr std::uint32_t kMany = 100'000;
  for (std::uint32_t i = 0; i < kMany; ++i)
    column.set(i, i * 3);
  EXPECT_TRUE(column.all(kMany));
  EXPECT_FALSE(column.all(kMany + 1));
  column.set(200'000, 7);
  EXPECT_FALSE(column.all(kMany));
  EXPECT_EQ(column[kMany - 1], (kMany - 1) * 3);
  EXPECT_TRUE(column.known(200'000));
  EXPECT_EQ(column[200'000], 7u);
  EXPECT_FALSE(column.known(kMany));
  EXPECT_FALSE(column.known(200'001));
  frames::Column<std::uint8_t> late;
  late.set(3, 1);
  EXPECT_FALSE(late.known(0));
  EXPECT_TRUE(late.known(3));
}
