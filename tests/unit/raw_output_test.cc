// Which frames open a new raw file, and how many buffers a run provisions.
#include "capture/raw_output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "capture/buffers.h"

namespace {

/// One frame's decision as a letter: "." keeps the file, a number opens that one.
std::string decide(SplitState *state, bool is_key, gint32 frame_count, gint32 split_ngop, gint32 split_nframes) {
  const std::optional<gint32> number = number_of_new_file(state, is_key, frame_count, split_ngop, split_nframes);
  if (!number) {
    return ".";
  }
  state->open_pending = false;
  return std::to_string(*number);
}

/// The decisions for frames given as "K" (key) and "p", counted from `first_count`.
std::string decisions(const std::string &frames, gint32 split_ngop, gint32 split_nframes, gint32 first_count = 0) {
  SplitState state;
  std::string text;
  gint32 frame_count = first_count;
  for (const char frame : frames) {
    text += (text.empty() ? "" : " ") + decide(&state, frame == 'K', frame_count++, split_ngop, split_nframes);
  }
  return text;
}

}  // namespace

// Catches a run without splitting that reopens, and so truncates, its file.
TEST(SplitDecision, WithoutSplitOpensOnce) {
  EXPECT_EQ(decisions("KppKpp", 0, 0), "0 . . . . .");
  EXPECT_EQ(decisions("ppK", 0, 0), "0 . .");
  EXPECT_EQ(decisions("KpK", -1, -5), "0 . .");
}

// Catches GOP splits at the wrong key frames or with other numbers than the GOP's.
TEST(SplitDecision, ByGops) {
  EXPECT_EQ(decisions("KpKpKpKpK", 1, 0), "0 . 1 . 2 . 3 . 4");
  EXPECT_EQ(decisions("KpKpKpKpK", 2, 0), "0 . . . 2 . . . 4");
  EXPECT_EQ(decisions("KKKK", 3, 0), "0 . . 3");
}

// Catches leading frames without a file: they open file 0, which the first key frame opens once more.
TEST(SplitDecision, ByGopsWithLeadingFrames) {
  EXPECT_EQ(decisions("ppKpK", 1, 0), "0 . 0 . 1");
}

// Catches frame splits at the wrong counts or with other numbers than the frame's.
TEST(SplitDecision, ByFrames) {
  EXPECT_EQ(decisions("KpppKpppp", 0, 3), "0 . . 3 . . 6 . .");
  EXPECT_EQ(decisions("Kpp", 0, 1), "0 1 2");
}

// Catches a remainder that is made positive: the first frame after skipping counts as -1.
TEST(SplitDecision, ByFramesFromMinusOne) {
  EXPECT_EQ(decisions("Kpp", 0, 1, -1), "-1 0 1");
  EXPECT_EQ(decisions("Kppp", 0, 2, -1), "0 0 . 2");
  EXPECT_EQ(decisions("Kppp", 0, 3, -1), "0 0 . .");
}

// Catches key frames that reach the frame rule when both splits are on.
TEST(SplitDecision, ByGopsAndFrames) {
  EXPECT_EQ(decisions("KpppKppp", 2, 2), "0 . 2 . . . 6 .");
  EXPECT_EQ(decisions("pKpKpp", 1, 2), "0 0 2 1 4 .");
}

// Catches a count past the end of its type.
TEST(SplitDecision, NumbersUpToTheLast) {
  SplitState state;
  EXPECT_EQ(decide(&state, false, 2147483647, 0, 2147483647), "2147483647");
  EXPECT_EQ(decide(&state, false, -2147483647 - 1, 0, 2), "-2147483648");
}

// Catches a count of groups of pictures that overflows: undefined, and it may end an endless run.
TEST(SplitDecision, GopsAreCountedOnPastTheLast) {
  SplitState state = {.open_pending = false, .gop_count = 2147483647};
  EXPECT_EQ(decide(&state, true, 0, 2, 0), "-2147483648");
  EXPECT_EQ(state.gop_count, -2147483647 - 1);
}

// Catches limits off by one, and a signed comparison with the frame limit.
TEST(BuffersToProvision, LiesBetweenOneAndTenAndTheFrameLimit) {
  EXPECT_EQ(MAX_BUFFERS, 10U);
  EXPECT_EQ(buffers_to_provision(10, 0), 10U);
  EXPECT_EQ(buffers_to_provision(0, 0), 1U);
  EXPECT_EQ(buffers_to_provision(1, 0), 1U);
  EXPECT_EQ(buffers_to_provision(9, 0), 9U);
  EXPECT_EQ(buffers_to_provision(11, 0), 10U);
  EXPECT_EQ(buffers_to_provision(50, 0), 10U);
  EXPECT_EQ(buffers_to_provision(4294967295, 0), 10U);
  EXPECT_EQ(buffers_to_provision(10, 1), 1U);
  EXPECT_EQ(buffers_to_provision(10, 3), 3U);
  EXPECT_EQ(buffers_to_provision(3, 10), 3U);
  EXPECT_EQ(buffers_to_provision(5, 5), 5U);
  EXPECT_EQ(buffers_to_provision(0, 5), 1U);
  EXPECT_EQ(buffers_to_provision(10, -1), 10U);
}
