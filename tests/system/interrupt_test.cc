// SIGINT at every stage of a run. The camera raises the signal inside a chosen call, so that it comes exactly there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "console_text.h"
#include "harness/client_run.h"
#include "harness/pty.h"

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

/// SIGINT in the nth call of `name`, which then works as ever.
Fault interrupt_in(const std::string &name, std::uint32_t nth = 1) {
  return {.call = name, .nth = nth, .fail = false, .signal = "SIGINT"};
}

/// A fetch that a signal interrupts.
Fault interrupted_fetch(std::uint32_t nth) {
  return {.call = "zel_stream_get_buffer",
          .nth = nth,
          .code = 9,
          .message = "Interrupted",
          .error_number = "EINTR",
          .signal = "SIGINT"};
}

/// The files of a run that ended normally: raw stream, sidecar with its count, Matroska file with its end.
void expect_whole_outputs(const ClientRun &run, std::size_t frames) {
  EXPECT_EQ(run.truth().frames().size(), frames);
  const std::string meta = read_file(run.file("out.meta"));
  ASSERT_EQ(meta.size(), frames * 24 + 4);
  EXPECT_EQ(meta.substr(frames * 24), std::string({static_cast<char>(frames), 0, 0, 0}));
  const RunResult probe = run_tool({"ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries",
                                    "stream=nb_read_packets:format=duration", "-of",
                                    "default=nokey=1:noprint_wrappers=1", run.file("out.mkv")});
  EXPECT_EQ(probe.err, "");
  EXPECT_EQ(probe.out.substr(0, probe.out.find('\n')), std::to_string(frames));
  EXPECT_THAT(probe.out, Not(HasSubstr("N/A")));  // the duration is written at the end
}

/// The call in which the process ended; "" when it ended outside any.
std::string last_call(const ClientRun &run) {
  const TruthLog truth = run.truth();
  const nlohmann::json &line = truth.lines().back();
  return line.at("kind") == "fault" ? line.at("call") : nlohmann::json("");
}

std::size_t reports(const std::string &out) {
  return occurrences(out, "\nzel-statistics:\n");
}

/// A run on a terminal's screen, where what the handler prints is not lost.
class Interrupt : public testing::Test {
 protected:
  void SetUp() override {
    run.camera().scripted();
    run.stdout_to(terminal.path());
  }

  /// Runs 10 frames at most, with two buffers: the first two hand-backs are those of the set-up.
  RunResult capture(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"--frames=10", "--buffer.count=2"});
    RunResult result = run.run(arguments);
    screen = terminal.whole_screen();
    EXPECT_EQ(result.err, "");
    return result;
  }

  Terminal terminal;
  ClientRun run;
  std::string screen;
};

}  // namespace

// Catches an interrupted fetch that is reported, retried, or that spoils the outputs.
TEST(InterruptOutputs, InABlockingFetch) {
  ClientRun run;
  run.camera().fault(interrupted_fetch(4));
  const RunResult result = run.run({"--mkv=out.mkv", "-m", "-o", "out", "-s", "320", "240"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(reports(result.out), 1U);
  EXPECT_THAT(frame_lines(result.out), SizeIs(3));
  expect_whole_outputs(run, 3);
}

// Catches a frame that is lost when the interrupt comes while it is worked on, in whatever step, and a loop that does
// not look at the limit before the next fetch.
TEST(InterruptOutputs, WhileAFrameIsWorkedOn) {
  for (const char *call : {"zel_buffer_get_frame", "zel_frame_get_timestamp", "zel_frame_get_sequence_nbr",
                           "zel_frame_take_chunk_ex", "zel_frame_is_segment_start"}) {
    ClientRun run;
    run.camera().fault(interrupt_in(call));
    const RunResult result = run.run({"-m", "-o", "out", "-s", "320", "240"});
    EXPECT_EQ(result.status, 0) << call;
    EXPECT_EQ(result.err, "") << call;
    EXPECT_EQ(reports(result.out), 1U) << call;
    EXPECT_THAT(frame_lines(result.out), SizeIs(1)) << call;
    EXPECT_EQ(read_file(run.file("out")), run.truth().bytes()) << call;
    EXPECT_EQ(read_file(run.file("out.meta")).size(), 28U) << call;
    EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), 1U) << call;
  }
}

