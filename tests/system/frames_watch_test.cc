// zel-frames watch as a program: on a terminal and beside one, driven by what it shows.
#include <fmt/format.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>

#include "frames_folder.h"
#include "harness/build_under_test.h"
#include "harness/pty.h"
#include "tests/support/screen_text.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

/// Lines of frames 40 ms apart.
std::string lines_of(std::size_t first, std::size_t count) {
  std::string text;
  for (std::size_t i = first; i < first + count; ++i) {
    text += fmt::format("zel-client: frame = {:4}, type = p       , Δpts = {:7}, latency =   20000 µs, size = 4000\n",
                        i, i == 0 ? 0 : 40000);
  }
  return text;
}

class FramesWatch : public FramesFolder {
 protected:
  /// Starts it with a pipe as standard input; standard output goes to that file or device.
  void start(const std::vector<std::string> &options, const std::string &standard_output) {
    ProcessSetup setup;
    setup.command = build_under_test().emulator;
    setup.command.insert(setup.command.end(), {build_under_test().frames.string(), "watch"});
    setup.command.insert(setup.command.end(), options.begin(), options.end());
    setup.folder = folder.path();
    setup.stdin_pipe = true;
    setup.stdout_path = standard_output;
    setup.stderr_path = folder / "err";
    process = std::make_unique<Process>(setup);
  }

  /// Ends the input and gives how it ended.
  RunResult end() const {
    process->close_stdin();
    return process->wait();
  }

