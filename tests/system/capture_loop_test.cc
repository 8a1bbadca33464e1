// The capture loop on the real binary: limits, fetch failures, interrupts, hand-back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "capture_run.h"
#include "harness/client_run.h"

using capture_run::capture;
using capture_run::Captured;
using capture_run::expect_order;
using capture_run::fetches;
using capture_run::handed_back;
using capture_run::pass;
using capture_run::script_frames;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

// Catches a frame limit that is off by one, or that fetches once more than it takes.
TEST(CaptureLoop, FrameLimitIsExact) {
  for (const std::size_t frames : {1U, 2U, 7U, 25U}) {
    ClientRun run;
    script_frames(&run);
    const Captured captured = capture(&run, {"--frames=" + std::to_string(frames)});
    EXPECT_EQ(captured.result.status, 0);
    EXPECT_EQ(captured.result.err, "");
    EXPECT_EQ(fetches(captured.truth), frames);
    EXPECT_EQ(handed_back(captured.truth), frames);
    EXPECT_EQ(captured.stored, captured.truth.bytes());
    EXPECT_EQ(captured.stored.size(), 100 * frames);
  }
}

// Catches a negative limit that counts down or never ends: every count is at least -1.
TEST(CaptureLoop, NegativeFrameLimitFetchesNothing) {
  ClientRun run;
  script_frames(&run);
  const Captured captured = capture(&run, {"--frames=-1"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(fetches(captured.truth), 0U);
  EXPECT_EQ(captured.truth.count("zel_stream_start"), 1U);
  EXPECT_THAT(run.files(), IsEmpty());
}

// Catches steps of a pass in another order; the segment flag is read after the buffer was handed back.
TEST(CaptureLoop, PassGoesInItsOrder) {
  ClientRun run;
  script_frames(&run);
  const Captured captured = capture(&run, {"--frames=3", "--segments=100"});
  expect_order(pass(captured.truth, 1),
               {"zel_stream_get_buffer", "zel_buffer_get_frame", "zel_frame_get_timestamp", "zel_frame_take_chunk_ex",
                "zel_stream_buffer_enqueue", "zel_frame_is_segment_start"});
  const std::vector<std::string> names = pass(captured.truth, 1);
  EXPECT_EQ(names.back(), "zel_frame_is_segment_start");
}

// Catches a time limit in other units, off by a frame, or whose last frame is reported, stored or handed back.
TEST(CaptureLoop, DurationEndsBeforeTheFrameThatReachesIt) {
  ClientRun run;
  script_frames(&run);
  const Captured captured = capture(&run, {"--duration=1", "--stats"});
  EXPECT_EQ(captured.result.status, 0);
  ASSERT_EQ(captured.truth.frames().size(), 26U);  // 25 a second: the 26th lies a second behind the first
  EXPECT_EQ(captured.truth.frames()[25].timestamp - captured.truth.frames()[0].timestamp, 1000000U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 25));
  EXPECT_EQ(handed_back(captured.truth), 25U);
  EXPECT_THAT(pass(captured.truth, 25), Not(Contains("zel_frame_take_chunk_ex")));
}

// Catches a limit compared with "more than" instead of "at least".
TEST(CaptureLoop, DurationIsReachedToTheMicrosecond) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 10});
  run.camera().frames({.from = 0, .size = 10, .timestamp_us = 5000000});
  run.camera().frames({.from = 1, .size = 10, .timestamp_us = 6999999});
  run.camera().frames({.from = 2, .size = 10, .timestamp_us = 7000000});
  const Captured captured = capture(&run, {"--duration=2"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(fetches(captured.truth), 3U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2));
}

// Catches a signed difference: a clock that jumps back behind the first frame ends the run at once.
TEST(CaptureLoop, DurationEndsWhenTheClockFallsBehindItsStart) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 10});
  run.camera().frames({.from = 0, .size = 10, .timestamp_us = 5000000});
  run.camera().frames({.from = 1, .size = 10, .timestamp_us = 5100000});
  run.camera().frames({.from = 2, .size = 10, .timestamp_us = 4999999});
  const Captured captured = capture(&run, {"--duration=10"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2));
}

// Catches an overflow in the conversion of a large duration, and a negative one that ends the run at once.
TEST(CaptureLoop, LongAndNegativeDurationsDoNotEndTheRun) {
  for (const char *duration : {"--duration=2147483647", "--duration=0", "--duration=-1"}) {
    ClientRun run;
    script_frames(&run);
    const Captured captured = capture(&run, {duration, "--frames=50"});
    EXPECT_EQ(captured.result.status, 0);
    EXPECT_EQ(captured.truth.frames().size(), 50U) << duration;
  }
}

