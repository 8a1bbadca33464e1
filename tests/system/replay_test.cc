// A recording in place of the camera: the client's run is the recorded one again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "console_text.h"
#include "harness/matroska.h"
#include "harness/pty.h"
#include "harness/recorder_run.h"

using testing::HasSubstr;

namespace {

using Arguments = std::vector<std::string>;

/// The client's own clocks, which a recording does not have.
const std::vector<ClockReading> kClock = {{1000500, 2000000}, {1033900, 2033333}, {1070000, 2070000}};

/// What somebody outside can see of a run.
struct Seen {
  RunResult result;
  std::string screen;
  std::map<std::string, std::string> files;
};

Seen seen(const ClientRun &run, RunResult result, std::string screen = "") {
  Seen all{std::move(result), std::move(screen), {}};
  for (const std::string &name : run.files())
    all.files[name] = read_file(run.file(name));
  return all;
}

void expect_same(const Seen &recorded, const Seen &replayed) {
  EXPECT_EQ(replayed.result.out, recorded.result.out);
  EXPECT_EQ(replayed.result.err, recorded.result.err);
  EXPECT_EQ(replayed.result.status, recorded.result.status);
  EXPECT_EQ(replayed.result.signal, recorded.result.signal);
  EXPECT_EQ(replayed.screen, recorded.screen);
  ASSERT_EQ(replayed.files.size(), recorded.files.size());
  for (const auto &[name, bytes] : recorded.files)
    EXPECT_TRUE(replayed.files.contains(name) && replayed.files.at(name) == bytes) << name;
}

class ReplayTest : public testing::Test {
 protected:
  std::string recording() const { return folder / "run.zrec"; }

  /// Records a run on the camera that `script` sets up. The camera's own files are another run's.
  Seen record_run(const std::function<void(CameraScript &)> &script, const Arguments &arguments,
                  const Arguments &options = {}) {
    ClientRun run;
    script(run.camera());
    run.clock(kClock);
    record(run, recording(), options);
    return seen(run, run.run(arguments));
  }

  Seen replay(const Arguments &arguments) {
    ClientRun run;
    run.camera().set("recording", recording());
    run.clock(kClock);
    return seen(run, run.run(arguments));
  }

  void expect_replay(const std::function<void(CameraScript &)> &script, const Arguments &arguments) {
    const Seen recorded = record_run(script, arguments);
    expect_same(recorded, replay(arguments));
  }

  TempFolder folder;
};

void scripted(CameraScript &camera) {
  camera.scripted();
}

}  // namespace

// Catches bytes or times of any coding that are not those of the recording.
TEST_F(ReplayTest, EveryCodec) {
  for (const char *format : {"h264", "h265", "jpeg", "av1", "nv12", "rgb"}) {
    SCOPED_TRACE(format);
    expect_replay([](CameraScript &) {}, {"--frames=4", "-t", format, "-s", "-m", "-o", "out", "160", "96"});
  }
}

// Catches another text, file or status after any kind of fault in a call.
TEST_F(ReplayTest, FaultsInCalls) {
  const std::vector<Fault> faults = {
      {.call = "zel_stream_new", .code = 17, .message = "No such camera"},
      {.call = "zel_stream_get_info", .set_error = false},
      {.call = "zel_stream_get_buffer", .nth = 2, .times = 2, .code = 8, .message = "Lost", .error_number = "EIO"},
      {.call = "zel_stream_get_buffer", .nth = 3, .message = "Gone", .expected = true},
      {.call = "zel_stream_get_buffer", .nth = 2, .set_error = false, .error_number = "EAGAIN"},
      {.call = "zel_stream_buffer_enqueue", .nth = 6, .message = "Full"},
      {.call = "zel_stream_start", .message = "Busy"},
      {.call = "zel_frame_get_timestamp", .probability = 0.3},
      {.call = "zel_map_get_uint32", .nth = 4},
      {.call = "zel_stream_get_buffer", .nth = 3, .fail = false, .stall_us = 1000},
  };
  for (const Fault &fault : faults) {
    SCOPED_TRACE(fault.call);
    expect_replay([&](CameraScript &camera) { camera.scripted().fault(fault); },
                  {"--frames=5", "--buffer.count=3", "-m", "-o", "out"});
  }
}

