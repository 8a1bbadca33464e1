// The keyboard: the real client on a pseudo-terminal, key by key.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

#include "console_text.h"
#include "harness/client_run.h"
#include "harness/pty.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

using Arguments = std::vector<std::string>;

/// The camera's events are dumped among the lines whenever they come.
std::string without_events(const std::string &text) {
  std::string rest;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("event = ") && !line.starts_with("sequence = ")) rest += line + '\n';
  }
  return rest;
}

class Keyboard : public testing::Test {
 protected:
  void SetUp() override {
    run.camera().scripted();
    run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
  }

  /// Starts a run and waits until the client has set up stream and terminal.
  void start(const Arguments &arguments) {
    run.start(arguments);
    ASSERT_TRUE(wait_for("Starting Stream[")) << terminal.screen();
  }

  /// Types keys and waits until the screen shows `answer` once more than before.
  bool press(const std::string &keys, const std::string &answer) {
    const std::size_t before = occurrences(terminal.screen(), answer);
    terminal.press(keys);
    return wait_for(answer, before + 1);
  }

  bool wait_for(const std::string &text, std::size_t times = 1) {
    if (run.process().wait_until([&] { return occurrences(terminal.screen(), text) >= times; })) return true;
    return occurrences(terminal.whole_screen(), text) >= times;  // the client may end before its last words are read
  }

  /// Waits until the client has taken the terminal out of echo.
  bool wait_for_set_up() {
    return run.process().wait_until([&] { return (terminal.modes().c_lflag & static_cast<tcflag_t>(ECHO)) == 0; });
  }

  /// Waits until the camera's log holds so many calls.
  bool wait_for_calls(const std::string &name, std::size_t times) {
    return run.process().wait_until([&] { return run.truth().count(name) >= times; });
  }

  /// Goes through several passes of the client's loop: each of these keys is answered in a pass of its own.
  void pass_several_times() {
    for (int i = 0; i < 3; ++i)
      ASSERT_TRUE(press("d", "DELAY "));
  }

  /// Ends a run that waits for keys, and gives how it ended.
  RunResult interrupt() {
    run.process().send_signal(SIGINT);
    return run.wait();
  }

  std::string screen() const { return after_start(terminal.whole_screen()); }

  Terminal terminal;
  ClientRun run;
};

}  // namespace

// Catches a stream that starts by itself in interactive mode, and keys that are echoed.
TEST_F(Keyboard, StartKeyStartsTheStream) {
  run.clock({{1000500, 0}, {1040500, 0}});
  start({"--interactive=1", "--frames=2", "--framerate=25"});
  ASSERT_TRUE(press("3", "STOP!\n"));
  EXPECT_EQ(run.truth().count("zel_stream_start"), 0U);
  terminal.press("1");
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(without_events(screen()),
            "STOP!\n"
            "START!\n"
            "zel-client: frame =    0, type = idr     , Δpts =       0, latency =     500 µs, size = 24000\n"
            "zel-client: frame =    1, type = p       , Δpts =   40000, latency =     500 µs, size = 4000\n");
  EXPECT_EQ(run.truth().count("zel_stream_start"), 1U);
}

// Catches a missing or changed message of a key, or one that calls something else.
TEST_F(Keyboard, StartPlayStopKeyFrame) {
  start({"--interactive=1"});
  ASSERT_TRUE(press("2", "PLAY!\n"));
  ASSERT_TRUE(press("3", "STOP!\n"));
  terminal.press("k");
  ASSERT_TRUE(wait_for_calls("zel_stream_force_key_frame", 1));
  ASSERT_TRUE(press("3", "STOP!\n"));
  EXPECT_EQ(interrupt().err, "");
  EXPECT_EQ(screen(), "PLAY!\nSTOP!\nSTOP!\n");
  EXPECT_THAT(
      run.truth().order_of({"zel_stream_start", "zel_stream_play", "zel_stream_stop", "zel_stream_force_key_frame"}),
      ElementsAre("zel_stream_play", "zel_stream_stop", "zel_stream_force_key_frame", "zel_stream_stop",
                  "zel_stream_stop"));  // the last is the end of the run
}