// Catches a segment limit that stops before the frame that opens one segment too many.
TEST(CaptureLoop, SegmentLimitStoresTheFrameThatExceedsIt) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 10, .segment_start = false});
  run.camera().frames({.from = 0, .count = 0, .every = 4, .size = 10, .segment_start = true});
  const Captured captured = capture(&run, {"--segments=2"});
  EXPECT_EQ(captured.result.status, 0);
  // Segments start at frames 0, 4 and 8; the start of the third is the last frame.
  EXPECT_EQ(fetches(captured.truth), 9U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 9));
  EXPECT_EQ(handed_back(captured.truth), 9U);
}

// Catches a limit that counts frames before the first segment start as a segment.
TEST(CaptureLoop, SegmentsAreCountedByTheirStarts) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 10, .segment_start = false});
  run.camera().frames({.from = 3, .count = 0, .every = 2, .size = 10, .segment_start = true});
  const Captured captured = capture(&run, {"--segments=1"});
  EXPECT_EQ(fetches(captured.truth), 6U);
}

// Catches a negative segment limit treated as none.
TEST(CaptureLoop, NegativeSegmentLimitFetchesNothing) {
  ClientRun run;
  script_frames(&run);
  const Captured captured = capture(&run, {"--segments=-1"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(fetches(captured.truth), 0U);
}

// Catches code 13 that is printed, counted as a frame or ends the run.
TEST(CaptureLoop, NothingToFetchIsSilentlyRetried) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .times = 3, .code = 13, .message = "later"});
  const Captured captured = capture(&run, {"--frames=4"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_EQ(fetches(captured.truth), 7U);
  EXPECT_EQ(captured.stored, captured.truth.bytes());
}

// Catches code 13 judged by whether it was expected, or by errno: the code alone decides.
TEST(CaptureLoop, NothingToFetchWinsOverExpectedAndInterrupted) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer",
                      .nth = 2,
                      .code = 13,
                      .message = "later",
                      .error_number = "EINTR",
                      .expected = true});
  const Captured captured = capture(&run, {"--frames=3"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_EQ(captured.truth.frames().size(), 3U);
  EXPECT_EQ(captured.truth.count("zel_error_is_expected"), 0U);
}

// Catches an unexpected fetch error that ends the run, is silent, or stays in the slot and fails the run at its end.
TEST(CaptureLoop, UnexpectedFetchErrorIsPrintedAndTheLoopGoesOn) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 3, .message = "a hiccup of the service"});
  const Captured captured = capture(&run, {"--frames=4", "--quiet"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "zel-client: a hiccup of the service\n");
  EXPECT_EQ(fetches(captured.truth), 5U);
  EXPECT_EQ(captured.stored, captured.truth.bytes());
  EXPECT_EQ(captured.truth.count("zel_error_is_expected"), 1U);
}

// Catches a second error that is lost because the first was not cleared.
TEST(CaptureLoop, EachUnexpectedFetchErrorIsPrinted) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 1, .times = 2, .message = "one"});
  run.camera().fault(
      {.call = "zel_stream_get_buffer", .nth = 4, .code = 17, .message = "two", .error_number = "EINTR"});
  const Captured captured = capture(&run, {"--frames=2"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "zel-client: one\nzel-client: one\nzel-client: two\n");
}

// Catches a printed error that fails a run which then ends by its limits: the slot is cleared at the end.
TEST(CaptureLoop, PrintedErrorDoesNotChangeTheStatus) {
  ClientRun run;
  script_frames(&run);
  // The interrupt ends the run at the pass that follows the error.
  run.camera().fault(
      {.call = "zel_stream_get_buffer", .nth = 2, .message = "a hiccup", .error_number = "EIO", .signal = "SIGINT"});
  const Captured captured = capture(&run, {});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "zel-client: a hiccup\n");
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 1));
}

// Catches an expected error that the loop ignores, prints twice, or after which the run is finished normally.
TEST(CaptureLoop, ExpectedFetchErrorEndsTheRun) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault(
      {.call = "zel_stream_get_buffer", .nth = 3, .code = 5, .message = "the stream has ended", .expected = true});
  const Captured captured = capture(&run, {"--stats", "--quiet"});
  EXPECT_EQ(captured.result.status, 1);
  EXPECT_EQ(captured.result.err, "zel-client: the stream has ended\n");
  EXPECT_EQ(captured.result.out, "") << "no statistics on this path";
  EXPECT_EQ(fetches(captured.truth), 3U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2));
}

