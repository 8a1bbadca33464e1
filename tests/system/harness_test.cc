// The harness itself: a wrong answer of it makes every other test worthless.
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <csignal>

#include "harness/client_run.h"
#include "harness/pty.h"

using testing::ElementsAre;

namespace {

ProcessSetup shell(const TempFolder &folder, const std::string &script) {
  ProcessSetup setup;
  setup.command = {"sh", "-c", script};
  setup.folder = folder.path();
  setup.stdout_path = folder.path() / "out";
  setup.stderr_path = folder.path() / "err";
  return setup;
}

}  // namespace

// Catches output, status or working directory that belong to another process or get lost.
TEST(Harness, CapturesOutputStatusAndFolder) {
  const TempFolder folder;
  const RunResult result = Process(shell(folder, "pwd; echo problem >&2; exit 3")).wait();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.out, folder.path().string() + "\n");
  EXPECT_EQ(result.err, "problem\n");
}

// Catches a crash that looks like an exit.
TEST(Harness, TellsASignalFromAnExit) {
  const TempFolder folder;
  ProcessSetup setup = shell(folder, "read line");
  setup.stdin_pipe = true;
  Process process(setup);
  process.send_signal(SIGTERM);
  const RunResult result = process.wait();
  EXPECT_EQ(result.status, -1);
  EXPECT_EQ(result.signal, SIGTERM);
}

// Catches a hanging client that passes, or stops the whole run of tests.
TEST(Harness, KillsWhatHangsAndFailsTheTest) {
  const TempFolder folder;
  static RunResult result;
  static ProcessSetup setup;
  setup = shell(folder, "echo started; exec tail -f /dev/null");
  setup.guard = std::chrono::seconds(1);
  EXPECT_NONFATAL_FAILURE(result = Process(setup).wait(), "was still running after 1 s");
  EXPECT_TRUE(result.timed_out);
  EXPECT_EQ(result.signal, SIGKILL);
}

// Catches a fed standard input that does not arrive or never ends.
TEST(Harness, FeedsStandardInput) {
  const TempFolder folder;
  ProcessSetup setup = shell(folder, "cat; echo end");
  setup.stdin_pipe = true;
  Process process(setup);
  process.write_stdin("one\n");
  EXPECT_TRUE(process.wait_until([&] { return read_file(folder.path() / "out") == "one\n"; }));
  process.close_stdin();
  EXPECT_EQ(process.wait().out, "one\nend\n");
}

// Catches settings of one run's environment that leak into the test or miss the child.
TEST(Harness, ChangesTheEnvironmentOfTheChildOnly) {
  const TempFolder folder;
  ProcessSetup setup = shell(folder, "echo \"$ZEL_TEST_SET:${HOME-unset}\"");
  setup.environment["ZEL_TEST_SET"] = "value";
  setup.environment["HOME"] = std::nullopt;
  EXPECT_EQ(Process(setup).wait().out, "value:unset\n");
  EXPECT_EQ(std::getenv("ZEL_TEST_SET"), nullptr);
}

