// Skipping to the start of the input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture_run.h"
#include "harness/client_run.h"

using capture_run::capture;
using capture_run::Captured;
using capture_run::expect_order;
using capture_run::fetches;
using capture_run::handed_back;
using capture_run::kInputStart;
using capture_run::pass;
using capture_run::script_input_at;
using testing::Contains;
using testing::Not;

// Catches skipped frames that are reported, stored, counted or kept, and a wrong order of what each skip does.
TEST(SyncInput, SkipsToTheInputsStart) {
  ClientRun run;
  script_input_at(&run, 3);
  const Captured captured = capture(&run, {"--sync-input", "--frames=2", "--quiet"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  for (const std::size_t skipped : {0U, 1U, 2U}) {
    const std::vector<std::string> names = pass(captured.truth, skipped);
    expect_order(names, {"zel_stream_get_buffer", "zel_buffer_get_frame", "zel_frame_get_timestamp",
                         "zel_stream_buffer_enqueue", "zel_stream_force_key_frame"});
    EXPECT_THAT(names, Not(Contains("zel_frame_take_chunk_ex")));
    EXPECT_THAT(names, Not(Contains("zel_frame_is_segment_start")));
  }
  EXPECT_EQ(captured.truth.count("zel_stream_force_key_frame"), 3U);
  // The first input frame is taken as number -1, so that two numbered frames follow it.
  EXPECT_EQ(fetches(captured.truth), 6U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(3, 3));
}

// Catches a count of -1 for an input that starts with the first frame.
TEST(SyncInput, AnInputThatStartsAtOnceSkipsNothing) {
  ClientRun run;
  script_input_at(&run, 0);
  const Captured captured = capture(&run, {"--sync-input", "--frames=2"});
  EXPECT_EQ(captured.truth.count("zel_stream_force_key_frame"), 0U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2));
}

// Catches a test of all 64 bits of the time.
TEST(SyncInput, OnlyTheLowBitsOfTheTimeCount) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 10});
  run.camera().frames({.from = 0, .size = 10, .timestamp_us = 1});
  run.camera().frames({.from = 1, .size = 10, .timestamp_us = 7 * kInputStart});
  const Captured captured = capture(&run, {"--sync-input", "--frames=1"});
  EXPECT_EQ(captured.truth.count("zel_stream_force_key_frame"), 1U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(1, 2));
}

// Catches later frames that are skipped once the input has begun.
TEST(SyncInput, LaterFramesAreNotSkipped) {
  ClientRun run;
  script_input_at(&run, 1);
  const Captured captured = capture(&run, {"--sync-input", "--frames=10"});
  EXPECT_EQ(captured.truth.count("zel_stream_force_key_frame"), 1U);
  EXPECT_EQ(captured.truth.frames().size(), 12U);
}

// Catches a time limit that counts from the skipped frames: it restarts behind the first input frame.
TEST(SyncInput, TimeLimitRestartsBehindTheFirstInputFrame) {
  ClientRun run;
  script_input_at(&run, 2);
  const Captured captured = capture(&run, {"--sync-input", "--duration=1"});
  EXPECT_EQ(captured.result.status, 0);
  // The first input frame is number -1, the next one is number 0 and opens the span; the one 25 later ends it.
  EXPECT_EQ(captured.truth.frames().size(), 2U + 1U + 25U + 1U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(2, 26));
}

// Catches failures of the two calls that are ignored.
TEST(SyncInput, FailuresWhileSkippingEndTheRun) {
  ClientRun key;
  script_input_at(&key, 3);
  key.camera().fault({.call = "zel_stream_force_key_frame", .nth = 2, .message = "no key frame"});
  const Captured no_key = capture(&key, {"--sync-input", "--frames=1"});
  EXPECT_EQ(no_key.result.status, 1);
  EXPECT_EQ(no_key.result.err, "zel-client: no key frame\n");
  EXPECT_EQ(fetches(no_key.truth), 2U);
  EXPECT_EQ(handed_back(no_key.truth), 2U);

  ClientRun back;
  script_input_at(&back, 3);
  back.camera().fault({.call = "zel_stream_buffer_enqueue", .nth = 2, .message = "no way back"});
  const Captured no_way = capture(&back, {"--sync-input", "--frames=1"});
  EXPECT_EQ(no_way.result.status, 1);
  EXPECT_EQ(no_way.result.err, "zel-client: no way back\n");
  EXPECT_EQ(no_way.truth.count("zel_stream_force_key_frame"), 0U);
}

// Catches frames without number that a run without "sync-input" skips.
TEST(SyncInput, OffMeansNoSkipping) {
  ClientRun run;
  script_input_at(&run, 3);
  const Captured captured = capture(&run, {"--frames=4"});
  EXPECT_EQ(captured.truth.count("zel_stream_force_key_frame"), 0U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 4));
}