// Catches a failure without an error that crashes, or that ends a run which may go on.
TEST(CaptureLoop, FetchThatSaysNothingDoesNotEndTheRun) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .set_error = false});
  const Captured captured = capture(&run, {"--frames=3"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_THAT(captured.result.err, testing::MatchesRegex("zel-client: [^\n]*\n"));
  EXPECT_EQ(captured.truth.frames().size(), 3U);
}

// Catches an interrupted fetch taken for an error, or a run without its normal end.
TEST(CaptureLoop, InterruptedFetchEndsTheRunNormally) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer",
                      .nth = 3,
                      .message = "Interrupted",
                      .error_number = "EINTR",
                      .signal = "SIGINT"});
  const Captured captured = capture(&run, {"--quiet", "--stats"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_NE(captured.result.out, "") << "the statistics";
  EXPECT_EQ(fetches(captured.truth), 3U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2));
  EXPECT_EQ(captured.truth.count("zel_error_is_expected"), 0U);
}

// Catches an interruption by another signal taken for the user's interrupt.
TEST(CaptureLoop, InterruptedFetchWithoutAnInterruptIsAnError) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .message = "Interrupted", .error_number = "EINTR"});
  const Captured captured = capture(&run, {"--frames=3"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "zel-client: Interrupted\n");
  EXPECT_EQ(captured.truth.frames().size(), 3U);
}

// Catches a frame lost because the interrupt came while it was fetched.
TEST(CaptureLoop, InterruptStoresTheFrameThatIsFetchedAlready) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 3, .fail = false, .signal = "SIGINT"});
  const Captured captured = capture(&run, {"--quiet", "--stats", "--frames=100"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_NE(captured.result.out, "");
  EXPECT_EQ(fetches(captured.truth), 3U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 3));
  EXPECT_EQ(handed_back(captured.truth), 3U);
}

// Catches an interrupt before the first fetch that a run without a limit never sees.
TEST(CaptureLoop, InterruptBeforeTheFirstFetchEndsTheRun) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_start", .fail = false, .signal = "SIGINT"});
  const Captured captured = capture(&run, {});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_EQ(fetches(captured.truth), 0U);
}

// Catches a real interrupt, from outside, of a fetch that really blocks.
TEST(CaptureLoop, InterruptFromOutsideEndsABlockingRun) {
  ClientRun run;
  run.camera().set("pacing", "real-time").scripted().frames({.count = 0, .size = 100});
  run.start({"--framerate=1", "-o", "out", "320", "240"});
  ASSERT_TRUE(run.process().wait_until([&] { return fetches(run.truth()) > 0; }));
  run.process().send_signal(SIGINT);
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
}

// Catches a hand-back whose failure is ignored.
TEST(CaptureLoop, HandBackFailureEndsTheRun) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_buffer_enqueue", .nth = 7, .message = "no way back"});
  const Captured captured = capture(&run, {"--buffer.count=5", "--stats", "--quiet"});
  EXPECT_EQ(captured.result.status, 1);
  EXPECT_EQ(captured.result.err, "zel-client: no way back\n");
  EXPECT_EQ(captured.result.out, "");
  EXPECT_EQ(fetches(captured.truth), 2U);
  EXPECT_EQ(captured.stored, captured.truth.bytes(0, 2)) << "the frame itself was stored";
  EXPECT_EQ(captured.truth.count("zel_frame_is_segment_start"), 1U);
}

// Catches a failing writer whose frame is handed back all the same.
TEST(CaptureLoop, FailedWriteKeepsTheBuffer) {
  ClientRun run;
  script_frames(&run);
  const RunResult result = run.run({"--frames=3", "-o", "/dev/full"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: zel-client: Failed to write frame: No space left on device\n");
  const TruthLog truth = run.truth();
  EXPECT_EQ(fetches(truth), 1U);
  EXPECT_EQ(handed_back(truth), 0U);
}

// Catches frames that are kept by leaking their reference.
TEST(CaptureLoop, EveryBufferIsReleasedWhateverEndsTheRun) {
  const std::vector<std::pair<Fault, std::vector<std::string>>> ends = {
      {{.call = "zel_stream_play"}, {"--frames=3"}},
      {{.call = "zel_stream_play"}, {"--duration=1"}},
      {{.call = "zel_stream_buffer_enqueue", .nth = 12}, {}},
      {{.call = "zel_stream_get_buffer", .nth = 3, .expected = true}, {}},
      {{.call = "zel_stream_force_key_frame"}, {"--sync-input"}},
  };
  for (const auto &[fault, arguments] : ends) {
    ClientRun run;
    script_frames(&run);
    run.camera().fault(fault);
    const Captured captured = capture(&run, arguments);
    std::size_t released = 0;
    for (const Release &release : captured.truth.releases()) {
      released += release.object == "buffer" ? 1U : 0U;
    }
    EXPECT_EQ(released, captured.truth.count("zel_stream_buffer_alloc")) << fault.call;
  }
}