// Catches frames that are not as they were.
TEST_F(ReplayTest, FramesAsTheyShouldNotBe) {
  const auto script = [](CameraScript &camera) {
    camera.scripted()
        .frames({.from = 1, .count = 2, .drop = true})
        .frames({.from = 3, .latency_us = 20000, .clock_step_us = -5000000, .size = 0})
        .frames({.from = 4, .chunk_sizes = "10;0;7", .null_chunk = 2})
        .frames({.from = 5, .type = "77", .key = true, .shown = false, .segment_start = true})
        .frames({.from = 6, .empty = "wide", .capacity = 5})
        .frames({.from = 7, .size = 3000000})
        .frames({.from = 8, .custom_us = 5, .timestamp_us = 18446744073709551615U, .take_fails = true});
  };
  expect_replay(script, {"--frames=7", "-x", "-m", "-o", "out"});
  expect_replay(script, {"--frames=7", "-s", "--timestamp.type=elapsed", "-o", "out%d", "--split_nframes=2"});
}

// Catches a Matroska file with other frames or times. The file itself has a number by chance.
TEST_F(ReplayTest, Matroska) {
  const Arguments arguments = {"--frames=6", "--mkv=out.mkv", "-m", "-o", "out", "160", "96"};
  std::vector<MatroskaContents> contents;
  for (const bool is_replay : {false, true}) {
    ClientRun run;
    if (is_replay) run.camera().set("recording", recording());
    run.clock(kClock);
    if (!is_replay) record(run, recording());
    EXPECT_EQ(run.run(arguments).status, 0);
    contents.push_back(read_matroska(run.file("out.mkv")));
  }
  EXPECT_EQ(contents[0].frames.size(), 6U);
  EXPECT_TRUE(contents[1].frames == contents[0].frames);
  EXPECT_EQ(contents[1].cues, contents[0].cues);
}

// Catches events that are lost or come elsewhere.
TEST_F(ReplayTest, Events) {
  const Arguments arguments = {"--frames=4", "--zel_debug", "-o", "out"};
  const Seen recorded = record_run(scripted, arguments);
  EXPECT_EQ(recorded.result.status, 0);
  EXPECT_THAT(recorded.result.out, HasSubstr("event = 'started'"));
  expect_same(recorded, replay(arguments));
}

// Catches texts that are lost because they are no UTF-8, and numbers that are no numbers and are taken for others.
TEST_F(ReplayTest, OddTextsAndNumbers) {
  const auto script = [](CameraScript &camera) {
    camera.scripted().fault({.call = "zel_stream_get_buffer", .nth = 2, .message = "caf\xE9", .expected = true});
  };
  expect_replay(script, {"--frames=4", "-q", "--pipeline=caf\xE9", "-o", "out"});
  expect_replay(scripted, {"--frames=4", "-q", "--framerate=nan", "-o", "out"});
}