// Catches a message that comes after the call that it announces: it is on the screen when the call ends the process.
TEST(KeyboardOrder, MessagesComeBeforeTheirCalls) {
  struct Key {
    const char *key;
    const char *call;
    const char *message;
  };
  for (const Key &key : {Key{"1", "zel_stream_start", "START!\n"}, Key{"2", "zel_stream_play", "PLAY!\n"},
                         Key{"3", "zel_stream_stop", "STOP!\n"}}) {
    const Terminal terminal;
    ClientRun run;
    run.camera().scripted().fault({.call = key.call, .fail = false, .signal = "SIGTERM"});
    run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
    run.start({"--interactive=1"});
    ASSERT_TRUE(run.process().wait_until([&] { return terminal.shows("Starting Stream["); }));
    terminal.press(key.key);
    EXPECT_EQ(run.wait().signal, SIGTERM) << key.call;
    EXPECT_EQ(after_start(terminal.whole_screen()), key.message);
  }
}

// Catches acknowledgements that "quiet" does not hide.
TEST_F(Keyboard, QuietHidesAcknowledgements) {
  run.start({"--interactive=1", "-q"});
  ASSERT_TRUE(wait_for_set_up());
  terminal.press("3d2");
  ASSERT_TRUE(wait_for_calls("zel_stream_play", 1));
  EXPECT_EQ(interrupt().err, "");
  EXPECT_EQ(terminal.whole_screen(), "");
}

// Catches a failed start or play that is silent, ends the run, or is reported elsewhere than on standard error.
TEST_F(Keyboard, StartAndPlayFail) {
  run.camera().fault({.call = "zel_stream_start", .message = "cannot start"});
  run.camera().fault({.call = "zel_stream_play", .message = "cannot play"});
  start({"--interactive=1", "--frames=2"});
  ASSERT_TRUE(press("1", "START!\n"));
  ASSERT_TRUE(press("2", "PLAY!\n"));
  ASSERT_TRUE(press("1", "START!\n"));
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "zel-client: cannot start\nzel-client: cannot play\n");
  EXPECT_THAT(frame_lines(screen()), SizeIs(2));
}

// Catches failures of stop, of a forced key frame and of the start by Enter that are reported or end the run.
TEST_F(Keyboard, OtherFailuresAreSilent) {
  run.camera().fault({.call = "zel_stream_stop"}).fault({.call = "zel_stream_force_key_frame"});
  run.camera().fault({.call = "zel_stream_start"});
  start({"--interactive=1"});
  ASSERT_TRUE(press("3", "STOP!\n"));
  terminal.press("k");
  ASSERT_TRUE(wait_for_calls("zel_stream_force_key_frame", 1));
  ASSERT_TRUE(press("\n", "\n"));
  ASSERT_TRUE(press("3", "STOP!\n"));
  const RunResult result = interrupt();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(screen(), "STOP!\n\nSTOP!\n");
}

// Catches other bytes taken for keys: upper case, control characters, the end-of-file key, zero and bytes above 127.
TEST_F(Keyboard, OtherBytesDoNothing) {
  start({"--interactive=1"});
  terminal.press("DK456789 xq\b\x04\x1b\x7f\xc3\xb6");
  terminal.press(std::string("\0", 1));
  ASSERT_TRUE(press("3", "STOP!\n"));
  EXPECT_EQ(interrupt().status, 0);
  EXPECT_EQ(screen(), "STOP!\n");
  EXPECT_EQ(run.truth().count("zel_stream_force_key_frame"), 0U);
}

// Catches a cycle of pauses that does not begin at its first whatever "--delay_us" says, or that runs past its end.
TEST_F(Keyboard, DelayCycle) {
  start({"--interactive=1", "--delay_us=77"});
  const std::vector<std::string> delays = {"33333",  "40000",  "50000",   "66667", "100000",
                                           "200000", "500000", "1000000", "33333", "40000"};
  std::string expected;
  for (const std::string &delay : delays) {
    ASSERT_TRUE(press("d", "DELAY "));
    expected += "DELAY " + delay + "µs\n";
  }
  interrupt();
  EXPECT_EQ(screen(), expected);
}

// Catches a new pause that is not taken at the next fetched frame.
TEST_F(Keyboard, DelayWorksAtTheNextFrame) {
  start({"--interactive=1", "--frames=3", "--stats"});
  ASSERT_TRUE(press("\n", "frame =    0"));
  ASSERT_TRUE(press("d", "DELAY 33333µs\n"));
  terminal.press("\n\n");
  EXPECT_EQ(run.wait().status, 0);
  const std::vector<std::string> lines = frame_lines(screen());
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_GE(number(lines[1], "Δcts"), 33333);
  EXPECT_GE(number(lines[2], "Δcts"), 33333);
}

