// What the capture loop does between two frames: events, pauses, polls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <vector>

#include "capture_run.h"
#include "harness/client_run.h"
#include "harness/pty.h"

using capture_run::capture;
using capture_run::Captured;
using capture_run::fetches;
using capture_run::script_frames;
using capture_run::script_input_at;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;

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