// Catches a replay that is done before the recorded time has passed, or that takes it when nothing is to be waited for.
TEST_F(ReplayTest, Pace) {
  const auto script = [](CameraScript &camera) {
    camera.scripted().fault({.call = "zel_stream_get_buffer", .nth = 2, .fail = false, .stall_us = 2000000});
  };
  const Arguments arguments = {"--frames=3", "-q", "-o", "out"};
  const Seen recorded = record_run(script, arguments);
  const auto seconds = [&](const char *pacing) {
    ClientRun run;
    run.camera().set("recording", recording()).set("pacing", pacing);
    run.clock(kClock);
    const auto begin = std::chrono::steady_clock::now();
    expect_same(recorded, seen(run, run.run(arguments)));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  const double paced = seconds("real-time");
  EXPECT_GE(paced, 2);
  EXPECT_LT(seconds("virtual"), paced);
}

// Catches a replay that insists on calls that only look, or on waits: the quiet run makes fewer of them.
TEST_F(ReplayTest, FewerLooks) {
  const Seen recorded = record_run(scripted, {"--frames=4", "-x", "-m", "-o", "out"});
  const Seen quiet = replay({"--frames=4", "-q", "-m", "-o", "out"});
  EXPECT_EQ(quiet.result.err, "");
  EXPECT_EQ(quiet.result.status, 0);
  EXPECT_TRUE(quiet.files == recorded.files);
}

// Catches interrupts that come elsewhere than they came: in calls, and a second one in a handler's way out.
TEST_F(ReplayTest, Interrupts) {
  const auto one = [](CameraScript &camera) {
    camera.scripted().fault(
        {.call = "zel_stream_get_buffer", .nth = 4, .code = 9, .error_number = "EINTR", .signal = "SIGINT"});
  };
  expect_replay(one, {"-s", "-m", "-o", "out"});
  const auto two = [](CameraScript &camera) {
    camera.scripted()
        .fault({.call = "zel_frame_get_size", .nth = 2, .fail = false, .signal = "SIGINT"})
        .fault({.call = "zel_stream_buffer_enqueue", .nth = 12, .fail = false, .signal = "SIGINT"});
  };
  expect_replay(two, {"-s", "-m", "-o", "out"});
}

namespace {

/// An interactive run: steps to the first frame, is stopped, and is interrupted while it waits for keys: by the test
/// when it is recorded, once `may_end`, by the recording in a replay.
Seen interactive_run(ClientRun &run, bool is_replay, const std::function<bool()> &may_end) {
  Terminal terminal;
  run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
  run.clock(kClock);
  run.start({"--interactive=1", "-m", "-o", "out"});
  const auto wait_for = [&](const std::string &text) {
    EXPECT_TRUE(run.process().wait_until([&] { return terminal.screen().find(text) != std::string::npos; }))
        << terminal.screen();
  };
  wait_for("Starting Stream[");
  terminal.press("\n");
  wait_for("frame =    0");
  terminal.press("3");
  wait_for("STOP!");
  if (!is_replay) {
    EXPECT_TRUE(run.process().wait_until(may_end));
    run.process().send_signal(SIGINT);
  }
  RunResult result = run.wait();
  return seen(run, std::move(result), terminal.whole_screen());
}

}  // namespace

// Catches a replay that does not wait for the keys, or whose descriptors wake the client at other moments. The
// interrupt of the replay is the recording's.
TEST_F(ReplayTest, Interactive) {
  ClientRun first;
  first.camera().scripted();
  first.preload(preload_library("slow_poll"));
  record(first, recording());
  const Seen recorded = interactive_run(first, false, [&] { return first.truth().count("zel_stream_stop") == 1; });
  EXPECT_EQ(recorded.result.status, 0);
  EXPECT_THAT(recorded.screen, HasSubstr("STOP!"));
  ClientRun second;
  second.camera().set("recording", recording());
  expect_same(recorded, interactive_run(second, true, {}));
}

// Catches an interrupt that is never sent because the client does not sleep: while it takes no steps it leaves the
// event of the stop where it is, and every wait returns at once.
TEST_F(ReplayTest, InterruptBetweenWaits) {
  ClientRun first;
  first.camera().scripted();
  first.preload(preload_library("slow_poll"));  // the interrupt comes in the pause
  record(first, recording());
  const Seen recorded = interactive_run(first, false, [this] {
    const std::string bytes = read_file(recording());
    const std::size_t stop = bytes.rfind("zel_stream_stop");
    return stop != bytes.npos && occurrences(std::string_view(bytes).substr(stop), "poll") > 3;
  });
  EXPECT_EQ(recorded.result.status, 0);
  ClientRun second;
  second.camera().set("recording", recording());
  expect_same(recorded, interactive_run(second, true, {}));
}

// Catches a replay that goes on when the program does something else, and a message that does not tell both.
TEST_F(ReplayTest, ADivergenceIsTold) {
  record_run(scripted, {"--frames=3", "-q", "-o", "out"});
  const Seen other = replay({"--frames=3", "-q", "--bitrate=100000", "-o", "out"});
  EXPECT_EQ(other.result.status, 1);
  EXPECT_EQ(other.result.err, "zel-client: " + recording() +
                                  ": the program calls zel_map_set_uint32(map 1, \"bitrate\", 100000), the recording "
                                  "has zel_map_set_boolean(map 1, \"framerate.auto\", 1)\n");
  const Seen longer = replay({"--frames=4", "-q", "-o", "out"});
  EXPECT_EQ(longer.result.status, 1);
  EXPECT_THAT(longer.result.err,
              HasSubstr("the program calls zel_stream_buffer_alloc(stream 3, NULL), the recording has "
                        "zel_stream_start(stream 3)"));
}

// Catches recordings that cannot be replayed and are.
TEST_F(ReplayTest, RefusedRecordings) {
  record_run(scripted, {"--frames=200", "-q", "-o", "out"}, {"--max-size=65536"});
  const auto error = [this] { return replay({"--frames=3", "-q", "-o", "out"}).result.err; };
  EXPECT_THAT(error(),
              HasSubstr("[camera] recording: " + recording() + ": items are lost in it: it cannot be replayed"));
  write_file(recording(), "\xFF");
  EXPECT_THAT(error(), HasSubstr("[camera] recording: " + recording() + ": byte 0: no item of a recording"));
  record_run(scripted, {"--frames=1", "-q", "-o", "out"});
  const std::string good = read_file(recording());
  for (const auto &[name, text] : {std::pair("GObject", ": GObject is no enumeration here"),
                                   std::pair("zel form", ": \"zel form\" is no type's name")}) {
    std::string bytes = good;
    const std::size_t at = bytes.find("\x6Azel_format");
    ASSERT_NE(at, bytes.npos);
    bytes.replace(at, 11, static_cast<char>(0x60 + std::string_view(name).size()) + std::string(name));
    write_file(recording(), bytes);
    EXPECT_THAT(error(), HasSubstr(text));
  }
  std::string unnamed = good;
  unnamed.replace(unnamed.find("values"), 6, "valuez");
  write_file(recording(), unnamed);
  EXPECT_THAT(error(), HasSubstr("zel_format_get_type is written down"));
  std::filesystem::remove(recording());
  EXPECT_THAT(error(), HasSubstr("[camera] recording: " + recording() + ": No such file or directory"));
}

// Catches a replay of a recording without pictures that differs in more than the bytes.
TEST_F(ReplayTest, WithoutPictures) {
  const Arguments arguments = {"--frames=4", "-m", "-o", "out"};
  const Seen recorded = record_run(scripted, arguments, {"--no-pictures"});
  const Seen replayed = replay(arguments);
  EXPECT_EQ(replayed.result.out, recorded.result.out);
  EXPECT_EQ(replayed.files.at("out.meta"), recorded.files.at("out.meta"));
  EXPECT_EQ(replayed.files.at("out"), std::string(recorded.files.at("out").size(), '\0'));
}

// ---- Recordings that are kept ------------------------------------------------------------------------------------

namespace {

std::vector<std::string> lines_of(const std::filesystem::path &path) {
  std::istringstream text(read_file(path));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);)
    lines.push_back(line);
  return lines;
}