// Catches a step that lets more than one frame through, or none, and one that starts the stream again.
TEST_F(Keyboard, SteppingFrameByFrame) {
  start({"--interactive=1", "-o", "out"});
  for (std::size_t frame = 1; frame <= 3; ++frame) {
    ASSERT_TRUE(press("\n", "zel-client: frame"));
    pass_several_times();
    EXPECT_EQ(occurrences(terminal.screen(), "zel-client: frame"), frame);
    EXPECT_EQ(run.truth().frames().size(), frame);
  }
  EXPECT_EQ(interrupt().status, 0);
  EXPECT_EQ(run.truth().count("zel_stream_start"), 1U);
  EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
}

// Catches keys that are lost when typed ahead: several Enters allow as many frames.
TEST_F(Keyboard, SteppingAllowanceAdds) {
  start({"--interactive=1"});
  terminal.press("\n\n\n");
  ASSERT_TRUE(wait_for("zel-client: frame", 3));
  pass_several_times();
  EXPECT_EQ(occurrences(terminal.screen(), "zel-client: frame"), 3U);
  interrupt();
  EXPECT_EQ(run.truth().count("zel_stream_start"), 1U);
}

// Catches a gate that closes over keys, or that lets events or frames through: while no frame is allowed nothing of the
// stream is serviced although its descriptors stay readable.
TEST_F(Keyboard, HeldStreamIsNotServiced) {
  start({"--interactive=1", "-D"});
  ASSERT_TRUE(press("\n", "zel-client: frame"));
  ASSERT_TRUE(press("3", "STOP!\n"));
  const std::size_t fetches = run.truth().count("zel_stream_get_buffer");
  const std::size_t events = run.truth().count("zel_stream_get_event");
  terminal.press("1");
  ASSERT_TRUE(wait_for_calls("zel_stream_start", 2));
  pass_several_times();
  EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), fetches);
  EXPECT_EQ(run.truth().count("zel_stream_get_event"), events);
  interrupt();
}

