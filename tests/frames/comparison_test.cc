// Comparing runs: the rank test against figures made by hand, blocks, and what counts as worse.
#include "frames/model/comparison.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "frames/model/rank_test.h"

namespace frames {
namespace {

std::vector<double> numbers(int from, int to) {
  std::vector<double> result;
  for (int i = from; i <= to; ++i)
    result.push_back(i);
  return result;
}

// U = 0 of 64, mean 32, variance 8 * 8 / 12 * 17: z = 31.5 / 9.5219 = 3.3082.
TEST(RankTest, TellsApartSamplesThatDoNotOverlap) {
  EXPECT_NEAR(rank_test(numbers(1, 8), numbers(9, 16)).p, 0.000939, 0.000001);
}

// It does not matter which of the two samples is the larger one.
TEST(RankTest, IsTwoSided) {
  EXPECT_DOUBLE_EQ(rank_test(numbers(1, 8), numbers(9, 16)).p, rank_test(numbers(9, 16), numbers(1, 8)).p);
  EXPECT_TRUE(rank_test(numbers(1, 8), numbers(9, 16)).other_is_higher);
  EXPECT_FALSE(rank_test(numbers(9, 16), numbers(1, 8)).other_is_higher);
}

// The three 2s share rank 3, the three 3s rank 6. The first sample's ranks add up to 13: U = 3, mean 8; with the ties,
// 24 and 24, the variance is 16 / 12 * (9 - 48 / 56) = 10.857, so z = 4.5 / 3.295.
TEST(RankTest, SharesRanksAmongEqualValues) {
  const std::vector<double> one = {1, 2, 2, 3};
  const std::vector<double> other = {2, 3, 3, 4};
  EXPECT_NEAR(rank_test(one, other).p, 0.1720, 0.0001);
}

// Steady distances are all alike: nothing can be said, and nothing may be divided by zero.
TEST(RankTest, FindsNoDifferenceWhereThereIsNone) {
  const std::vector<double> steady(20, 33333);
  EXPECT_EQ(rank_test(steady, steady).p, 1);
  EXPECT_EQ(rank_test({}, steady).p, 1);
}

/// A run of `seconds` seconds at 25 frames a second with latencies about a mean.
Capture run(unsigned seed, int seconds, double latency_us) {
  std::mt19937 random(seed);
  std::normal_distribution<double> jitter(latency_us, 1000);
  Capture capture;
  FrameTable &frames = capture.frames;
  for (std::size_t i = 0; i < static_cast<std::size_t>(seconds) * 25 + 1; ++i) {
    frames.time_us.set(i, static_cast<std::int64_t>(i) * 40000);
    frames.latency_us.set(i, static_cast<std::int64_t>(jitter(random)));
    frames.size.set(i, 1000);
    frames.key.set(i, i % 5 == 0 ? 1 : 0);
    frames.count = i + 1;
  }
  return capture;
}

Comparison compare(const Capture &a, const Capture &b) {
  return frames::compare_runs({&a, 1}, {&b, 1});
}

const ComparedFigure &find(const Comparison &comparison, Quantity quantity, Figure figure) {
  for (const ComparedFigure &found : comparison.figures)
    if (found.quantity == quantity && found.figure == figure) return found;
  throw std::logic_error("not compared");
}

TEST(Comparison, TakesWholeSecondsAsBlocks) {
  const Comparison comparison = compare(run(1, 10, 30000), run(2, 12, 30000));
  EXPECT_EQ(comparison.block, BlockKind::kSecond);
  EXPECT_EQ(comparison.blocks_a, 10U);
  EXPECT_EQ(comparison.blocks_b, 12U);
}

// Three seconds are too few blocks; their fifteen GOPs are enough.
TEST(Comparison, TakesGopsWhereSecondsAreTooFew) {
  const Comparison comparison = compare(run(1, 3, 30000), run(2, 12, 30000));
  EXPECT_EQ(comparison.block, BlockKind::kGop);
  EXPECT_EQ(comparison.blocks_a, 15U);
  EXPECT_EQ(comparison.blocks_b, 60U);
}

// One second has five GOPs: every difference may be chance, whatever it is.
TEST(Comparison, SaysNothingWithFewerThanEightBlocks) {
  const Comparison comparison = compare(run(1, 1, 30000), run(2, 1, 90000));
  const ComparedFigure &mean = find(comparison, Quantity::kLatency, Figure::kMean);
  EXPECT_FALSE(mean.p.has_value());
  EXPECT_TRUE(mean.by_chance);
  EXPECT_FALSE(is_worse(mean, 5));
}

// Each figure by itself comes out as chance in at least 90 of 100 pairs of equal runs.
TEST(Comparison, FindsChanceBetweenEqualRuns) {
  std::array<int, kFigures.size()> by_chance{};
  for (unsigned pair = 0; pair < 100; ++pair) {
    const Comparison comparison = compare(run(2 * pair, 20, 30000), run(2 * pair + 1, 20, 30000));
    for (const Figure figure : kFigures)
      by_chance[static_cast<std::size_t>(figure)] += find(comparison, Quantity::kLatency, figure).by_chance ? 1 : 0;
  }
  for (const int count : by_chance)
    EXPECT_GE(count, 90);
}

// Two milliseconds more are found in each figure in at least 99 of 100 pairs.
TEST(Comparison, FindsMoreLatency) {
  std::array<int, kFigures.size()> found{};
  for (unsigned pair = 0; pair < 100; ++pair) {
    const Comparison comparison = compare(run(2 * pair, 20, 30000), run(2 * pair + 1, 20, 32000));
    for (const Figure figure : kFigures) {
      const ComparedFigure &compared = find(comparison, Quantity::kLatency, figure);
      found[static_cast<std::size_t>(figure)] += !compared.by_chance && compared.b > compared.a ? 1 : 0;
    }
  }
  for (const int count : found)
    EXPECT_GE(count, 99);
}

ComparedFigure figure(Quantity quantity, double a, double b, bool by_chance) {
  ComparedFigure result;
  result.quantity = quantity;
  result.a = a;
  result.b = b;
  if (a != 0) result.percent = (b - a) / a * 100;
  result.by_chance = by_chance;
  return result;
}

// A single late frame in a run whose every second is faster.
TEST(Comparison, TakesForChanceWhatTheBlocksContradict) {
  Capture faster = run(2, 20, 25000);
  faster.frames.latency_us = {};
  const Capture plain = run(2, 20, 25000);
  for (std::size_t i = 0; i < plain.frames.count; ++i)
    faster.frames.latency_us.set(i, i == 100 ? 90000 : plain.frames.latency_us[i]);
  const Comparison comparison = compare(run(1, 20, 30000), faster);
  const ComparedFigure &most = find(comparison, Quantity::kLatency, Figure::kMax);
  EXPECT_GT(most.b, most.a);
  EXPECT_LT(most.p.value_or(1), kChance);
  EXPECT_TRUE(most.by_chance);
  EXPECT_FALSE(is_worse(most, 5));
  EXPECT_FALSE(find(comparison, Quantity::kLatency, Figure::kP50).by_chance) << "faster, and so say the blocks";
}

TEST(Comparison, CountsAsWorseWhatExceedsTheLimitAndChance) {
  EXPECT_TRUE(is_worse(figure(Quantity::kLatency, 1000, 1051, false), 5));
  EXPECT_TRUE(is_worse(figure(Quantity::kDistance, 1000, 1051, false), 5));
  EXPECT_FALSE(is_worse(figure(Quantity::kLatency, 1000, 1050, false), 5)) << "not more than the limit";
  EXPECT_FALSE(is_worse(figure(Quantity::kLatency, 1000, 2000, true), 5)) << "may be chance";
  EXPECT_FALSE(is_worse(figure(Quantity::kLatency, 2000, 1000, false), 5)) << "better";
  EXPECT_FALSE(is_worse(figure(Quantity::kSize, 1000, 2000, false), 5)) << "sizes are neither good nor bad";
  EXPECT_TRUE(is_worse(figure(Quantity::kLatency, 0, 10, false), 5)) << "no percentage, and larger all the same";
}

}  // namespace
}  // namespace frames