std::vector<ClockReading> clock_of(const std::filesystem::path &path) {
  std::istringstream text(read_file(path));
  std::vector<ClockReading> readings;
  for (ClockReading reading; text >> reading.monotonic >> reading.real;)
    readings.push_back(reading);
  return readings;
}

}  // namespace

// Catches a change by which the client prints something else than it did when the calls were recorded, and recordings
// that are no longer understood, or not on a machine of another kind.
TEST(Recorded, RunsAgain) {
  std::multiset<std::string> machines;
  for (const auto &entry : std::filesystem::directory_iterator(ZEL_TEST_RECORDINGS)) {
    if (!entry.is_directory()) continue;
    SCOPED_TRACE(entry.path());
    ClientRun run;
    run.camera().set("recording", entry.path() / "run.zrec");
    run.clock(clock_of(entry.path() / "clock"));
    const RunResult result = run.run(lines_of(entry.path() / "arguments"));
    EXPECT_EQ(result.out, read_file(entry.path() / "out"));
    EXPECT_EQ(result.err, read_file(entry.path() / "err"));
    EXPECT_EQ(std::to_string(result.status) + "\n", read_file(entry.path() / "status"));
    machines.insert(recorded_items(entry.path() / "run.zrec").front().at("machine"));
  }
  EXPECT_THAT(machines, testing::ElementsAre("armv7l", "x86_64", "x86_64"));
}
