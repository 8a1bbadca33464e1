// The capture loop on the real binary: limits, fetch failures, interrupts, hand-back, skipping to the input, events.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <sstream>
#include <string>
#include <vector>

#include "harness/client_run.h"
#include "harness/pty.h"

using nlohmann::json;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr std::uint64_t kInputStart = 0x100000000;  ///< a time whose low 32 bits are 0

/// Frames of 100 bytes, 25 a second.
void script_frames(ClientRun *run) {
  run->camera().scripted().frames({.count = 0, .size = 100});
}

/// One run with 25 frames a second that writes "out".
struct Captured {
  RunResult result;
  TruthLog truth;
  std::string stored;
};

Captured capture(ClientRun *run, std::vector<std::string> arguments) {
  for (const char *argument : {"--framerate=25", "-o", "out", "320", "240"}) {
    arguments.emplace_back(argument);
  }
  RunResult result = run->run(arguments);
  TruthLog truth = run->truth();
  const bool has_file = std::filesystem::exists(run->file("out"));
  return {.result = result, .truth = truth, .stored = has_file ? read_file(run->file("out")) : ""};
}

/// How often the loop asked for a frame.
std::size_t fetches(const TruthLog &truth) {
  return truth.count("zel_stream_get_buffer");
}

/// Buffers handed back after the provisioned ones.
std::size_t handed_back(const TruthLog &truth) {
  return truth.count("zel_stream_buffer_enqueue") - truth.count("zel_stream_buffer_alloc");
}

/// The calls between the nth fetch (0-based) and the next one, or the end of the run.
std::vector<std::string> pass(const TruthLog &truth, std::size_t nth) {
  std::vector<std::string> names;
  std::size_t fetch = 0;
  for (const Call &call : truth.calls()) {
    if (call.name == "zel_stream_get_buffer") {
      ++fetch;
    }
    if (fetch == nth + 1) {
      names.push_back(call.name);
    }
  }
  return names;
}

/// `wanted` are among `names` in this order, with anything in between.
void expect_order(const std::vector<std::string> &names, const std::vector<std::string> &wanted) {
  std::size_t at = 0;
  for (const std::string &name : names) {
    if (at < wanted.size() && name == wanted[at]) {
      ++at;
    }
  }
  EXPECT_EQ(at, wanted.size()) << (at < wanted.size() ? wanted[at] : "") << " is missing or too early in "
                               << testing::PrintToString(names);
}

}  // namespace

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

namespace {

/// Frames that begin with input frame `first`, the one whose time's low 32 bits are 0.
void script_input_at(ClientRun *run, std::uint32_t first) {
  run->camera().scripted().frames({.count = 0, .size = 10});
  for (std::uint32_t i = 0; i < first; ++i) {
    run->camera().frames({.from = i, .size = 10, .timestamp_us = kInputStart - 40000ULL * (first - i)});
  }
  for (std::uint32_t i = 0; i < 100; ++i) {
    run->camera().frames({.from = first + i, .size = 10, .timestamp_us = kInputStart + 40000ULL * i});
  }
}

}  // namespace

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

// Catches events read without being asked for.
TEST(CaptureLoopEvents, PlainRunReadsNone) {
  ClientRun run;
  script_frames(&run);
  EXPECT_EQ(capture(&run, {"--frames=3"}).truth.count("zel_stream_get_event"), 0U);
}

