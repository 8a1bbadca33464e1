// The per-frame update of the statistics, with given times.
#include "console/frame_stats.h"

#include <gtest/gtest.h>

namespace {

constexpr guint64 kSecond = 1000000;

/// A run of frames through the update, each of them finished as the capture loop does it.
class FrameStatsTest : public testing::Test {
 protected:
  FrameTiming add(const FrameSample &sample, bool custom_timestamps = false) {
    const FrameTiming timing = update_frame_stats(stats, previous, sample, custom_timestamps);
    previous = {.cts = timing.cts, .pts = timing.pts};
    return timing;
  }

  FrameStats stats;
  PreviousTimes previous;
};

/// A frame that was handled `latency` after its presentation time.
FrameSample frame_at(guint64 pts, guint64 latency) {
  FrameSample sample;
  sample.cts = pts + latency;
  sample.pts = pts;
  sample.real_now = pts + latency;
  sample.utc = pts;
  sample.shown = true;
  return sample;
}

// Catches wrong initial values: a minimum that starts at 0 would never move.
TEST_F(FrameStatsTest, StartsWithoutValues) {
  for (const guint32 minimum :
       {stats.cts_delta_min, stats.pts_delta_min, stats.custom_min, stats.utc_latency_min, stats.latency_min}) {
    EXPECT_EQ(minimum, 0xFFFFFFFFU);
  }
  for (const guint32 maximum :
       {stats.cts_delta_max, stats.pts_delta_max, stats.custom_max, stats.utc_latency_max, stats.latency_max}) {
    EXPECT_EQ(maximum, 0U);
  }
  EXPECT_EQ(stats.nbytes, 0U);
  EXPECT_EQ(stats.nframes, 0U);
  EXPECT_EQ(stats.capacity_total, 0U);
  EXPECT_EQ(previous.cts, 0U);
  EXPECT_EQ(previous.pts, 0U);
}

// Catches a first frame that is measured against the zero before it, and first values that are not kept.
TEST_F(FrameStatsTest, FirstFrameHasNoDistance) {
  FrameSample sample = frame_at(5 * kSecond, 700);
  sample.utc = 77;
  sample.custom = 88;
  const FrameTiming timing = update_frame_stats(stats, previous, sample, false);
  EXPECT_EQ(timing.delta_cts, 0U);
  EXPECT_EQ(timing.delta_pts, 0U);
  EXPECT_EQ(timing.latency, 700);
  EXPECT_EQ(timing.cts, 5 * kSecond + 700);
  EXPECT_EQ(timing.pts, 5 * kSecond);
  EXPECT_EQ(previous.cts, 5 * kSecond + 700);
  EXPECT_EQ(previous.pts, 5 * kSecond);
  EXPECT_EQ(stats.client_first_us, 5 * kSecond + 700);
  EXPECT_EQ(stats.server_first_us, 5 * kSecond);
  EXPECT_EQ(stats.first_utc, 77U);
  EXPECT_EQ(stats.first_custom, 88U);
  EXPECT_EQ(stats.cts_delta_min, 0xFFFFFFFFU);
  EXPECT_EQ(stats.cts_delta_max, 0U);
  EXPECT_EQ(stats.pts_delta_min, 0xFFFFFFFFU);
  EXPECT_EQ(stats.pts_delta_max, 0U);
  EXPECT_EQ(stats.latency_min, 700U);
  EXPECT_EQ(stats.latency_max, 700U);
}

// Catches an update that moves the values of the last frame before the line has been printed.
TEST_F(FrameStatsTest, LeavesLastValuesToTheEnd) {
  add(frame_at(kSecond, 10));
  (void)update_frame_stats(stats, previous, frame_at(2 * kSecond, 10), false);
  EXPECT_EQ(previous.cts, kSecond + 10);
  EXPECT_EQ(previous.pts, kSecond);
  EXPECT_EQ(stats.client_last_us, 0U);
  EXPECT_EQ(stats.server_last_us, 0U);
  EXPECT_EQ(stats.last_utc, 0U);
  EXPECT_EQ(stats.last_custom, 0U);
  EXPECT_EQ(stats.client_first_us, kSecond + 10);
}

// Catches distances taken from the wrong clock, and extremes that keep the latest value instead.
TEST_F(FrameStatsTest, KeepsExtremesOfDistances) {
  FrameSample sample = frame_at(kSecond, 1000);
  add(sample);
  sample.pts += 40000;
  sample.cts += 41000;
  FrameTiming timing = add(sample);
  EXPECT_EQ(timing.delta_pts, 40000U);
  EXPECT_EQ(timing.delta_cts, 41000U);
  sample.pts += 10000;
  sample.cts += 55000;
  timing = add(sample);
  EXPECT_EQ(timing.delta_pts, 10000U);
  EXPECT_EQ(timing.delta_cts, 55000U);
  sample.pts += 20000;
  sample.cts += 30000;
  add(sample);
  EXPECT_EQ(stats.pts_delta_min, 10000U);
  EXPECT_EQ(stats.pts_delta_max, 40000U);
  EXPECT_EQ(stats.cts_delta_min, 30000U);
  EXPECT_EQ(stats.cts_delta_max, 55000U);
}

// Catches the first frame told by "previous is 0" or by a count: it is told by the two previous times being equal.
TEST_F(FrameStatsTest, EqualPreviousTimesMakeAFirstFrame) {
  add(frame_at(kSecond, 0));  // cts equals pts
  FrameSample second = frame_at(2 * kSecond, 500);
  const FrameTiming timing = add(second);
  EXPECT_EQ(timing.delta_cts, 0U);
  EXPECT_EQ(timing.delta_pts, 0U);
  EXPECT_EQ(stats.client_first_us, 2 * kSecond + 500);
  EXPECT_EQ(stats.server_first_us, 2 * kSecond);
  EXPECT_EQ(stats.pts_delta_min, 0xFFFFFFFFU);
  EXPECT_EQ(add(frame_at(3 * kSecond, 500)).delta_pts, kSecond);
}

// Catches a first frame told by its own time: a frame at time 0 is first like any other, and is not first again.
TEST_F(FrameStatsTest, ZeroPresentationTimeIsAnOrdinaryTime) {
  add(frame_at(0, 500));
  const FrameTiming timing = add(frame_at(33333, 500));
  EXPECT_EQ(timing.delta_pts, 33333U);
  EXPECT_EQ(timing.delta_cts, 33333U);
}

// Catches distances in 64 bits: times that cross 2^32 are taken in 32 bits, and so is a distance beyond them.
TEST_F(FrameStatsTest, DistancesWrapIn32Bits) {
  add(frame_at(0xFFFFFF00, 1));
  FrameTiming timing = add(frame_at(0x100000100, 1));
  EXPECT_EQ(timing.delta_pts, 0x200U);
  EXPECT_EQ(timing.delta_cts, 0x200U);
  timing = add(frame_at(0x300000107, 1));
  EXPECT_EQ(timing.delta_pts, 7U);
  EXPECT_EQ(stats.pts_delta_min, 7U);
  EXPECT_EQ(stats.pts_delta_max, 0x200U);
}

// Catches a signed comparison: a clock that goes backwards gives a huge distance, which becomes the largest.
TEST_F(FrameStatsTest, BackwardStepIsAHugeDistance) {
  add(frame_at(10 * kSecond, 5));
  add(frame_at(11 * kSecond, 5));
  const FrameTiming timing = add(frame_at(11 * kSecond - 3, 5));
  EXPECT_EQ(timing.delta_pts, 0xFFFFFFFDU);
  EXPECT_EQ(stats.pts_delta_max, 0xFFFFFFFDU);
  EXPECT_EQ(stats.pts_delta_min, kSecond);
}

// Catches negative latencies that are clamped, compared as signed or that lower the smallest.
TEST_F(FrameStatsTest, NegativeLatencyBecomesTheLargest) {
  FrameSample sample = frame_at(kSecond, 300);
  add(sample);
  sample.pts = sample.cts + 2;
  sample.utc = sample.real_now + 9;
  const FrameTiming timing = add(sample);
  EXPECT_EQ(timing.latency, -2);
  EXPECT_EQ(stats.latency_min, 300U);
  EXPECT_EQ(stats.latency_max, 0xFFFFFFFEU);
  EXPECT_EQ(stats.utc_latency_min, 300U);
  EXPECT_EQ(stats.utc_latency_max, 0xFFFFFFF7U);
}

// Catches the same when no other latency was seen: the smallest stays without a value.
TEST_F(FrameStatsTest, OnlyNegativeLatencyLeavesTheSmallest) {
  FrameSample sample = frame_at(kSecond, 0);
  sample.pts = kSecond + 1;
  add(sample);
  EXPECT_EQ(stats.latency_min, 0xFFFFFFFFU);
  EXPECT_EQ(stats.latency_max, 0xFFFFFFFFU);
}

// Catches latencies that saturate: from 2^32 on the low 32 bits are kept of the largest, and the smallest stays.
TEST_F(FrameStatsTest, LongLatencyIsCutToItsLowBits) {
  FrameTiming timing = add(frame_at(kSecond, 0x100000005));
  EXPECT_EQ(timing.latency, 0x100000005);
  EXPECT_EQ(stats.latency_max, 5U);
  EXPECT_EQ(stats.latency_min, 0xFFFFFFFFU);
  EXPECT_EQ(stats.utc_latency_max, 5U);
  EXPECT_EQ(stats.utc_latency_min, 0xFFFFFFFFU);
  // The stored largest is the cut one: an ordinary latency exceeds it.
  timing = add(frame_at(2 * kSecond, 80));
  EXPECT_EQ(stats.latency_max, 80U);
  EXPECT_EQ(stats.latency_min, 80U);
}

// Catches an off-by-one at the edge of 32 bits.
TEST_F(FrameStatsTest, LatencyAtTheEdgeOf32Bits) {
  add(frame_at(kSecond, 0xFFFFFFFF));
  EXPECT_EQ(stats.latency_max, 0xFFFFFFFFU);
  EXPECT_EQ(stats.latency_min, 0xFFFFFFFFU);
  add(frame_at(2 * kSecond, 0x100000000));
  EXPECT_EQ(stats.latency_max, 0U);
}

// Catches the wall-clock latency taken from the monotonic clock or the other way round.
TEST_F(FrameStatsTest, MeasuresBothLatencies) {
  FrameSample sample = frame_at(kSecond, 120);
  sample.real_now = 1700000000 * kSecond;
  sample.utc = sample.real_now - 4500;
  add(sample);
  EXPECT_EQ(stats.latency_max, 120U);
  EXPECT_EQ(stats.utc_latency_min, 4500U);
  EXPECT_EQ(stats.utc_latency_max, 4500U);
}

// Catches custom timestamps folded in when the run has none, or their distances taken instead of themselves.
TEST_F(FrameStatsTest, CustomExtremesAreOfTheValueItself) {
  FrameSample sample = frame_at(kSecond, 10);
  sample.custom = 900;
  add(sample, false);
  EXPECT_EQ(stats.custom_min, 0xFFFFFFFFU);
  EXPECT_EQ(stats.custom_max, 0U);
  add(sample, true);
  sample.custom = 400;
  add(sample, true);
  EXPECT_EQ(stats.custom_min, 400U);
  EXPECT_EQ(stats.custom_max, 900U);
  sample.custom = 0x700000003;
  add(sample, true);
  EXPECT_EQ(stats.custom_min, 400U);
  EXPECT_EQ(stats.custom_max, 3U);
}

// Catches frames that are not shown counted as frames, or left out of the bytes.
TEST_F(FrameStatsTest, HiddenFramesCountTowardsBytesOnly) {
  FrameSample sample = frame_at(kSecond, 10);
  sample.size = 100;
  sample.capacity = 1000;
  add(sample);
  sample.shown = false;
  sample.cts += 50;
  sample.pts += 50;
  EXPECT_EQ(add(sample).delta_pts, 50U);
  EXPECT_EQ(stats.nframes, 1U);
  EXPECT_EQ(stats.nbytes, 200U);
  EXPECT_EQ(stats.capacity_total, 2000U);
}

// Catches sums of the wrong width: bytes wrap in 32 bits, capacities do not.
TEST_F(FrameStatsTest, BytesWrapAndCapacityDoesNot) {
  FrameSample sample = frame_at(kSecond, 10);
  sample.size = 0x80000001;
  sample.capacity = 0x80000002;
  add(sample);
  add(sample);
  EXPECT_EQ(stats.nbytes, 2U);
  EXPECT_EQ(stats.capacity_total, 0x100000004U);
}

}  // namespace