// Catches the same between two frames, with every output.
TEST(InterruptOutputs, BetweenFrames) {
  ClientRun run;
  run.camera().fault(interrupt_in("zel_stream_buffer_enqueue", 2 + 3));  // two buffers at first, then the third frame's
  const RunResult result = run.run({"--buffer.count=2", "--mkv=out.mkv", "-m", "-o", "out", "-s", "320", "240"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(result.out), 1U);
  expect_whole_outputs(run, 3);
}

// Catches an interrupt that comes before the loop and is forgotten or taken for the end: the run has no frame. The
// first of these calls belongs to the finishing of the settings, where the handler is in place already.
TEST(InterruptOutputs, BeforeTheFirstFrame) {
  for (const char *call : {"zel_map_merge", "zel_stream_new", "zel_stream_get_info", "zel_stream_start"}) {
    ClientRun run;
    run.camera().scripted().fault(interrupt_in(call));
    const RunResult result = run.run({"-m", "-o", "out", "-s"});
    EXPECT_EQ(result.status, 0) << call;
    EXPECT_EQ(reports(result.out), 1U) << call;
    EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), 0U) << call;
    EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U) << call;
    EXPECT_EQ(read_file(run.file("out.meta")), std::string(4, '\0')) << call;
  }
}

// Catches an interrupt at the very end that disturbs it: during teardown it is the first one and changes nothing.
TEST(InterruptOutputs, DuringTeardown) {
  for (const char *call : {"zel_stream_stop", "zel_stream_buffer_unref"}) {
    ClientRun run;
    run.camera().fault(interrupt_in(call));
    const RunResult result = run.run({"--frames=3", "--mkv=out.mkv", "-m", "-o", "out", "-s", "320", "240"});
    EXPECT_EQ(result.status, 0) << call;
    EXPECT_EQ(reports(result.out), 1U) << call;
    expect_whole_outputs(run, 3);
    EXPECT_EQ(run.truth().count("zel_stream_buffer_unref"), 3U) << call;
  }
}

// Catches a signal from outside that is not handled: during a fetch that waits for a slow camera, or just beside it.
TEST(InterruptOutputs, FromOutside) {
  ClientRun run;
  run.camera().set("pacing", "real-time");
  run.start({"--framerate=2", "--mkv=out.mkv", "-m", "-o", "out", "-s", "320", "240"});
  ASSERT_TRUE(run.process().wait_until([&] { return run.truth().frames().size() >= 2; }));
  run.process().send_signal(SIGINT);
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(reports(result.out), 1U);
  expect_whole_outputs(run, frame_lines(result.out).size());
}