// Catches an Enter that does not start a stream which already runs, or that reports what comes of it, or goes on free.
TEST_F(Keyboard, EnterWhileTheStreamRuns) {
  run.camera().set("pacing", "real-time");
  start({"--interactive=1", "--framerate=20"});
  ASSERT_TRUE(press("1", "zel-client: frame"));
  const auto frames_after_enter = [this] {
    const TruthLog truth = run.truth();
    const std::vector<Call> starts = truth.calls_named("zel_stream_start");
    if (starts.size() < 2) return std::ptrdiff_t{0};
    return std::count_if(truth.frames().begin(), truth.frames().end(),
                         [&](const FrameTruth &frame) { return frame.position > starts[1].position; });
  };
  terminal.press("\n");
  ASSERT_TRUE(run.process().wait_until([&] { return frames_after_enter() > 0; }));
  pass_several_times();
  EXPECT_EQ(frames_after_enter(), 1);
  const RunResult result = interrupt();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

// Catches a start key that ends the stepping, or that changes how many frames are allowed.
TEST_F(Keyboard, StartKeyKeepsStepping) {
  start({"--interactive=1"});
  ASSERT_TRUE(press("\n", "zel-client: frame"));
  ASSERT_TRUE(press("1", "START!\n"));
  ASSERT_TRUE(press("2", "PLAY!\n"));
  pass_several_times();
  EXPECT_EQ(occurrences(terminal.screen(), "zel-client: frame"), 1U);
  interrupt();
}

// Catches a delayed-play run that has no keyboard, waits to be started, or blocks in its fetches.
TEST_F(Keyboard, DelayedPlay) {
  run.camera().set("pacing", "real-time");
  start({"--buffer_us=100000", "--frames=2", "--framerate=50"});
  ASSERT_TRUE(wait_for_calls("zel_stream_start", 1));
  ASSERT_TRUE(press("d", "DELAY 33333µs\n"));
  ASSERT_TRUE(press("2", "PLAY!\n"));
  EXPECT_EQ(run.wait().status, 0);
  EXPECT_THAT(frame_lines(screen()), SizeIs(2));
  EXPECT_EQ(run.truth().count("zel_stream_start"), 1U);
  EXPECT_EQ(run.truth().calls_named("zel_stream_new").at(0).args.at("values").at("socket.blocking"), false);
  EXPECT_TRUE(terminal.nonblocking());
}

// Catches terminal modes that are changed more than said, and modes that are put back at the end.
TEST_F(Keyboard, LeavesTheTerminalWithoutEchoAndLineEditing) {
  const termios before = terminal.modes();
  ASSERT_NE(before.c_lflag & static_cast<tcflag_t>(ICANON), 0U);
  ASSERT_NE(before.c_lflag & static_cast<tcflag_t>(ECHO), 0U);
  start({"--interactive=1", "--frames=1"});
  terminal.press("1");
  EXPECT_EQ(run.wait().status, 0);
  const termios after = terminal.modes();
  EXPECT_EQ(after.c_lflag, before.c_lflag & ~static_cast<tcflag_t>(ICANON | ECHO));
  EXPECT_EQ(after.c_iflag, before.c_iflag);
  EXPECT_EQ(after.c_oflag, before.c_oflag);
  EXPECT_EQ(after.c_cflag, before.c_cflag);
  EXPECT_TRUE(std::equal(std::begin(after.c_cc), std::end(after.c_cc), std::begin(before.c_cc)));
  EXPECT_TRUE(terminal.nonblocking());
}

// Catches a plain run that touches the terminal or eats what was typed for the shell.
TEST_F(Keyboard, PlainRunLeavesTheTerminalAlone) {
  const termios before = terminal.modes();
  terminal.press("13dk\n");
  EXPECT_EQ(run.run({"--frames=3", "--buffer_us=0", "--interactive=0"}).status, 0);
  EXPECT_EQ(terminal.modes().c_lflag, before.c_lflag);
  EXPECT_FALSE(terminal.nonblocking());
  std::array<char, 16> typed{};
  ASSERT_EQ(read(terminal.descriptor(), typed.data(), typed.size()), 5);
  EXPECT_EQ(std::string(typed.data()), "13dk\n");
  EXPECT_THAT(terminal.whole_screen(), Not(HasSubstr("START!")));
}

// Catches the end of the input taken for a key or for the end of the run.
TEST_F(Keyboard, EndOfInput) {
  const TempFolder folder;
  write_file(folder.path() / "screen", "");
  run.stdout_to(folder.path() / "screen");
  run.camera().set("pacing", "real-time");
  run.start({"--interactive=1", "--frames=40", "--framerate=100", "-s"});
  ASSERT_TRUE(wait_for_set_up());
  terminal.press("1");
  ASSERT_TRUE(wait_for_calls("zel_stream_start", 1));
  terminal.hang_up();
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(frame_lines(result.out), SizeIs(40));
  EXPECT_EQ(occurrences(result.out, "START!\n"), 1U);
}

// Catches a set-up that goes on after a step has failed, or that blames another step.
TEST_F(Keyboard, SetUpFails) {
  for (const std::string call : {"F_GETFL", "F_SETFL", "tcsetattr"}) {
    ClientRun failing;
    failing.stdin_from_descriptor(terminal.descriptor()).preload(preload_library("failing_calls"));
    failing.environment("ZEL_TEST_FAILING_CALL", call);
    const RunResult result = failing.run({"--interactive=1", "--frames=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "zel-client: configure_interactive_mode: " + call + ": Operation not permitted\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(failing.truth().count("zel_stream_new"), 0U);
    EXPECT_EQ(terminal.nonblocking(), call == "tcsetattr");  // the order of the steps
  }
}

// Catches a camera that ends the client with a signal when its video file is gone at the end of a pass, and the stream
// starts again.
TEST_F(Keyboard, RestartsWithoutTheVideoFile) {
  ClientRun recorded;
  ASSERT_EQ(recorded.run({"-q", "--frames=5", "-o", "five.h264", "320", "240"}).status, 0);
  const std::filesystem::path file = recorded.file("five.h264");
  run.camera() = CameraScript();
  run.camera().set("file", file).set("pacing", "unpaced");
  start({"--interactive=1", "320", "240"});
  ASSERT_TRUE(press("\n", "zel-client: frame"));
  std::filesystem::remove(file);
  for (int i = 0; i < 20; ++i)
    terminal.press("\n31");  // the client ends at the first frame that cannot be made
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: " + file.string() + ": No such file or directory\n");
}