  /// What `stats` says of that text from standard input.
  std::string statistics_of(const std::string &text, const std::vector<std::string> &options = {}) const {
    write("text", text);
    std::vector<std::string> arguments = {"stats", "text"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    std::string statistics = output(arguments);
    const std::string name = "capture    text:";
    if (statistics.starts_with(name)) statistics.replace(0, name.size(), "capture    -:");
    return statistics;
  }

  std::unique_ptr<Process> process;
};

class FramesWatchTerminal : public FramesWatch {
 protected:
  void resize(unsigned short columns, unsigned short rows) const {
    const winsize size = {.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(ioctl(terminal.descriptor(), TIOCSWINSZ, &size), 0);
  }

  static std::vector<std::string> shown(const std::string &written, std::size_t columns = 80) {
    ScreenText text(columns);
    text.write(written);
    return text.lines();
  }

  /// Waits until the line of that number begins so and the screen has so many lines.
  bool wait_for(std::size_t lines, std::size_t number, const std::string &begin, std::size_t columns = 80) const {
    return process->wait_until([&] {
      const std::vector<std::string> now = shown(terminal.screen(), columns);
      return now.size() == lines && now[number].starts_with(begin);
    });
  }

  Terminal terminal;
};

}  // namespace

// Catches a block that is drawn again below the old one or that stays at the end, other lines that are lost or out of
// their order, and a terminal that is left changed.
TEST_F(FramesWatchTerminal, BlockStaysInPlace) {
  const termios before = terminal.modes();
  start({}, terminal.path());
  process->write_stdin("Adding 10 buffers.\n" + lines_of(0, 3));
  ASSERT_TRUE(wait_for(7, 1, "3 frames  ")) << terminal.screen();
  process->write_stdin("event = 'started'\n" + lines_of(3, 2));
  ASSERT_TRUE(wait_for(8, 2, "5 frames  ")) << terminal.screen();
  const std::vector<std::string> block = shown(terminal.screen());
  EXPECT_EQ(block[0], "Adding 10 buffers.");
  EXPECT_EQ(block[1], "event = 'started'");
  EXPECT_THAT(block[2], MatchesRegex("5 frames  [0-9]+ frames/s  [0-9]+ kbit/s  gaps 0, 0 frames missing"));
  EXPECT_THAT(block[3], StartsWith("distance us  1 s: "));
  EXPECT_EQ(block[4], "             run: p50   40000  p99   40000  max   40000");
  EXPECT_THAT(block[5], StartsWith("latency us   1 s: "));
  EXPECT_EQ(block[6], "             run: p50   20000  p99   20000  max   20000");
  EXPECT_THAT(block[7], StartsWith("last minute "));
  EXPECT_THAT(block[7], testing::EndsWith("█  max 20000"));
  process->write_stdin("zel-statistics:\n");
  const RunResult result = end();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string whole = terminal.whole_screen();
  const std::string said = "Adding 10 buffers.\nevent = 'started'\nzel-statistics:\n" + statistics_of(lines_of(0, 5));
  EXPECT_EQ(shown(whole), shown(said));
  const termios after = terminal.modes();
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  EXPECT_EQ(after.c_iflag, before.c_iflag);
  EXPECT_EQ(after.c_oflag, before.c_oflag);
  EXPECT_EQ(after.c_cflag, before.c_cflag);
}

// Catches lines that wrap, or more of them than there are rows.
TEST_F(FramesWatchTerminal, NarrowAndLow) {
  resize(12, 4);
  start({}, terminal.path());
  process->write_stdin("a line that is longer\n" + lines_of(0, 3));
  ASSERT_TRUE(wait_for(4, 1, "3 frames  ", 12)) << terminal.screen();
  process->write_stdin(lines_of(3, 1));
  ASSERT_TRUE(wait_for(4, 1, "4 frames  ", 12)) << terminal.screen();
  const std::vector<std::string> block = shown(terminal.screen(), 12);
  EXPECT_EQ(block[0], "a line that is longer");
  EXPECT_EQ(block[2], "distance us");
  EXPECT_EQ(block[3], "           ");
  EXPECT_EQ(end().status, 0);
}

// Catches a width that is asked for once only.
TEST_F(FramesWatchTerminal, Resized) {
  start({}, terminal.path());
  process->write_stdin(lines_of(0, 3));
  ASSERT_TRUE(wait_for(6, 0, "3 frames  ")) << terminal.screen();
  resize(30, 24);
  const auto fits = [this] {
    const std::string written = terminal.screen();
    const std::vector<std::string> block = shown(written.substr(written.rfind("\x1b[J") + 3), 30);
    return block.size() == 6 &&
           std::all_of(block.begin(), block.end(), [](const std::string &line) { return characters_of(line) < 30; });
  };
  EXPECT_TRUE(process->wait_until(fits)) << terminal.screen();
  EXPECT_EQ(end().status, 0);
}

// Catches an interrupt that ends it: the client gets it too, ends, and has more to say.
TEST_F(FramesWatchTerminal, InterruptsAreTheClients) {
  start({}, terminal.path());
  process->write_stdin(lines_of(0, 3));
  ASSERT_TRUE(wait_for(6, 0, "3 frames  ")) << terminal.screen();
  process->send_signal(SIGINT);
  process->write_stdin(lines_of(3, 1));
  ASSERT_TRUE(wait_for(6, 0, "4 frames  ")) << terminal.screen();
  EXPECT_EQ(end().status, 0);
}

// Catches lines that come in bursts without a word about it.
TEST_F(FramesWatchTerminal, Bursts) {
  start({}, terminal.path());
  process->write_stdin(lines_of(0, 200));
  ASSERT_TRUE(wait_for(7, 0, "200 frames  ")) << terminal.screen();
  EXPECT_EQ(shown(terminal.screen()).back(), "The lines come in bursts: run the client under stdbuf -oL");
  EXPECT_EQ(end().status, 0);
}

// Catches control sequences in a file, other lines than those of the figures, and an end without the whole run's.
TEST_F(FramesWatch, LinesWithoutATerminal) {
  start({}, folder / "out");
  process->write_stdin("Adding 10 buffers.\n" + lines_of(0, 3));
  ASSERT_TRUE(process->wait_until([this] { return read_file(folder / "out").ends_with('\n'); }));
  process->write_stdin(lines_of(3, 2));
  ASSERT_TRUE(
      process->wait_until([this] { return read_file(folder / "out").find("\n5 frames") != std::string::npos; }));
  const RunResult result = end();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::string statistics = statistics_of(lines_of(0, 5));
  ASSERT_TRUE(result.out.ends_with(statistics)) << result.out;
  const std::string lines = result.out.substr(0, result.out.size() - statistics.size());
  EXPECT_THAT(lines, MatchesRegex("([35] frames, [0-9]+ frames/s, [0-9]+ kbit/s, gaps 0, 0 frames missing; "
                                  "distance us: [^\n]+; latency us: [^\n]+\n)+"));
}

TEST_F(FramesWatch, Json) {
  start({"--json"}, folder / "out");
  process->write_stdin(lines_of(0, 3));
  ASSERT_TRUE(process->wait_until([this] { return read_file(folder / "out").ends_with('\n'); }));
  const RunResult result = end();
  EXPECT_EQ(result.status, 0);
  const std::string statistics = statistics_of(lines_of(0, 3), {"--json"});
  ASSERT_TRUE(result.out.ends_with(statistics)) << result.out;
  const auto first = nlohmann::json::parse(result.out.substr(0, result.out.find('\n')));
  EXPECT_EQ(first["frames"], 3);
  EXPECT_EQ(first["whole_run"]["delta_us"]["max"], 40000);
}

// Catches text that is lost, changed or cut at a line's end.
TEST_F(FramesWatch, SavesTheTextAsItComes) {
  const std::string text = "Adding 10 buffers.\n" + lines_of(0, 500) + "no end";
  start({"--save", "run.txt"}, folder / "out");
  process->write_stdin(text);
  EXPECT_EQ(end().status, 0);
  EXPECT_EQ(read_file(folder / "run.txt"), text);
  EXPECT_EQ(refusal({"watch", "--save", "run.txt"}), "run.txt: exists: --force writes over it");
  EXPECT_EQ(refusal({"watch", "--save", "none/run.txt"}), "none/run.txt: No such file or directory");
  EXPECT_EQ(read_file(folder / "run.txt"), text);
  start({"--save=run.txt", "--force"}, folder / "out");
  process->write_stdin(lines_of(0, 2));
  EXPECT_EQ(end().status, 0);
  EXPECT_EQ(read_file(folder / "run.txt"), lines_of(0, 2));
}

// Catches a full disk that ends what is watched, or that nobody is told of.
TEST_F(FramesWatch, FullDisk) {
  start({"--save", "/dev/full", "--force"}, folder / "out");
  process->write_stdin(lines_of(0, 3));
  const RunResult result = end();
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "zel-frames: /dev/full: No space left on device\n");
  EXPECT_EQ(result.out, statistics_of(lines_of(0, 3)));
}

TEST_F(FramesWatch, WithoutAFrame) {
  EXPECT_EQ(refusal({"watch"}), "standard input: holds no frame's line");
}

// Catches a wait for what nobody types, which an interrupt would not end.
TEST_F(FramesWatchTerminal, KeyboardIsNoRun) {
  ProcessSetup setup;
  setup.command = build_under_test().emulator;
  setup.command.insert(setup.command.end(), {build_under_test().frames.string(), "watch"});
  setup.folder = folder.path();
  setup.stdin_fd = terminal.descriptor();
  setup.stdout_path = terminal.path();
  setup.stderr_path = folder / "err";
  const RunResult result = Process(setup).wait();
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(
      result.err,
      "zel-frames: standard input: is a terminal: pipe a run into it, stdbuf -oL zel-client ... | zel-frames watch\n");
}