// Catches an event taken other than once a pass, before the frame.
TEST(CaptureLoopEvents, DebugRunTakesOneAPass) {
  ClientRun run;
  script_frames(&run);
  const Captured captured = capture(&run, {"--frames=3", "--zel_debug"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_THAT(captured.truth.order_of({"zel_stream_get_event", "zel_stream_get_buffer"}),
              ElementsAre("zel_stream_get_event", "zel_stream_get_buffer", "zel_stream_get_event",
                          "zel_stream_get_buffer", "zel_stream_get_event", "zel_stream_get_buffer"));
}

// Catches events that are not shown, shown under "quiet", or leaked.
TEST(CaptureLoopEvents, EventsAreDumpedUnlessQuiet) {
  for (const bool quiet : {false, true}) {
    ClientRun run;
    script_frames(&run);
    const Captured captured = capture(&run, {"--frames=3", "-D", quiet ? "--quiet" : "--stats"});
    std::size_t events = 0;
    for (const Call &call : captured.truth.calls_named("zel_stream_get_event")) {
      if (call.result.is_null()) {
        continue;
      }
      ++events;
      std::size_t dumped = 0;
      for (const Call &dump : captured.truth.calls_named("zel_map_dump")) {
        dumped += dump.args.at("map") == call.result ? 1U : 0U;
      }
      EXPECT_EQ(dumped, quiet ? 0U : 1U);
      std::size_t released = 0;
      for (const Release &release : captured.truth.releases()) {
        released += release.object == "map" && release.id == call.result ? 1U : 0U;
      }
      EXPECT_EQ(released, 1U);
    }
    EXPECT_GT(events, 0U) << "a stream that starts tells so";
  }
}

// Catches an event call that fails and ends the run.
TEST(CaptureLoopEvents, FailingToTakeOneIsNoError) {
  ClientRun run;
  script_frames(&run);
  run.camera().fault({.call = "zel_stream_get_event", .times = 0, .message = "no events"});
  const Captured captured = capture(&run, {"--frames=3", "-D"});
  EXPECT_EQ(captured.result.status, 0);
  EXPECT_EQ(captured.result.err, "");
  EXPECT_EQ(captured.truth.frames().size(), 3U);
}

namespace {

std::vector<std::string> lines_of(const std::filesystem::path &path) {
  std::vector<std::string> lines;
  std::istringstream text(read_file(path));
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// A run whose own calls are scripted and noted.
void script_own_calls(ClientRun *run, const TempFolder &folder, const std::string &script) {
  run->preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", script)
      .environment("ZEL_TEST_CALL_LOG", folder.path() / "calls");
}

}  // namespace

// Catches a pause left out when it is 0, made once for the run, or made for a fetch that gave no frame.
TEST(CaptureLoopPause, SleepsOnEveryFetchedFrame) {
  const TempFolder folder;
  ClientRun run;
  script_frames(&run);
  script_own_calls(&run, folder, "");
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .code = 13, .message = "later"});
  run.run({"--frames=3"});
  EXPECT_THAT(lines_of(folder.path() / "calls"), ElementsAre("usleep 0", "usleep 0", "usleep 0"));
}

// Catches a pause in other units, and one that skipped frames or the frame beyond the time limit do not get.
TEST(CaptureLoopPause, SleepsForTheGivenTimeAlsoOnUnstoredFrames) {
  const TempFolder folder;
  ClientRun run;
  script_input_at(&run, 2);
  script_own_calls(&run, folder, "");
  run.run({"--delay_us=7", "--sync-input", "--frames=1"});
  EXPECT_THAT(lines_of(folder.path() / "calls"), ElementsAre("usleep 7", "usleep 7", "usleep 7", "usleep 7"));
}

// Catches a plain run that polls: the blocking fetch paces it.
TEST(CaptureLoopPoll, PlainRunNeverPolls) {
  const TempFolder folder;
  ClientRun run;
  script_frames(&run);
  script_own_calls(&run, folder, "");
  run.run({"--frames=3", "--zel_debug"});
  EXPECT_THAT(lines_of(folder.path() / "calls"), Each(testing::StartsWith("usleep")));
}

// Catches EAGAIN that ends the run, another failure that does not, and a status other than 0.
TEST(CaptureLoopPoll, OnlyEagainIsRetried) {
  const TempFolder folder;
  const Terminal terminal;
  ClientRun run;
  script_frames(&run);
  script_own_calls(&run, folder,
                   "poll 1 " + std::to_string(EAGAIN) + ";poll 2 " + std::to_string(EAGAIN) + ";poll 3 " +
                       std::to_string(ENOMEM) + ";");
  run.stdin_from_descriptor(terminal.descriptor());
  const RunResult result = run.run({"--interactive=1", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(lines_of(folder.path() / "calls"), ElementsAre("poll 3 -1", "poll 3 -1", "poll 3 -1"));
  EXPECT_EQ(fetches(run.truth()), 0U);
}

// Catches a poll set that keeps the entry of an event descriptor that is not there.
TEST(CaptureLoopPoll, LeavesOutAMissingEventDescriptor) {
  const TempFolder folder;
  const Terminal terminal;
  ClientRun run;
  script_frames(&run);
  script_own_calls(&run, folder, "poll 1 " + std::to_string(EINTR) + ";");
  run.camera().fault({.call = "zel_stream_get_event_fd", .message = "none"});
  run.stdin_from_descriptor(terminal.descriptor());
  const RunResult result = run.run({"--interactive=1", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(lines_of(folder.path() / "calls"), ElementsAre("poll 2 -1"));
}

// Catches a polling run that fetches without being told that a frame waits, or misses the frames.
TEST(CaptureLoopPoll, DelayedPlayRunCapturesThroughPoll) {
  const TempFolder folder;
  const Terminal terminal;
  ClientRun run;
  script_frames(&run);
  script_own_calls(&run, folder, "");
  run.stdin_from_descriptor(terminal.descriptor());
  run.start({"--buffer_us=1", "--frames=3", "--quiet", "-o", "out"});
  ASSERT_TRUE(run.process().wait_until([&] { return run.truth().count("zel_stream_start") == 1; }));
  terminal.press("2");  // play
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(read_file(run.file("out")), run.truth().bytes(0, 3));
  EXPECT_THAT(lines_of(folder.path() / "calls"), Contains("poll 3 -1"));
  EXPECT_EQ(fetches(run.truth()), 3U);
}