// Catches temporary folders left behind.
TEST(Harness, RemovesTheFolder) {
  std::filesystem::path path;
  {
    const ClientRun run;
    path = run.folder();
    write_file(run.file("something"), "x");
    EXPECT_THAT(run.files(), ElementsAre("something"));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

// Catches a script whose groups the camera would not find.
TEST(Harness, WritesTheCamerasScript) {
  CameraScript script;
  script.set("seed", "7")
      .fault(
          {.call = "zel_stream_start", .nth = 2, .code = 8, .message = "no", .error_number = "EIO", .expected = true})
      .frames({.from = 3, .count = 0, .size = 10, .chunk_sizes = "4;0;6", .key = true});
  EXPECT_EQ(script.text(),
            "[camera]\npacing=virtual\nseed=7\n"
            "\n[fault 0]\ncall=zel_stream_start\nnth=2\ncode=8\nmessage=no\nerrno=EIO\nexpected=true\n"
            "\n[frame 1]\nfrom=3\ncount=0\nsize=10\nchunk_sizes=4;0;6\nkey=true\n");
}

// Catches a log read wrongly: order, map contents, frames' bytes, and a last line that is still being written.
TEST(Harness, ReadsTheCamerasLog) {
  const TempFolder folder;
  write_file(folder.path() / "log",
             R"({"kind":"call","n":1,"name":"zel_map_new","args":{},"result":1}
{"kind":"call","n":2,"name":"zel_map_set_uint32","args":{"map":1,"key":"dynamic","value":1}}
{"kind":"call","n":3,"name":"zel_map_copy_value","args":{"map":1,"source":"dynamic","target":"dynamic.gop"}}
{"kind":"call","n":4,"name":"zel_map_set_uint32","args":{"map":1,"key":"crop.x","value":5}}
{"kind":"call","n":5,"name":"zel_map_remove_prefix","args":{"map":1,"prefix":"crop."}}
{"kind":"call","n":6,"name":"zel_map_merge","args":{"destination":2,"source":1}}
{"kind":"call","n":7,"name":"zel_stream_new","args":{"map":1,"values":{"dynamic":1}},"result":null,)"
             R"("error":{"code":3,"message":"no"},"errno":"EIO"}
{"kind":"frame","sequence":4,"timestamp":1,"utc":2,"custom":3,"size":2,"header_size":1,"type":"i",)"
             R"("type_value":0,"key":true,"shown":true,"segment_start":false,"empty":false,"buffer":1,"offset":1}
{"kind":"drop","sequence":5,"reason":"injected"}
{"kind":"release","object":"map","id":2}
{"kind":"rel)");
  write_file(folder.path() / "record", "abcd");
  const TruthLog truth(folder.path() / "log", folder.path() / "record");
  EXPECT_EQ(truth.lines().size(), 10U);
  EXPECT_THAT(truth.order_of({"zel_stream_new", "zel_map_merge"}), ElementsAre("zel_map_merge", "zel_stream_new"));
  EXPECT_THAT(truth.writes_to_map(1), ElementsAre("set_uint32 dynamic 1", "copy_value dynamic dynamic.gop",
                                                  "set_uint32 crop.x 5", "remove_prefix crop."));
  EXPECT_THAT(truth.writes_to_map(2), ElementsAre("merge 1"));
  const std::map<std::string, nlohmann::json> expected = {{"dynamic", 1}, {"dynamic.gop", 1}};
  EXPECT_EQ(truth.map_at(1, 99), expected);
  EXPECT_EQ(truth.requested_settings(), (std::map<std::string, nlohmann::json>{{"dynamic", 1}}));
  EXPECT_EQ(truth.map_at(2, 99), expected);
  EXPECT_EQ(truth.calls_named("zel_stream_new").at(0).error.at("code"), 3);
  EXPECT_EQ(truth.calls_named("zel_stream_new").at(0).error_number, "EIO");
  EXPECT_EQ(truth.bytes(0, 1), "bc");
  EXPECT_EQ(truth.drops().at(0).sequence, 5U);
  EXPECT_EQ(truth.releases().at(0).object, "map");
}

// Catches keys that do not arrive, a screen that is cut, and modes that are not the client's.
TEST(Harness, GivesATerminal) {
  const TempFolder folder;
  Terminal terminal;
  ProcessSetup setup = shell(folder, "stty -echo; echo ready; read line; echo \"got $line\"");
  setup.stdin_fd = terminal.descriptor();
  setup.stdout_path = terminal.path();
  Process process(setup);
  ASSERT_TRUE(process.wait_until([&] { return terminal.shows("ready\n"); }));
  terminal.press("a key\n");
  EXPECT_EQ(process.wait().status, 0);
  EXPECT_EQ(terminal.whole_screen(), "ready\ngot a key\n");
  EXPECT_EQ(terminal.modes().c_lflag & static_cast<tcflag_t>(ECHO | ICANON), static_cast<tcflag_t>(ICANON));
  EXPECT_FALSE(terminal.nonblocking());
}

// Catches a terminal without job control: the interrupt key must reach the client.
TEST(Harness, GivesAControllingTerminal) {
  const TempFolder folder;
  Terminal terminal;
  ProcessSetup setup = shell(folder, "echo ready; exec tail -f /dev/null");
  setup.stdin_fd = terminal.descriptor();
  setup.stdout_path = terminal.path();
  setup.new_session = true;
  Process process(setup);
  ASSERT_TRUE(process.wait_until([&] { return terminal.shows("ready\n"); }));
  terminal.press("\x03");
  EXPECT_EQ(process.wait().signal, SIGINT);
}

// Catches an end of the input that the client would never see.
TEST(Harness, HangsUp) {
  const TempFolder folder;
  Terminal terminal;
  ProcessSetup setup = shell(folder, "cat; echo end");
  setup.stdin_fd = terminal.descriptor();
  Process process(setup);
  terminal.hang_up();
  EXPECT_EQ(process.wait().out, "end\n");
}