// Catches a poll whose interruption is retried or reported.
TEST_F(Interrupt, InPoll) {
  run.stdin_from_descriptor(terminal.descriptor());
  run.preload(preload_library("interrupted_poll")).environment("ZEL_TEST_INTERRUPTED_POLL", "1");
  const RunResult result = capture({"--interactive=1", "-m", "-o", "out", "-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(screen), 1U);
  EXPECT_THAT(frame_lines(screen), SizeIs(0));
  EXPECT_EQ(read_file(run.file("out.meta")), std::string(4, '\0'));
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
}

// Catches a terminal set-up that takes the interrupt key away.
TEST_F(Interrupt, KeyOfTheTerminal) {
  run.camera().set("pacing", "real-time");
  run.stdin_from_descriptor(terminal.descriptor()).terminal_session();
  run.start({"--interactive=1", "-s", "--framerate=50"});
  ASSERT_TRUE(run.process().wait_until([&] { return terminal.shows("Starting Stream["); }));
  terminal.press("1");
  ASSERT_TRUE(run.process().wait_until([&] { return terminal.shows("zel-client: frame"); }));
  terminal.press("\x03");
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(reports(terminal.whole_screen()), 1U);
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
}

// Catches a second interrupt that is ignored, that goes on with the end of the run, or that prints nothing: the report
// comes from the handler and only from there, the outputs stay unfinished, the stream is not stopped.
TEST_F(Interrupt, TwiceBeforeTheEnd) {
  run.camera().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_stream_buffer_enqueue", 5));
  const RunResult result = capture({"-m", "-o", "out", "-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(screen), 1U);
  EXPECT_THAT(frame_lines(screen), SizeIs(3));
  EXPECT_EQ(field(screen, "zel.nframes"), "3");
  EXPECT_EQ(screen.find('\n', screen.find("zel.lastFrame.utc_timestamp")), screen.size() - 1);
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 0U);
  EXPECT_EQ(last_call(run), "zel_stream_buffer_enqueue");
  EXPECT_NE(read_file(run.file("out.meta")).size() % 24, 4U);
}

// Catches a Matroska file that a second interrupt still finalises.
TEST(InterruptOutputs, TwiceLeavesMatroskaUnfinished) {
  ClientRun run;
  run.camera().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_stream_buffer_enqueue", 5));
  const RunResult result = run.run({"--frames=10", "--buffer.count=2", "--mkv=out.mkv", "-o", "out", "320", "240"});
  EXPECT_EQ(result.status, 0);
  const RunResult probe = run_tool({"ffprobe", "-v", "quiet", "-show_entries", "format=duration", "-of",
                                    "default=nokey=1:noprint_wrappers=1", run.file("out.mkv")});
  EXPECT_THAT(probe.out, Not(testing::MatchesRegex("[0-9.]+\n")));
}

// Catches a second interrupt in the middle of a frame's update that goes astray: the report shows what there is.
TEST_F(Interrupt, TwiceInTheMiddleOfAnUpdate) {
  run.camera().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_frame_get_utc_timestamp", 5));
  const RunResult result = capture({"-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(screen), 1U);
  EXPECT_THAT(frame_lines(screen), SizeIs(2));
  EXPECT_EQ(field(screen, "zel.nframes"), "2");
}

// Catches the frame's times made those of the latest frame before its line and extra information were printed, or only
// once the frame was written. The report from the handler tells: it comes from within the dump or the writing of the
// first frame. Catches also a handler whose report "quiet" hides.
TEST_F(Interrupt, TwiceAroundTheFramesLastTimes) {
  run.camera().set("utc_start_us", "1700000000123456");
  run.camera().fault(interrupt_in("zel_stream_get_buffer")).fault(interrupt_in("zel_map_dump"));
  capture({"-q", "-x", "-s"});
  EXPECT_EQ(last_call(run), "zel_map_dump");
  EXPECT_EQ(field(screen, "zel.nframes"), "1");
  EXPECT_EQ(field(screen, "zel.firstFrame.utc_timestamp"), "2023-11-14T22:13:20.123456");
  EXPECT_EQ(field(screen, "zel.lastFrame.utc_timestamp"), "1970-01-01T00:00:00.000000");

  const Terminal other;
  ClientRun written;
  written.camera().scripted().set("utc_start_us", "1700000000123456");
  written.camera().fault(interrupt_in("zel_stream_get_buffer")).fault(interrupt_in("zel_frame_take_chunk_ex"));
  EXPECT_EQ(written.stdout_to(other.path()).run({"--frames=10", "-q", "-x", "-s", "-o", "out"}).status, 0);
  EXPECT_EQ(last_call(written), "zel_frame_take_chunk_ex");
  const std::string report = other.whole_screen();
  EXPECT_EQ(field(report, "zel.lastFrame.utc_timestamp"), "2023-11-14T22:13:20.123456");
  EXPECT_EQ(field(report, "zel.server_time"), "0.000000");
}

// Catches a second interrupt after the report that prints nothing, or that lets the teardown go on.
TEST_F(Interrupt, TwiceDuringTeardown) {
  run.camera().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_stream_stop"));
  const RunResult result = capture({"-m", "-o", "out", "-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(screen), 2U);
  EXPECT_EQ(read_file(run.file("out.meta")).size(), 3U * 24 + 4);
  EXPECT_EQ(last_call(run), "zel_stream_stop");
}

// Catches a report from the handler that nobody asked for.
TEST_F(Interrupt, TwiceWithoutStatistics) {
  run.camera().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_stream_stop"));
  const RunResult result = capture();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(reports(screen), 0U);
  EXPECT_EQ(last_call(run), "zel_stream_stop");
}

// Catches a handler that flushes or runs exit handlers: in a file the reports, and all that was not flushed, are lost.
TEST(InterruptOutputs, TwiceLosesWhatIsNotFlushed) {
  ClientRun run;
  run.camera().scripted().fault(interrupt_in("zel_stream_get_buffer", 3)).fault(interrupt_in("zel_stream_stop"));
  const RunResult result = run.run({"-q", "-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
}

// Catches a limit of -1 on the command line that is no stop request: its first interrupt is the second, wherever it
// comes, and prints a report only when asked to.
TEST_F(Interrupt, FirstWithALimitOfMinusOne) {
  run.camera().fault(interrupt_in("zel_stream_get_info"));
  RunResult result = run.run({"--frames=-1", "-s"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  screen = terminal.whole_screen();
  EXPECT_EQ(reports(screen), 1U);
  EXPECT_EQ(field(screen, "zel.nframes"), "0");
  EXPECT_EQ(last_call(run), "zel_stream_get_info");

  ClientRun unasked;
  unasked.camera().scripted().fault(interrupt_in("zel_stream_get_info"));
  result = unasked.run({"--frames=-1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(last_call(unasked), "zel_stream_get_info");
}

// Catches any negative limit taken for a stop request: only -1 is one.
TEST_F(Interrupt, FirstWithALimitOfMinusTwo) {
  run.camera().fault(interrupt_in("zel_stream_get_info"));
  EXPECT_EQ(run.run({"--frames=-2", "-s"}).status, 0);
  EXPECT_EQ(reports(terminal.whole_screen()), 1U);
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
}

// Catches a run of limit -1 whose interrupt comes after its report: the report is there twice.
TEST_F(Interrupt, LimitOfMinusOneDuringTeardown) {
  run.camera().fault(interrupt_in("zel_stream_stop"));
  EXPECT_EQ(run.run({"--frames=-1", "-s"}).status, 0);
  EXPECT_EQ(reports(terminal.whole_screen()), 2U);
}

// Catches other signals that are handled too.
TEST(InterruptInstallation, NoOtherSignal) {
  for (const char *signal : {"SIGTERM", "SIGHUP"}) {
    ClientRun run;
    run.camera().scripted().fault({.call = "zel_stream_get_buffer", .nth = 2, .fail = false, .signal = signal});
    EXPECT_EQ(run.run({"--frames=5"}).signal, std::string(signal) == "SIGTERM" ? SIGTERM : SIGHUP);
  }
}

// Catches a handler that is installed before the command line has been read to its end: until then the interrupt ends
// the process as it ends any other.
TEST(InterruptInstallation, ComesAfterTheCommandLine) {
  for (const char *call : {"zel_map_set_uint32", "zel_map_set_pair32u"}) {  // a default, and the size
    ClientRun run;
    run.camera().scripted().fault(interrupt_in(call));
    EXPECT_EQ(run.run({"--frames=1", "320", "240"}).signal, SIGINT) << call;
    EXPECT_EQ(run.truth().count("zel_stream_new"), 0U) << call;
  }
}

// Catches an installation that fails unnoticed, or a message that resolves its "%m".
TEST(InterruptInstallation, Fails) {
  ClientRun run;
  run.camera().scripted();
  run.preload(preload_library("failing_calls")).environment("ZEL_TEST_FAILING_CALL", "signal");
  const RunResult result = run.run({"--frames=1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to install signal handler: %m\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
}

// Catches a handler that is installed before the command line was found good, or only after the terminal's set-up.
TEST(InterruptInstallation, ComesBeforeTheTerminalsSetUp) {
  ClientRun run;
  run.camera().scripted();
  run.preload(preload_library("failing_calls")).environment("ZEL_TEST_FAILING_CALL", "signal");
  EXPECT_EQ(run.run({"--interactive=1"}).err, "zel-client: Failed to install signal handler: %m\n");
  ClientRun bad;
  bad.preload(preload_library("failing_calls")).environment("ZEL_TEST_FAILING_CALL", "signal");
  EXPECT_EQ(bad.run({"--no-such-option"}).err, "zel-client: Unknown option --no-such-option\n");
}
