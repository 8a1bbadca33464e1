// What the client stored in place of the camera: its frames come again as they were.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "console_text.h"
#include "harness/matroska.h"
#include "recording.h"
#include "tests/media/coded_units.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Arguments = std::vector<std::string>;

/// The client's own clocks, which a capture does not have.
const std::vector<ClockReading> kClock = {{1000500, 2000000}, {1033900, 2033333}, {1070000, 2070000}};

RunResult run_well(ClientRun &run, const Arguments &arguments) {
  run.clock(kClock);
  RunResult result = run.run(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  return result;
}

/// Lets the camera of `second` play a file of `first`.
CameraScript &play(const ClientRun &first, const std::string &name, ClientRun &second) {
  return second.camera().set("capture", first.file(name));
}

/// Captures with the arguments, then plays the file of that name to a run with the same arguments.
void expect_same(ClientRun &first, const Arguments &arguments, const std::string &name = "out") {
  const RunResult captured = run_well(first, arguments);
  ClientRun second;
  play(first, name, second);
  EXPECT_EQ(run_well(second, arguments).out, captured.out);
  ASSERT_EQ(second.files(), first.files());
  for (const std::string &file : first.files())
    EXPECT_TRUE(read_file(second.file(file)) == read_file(first.file(file))) << file;
}

std::vector<SidecarRecord> records_of(const ClientRun &run) {
  const std::string bytes = read_file(run.file("out.meta"));
  return sidecar_records(bytes, sidecar_count(bytes));
}

std::vector<std::uint32_t> numbers_of(const ClientRun &run) {
  const TruthLog truth = run.truth();
  std::vector<std::uint32_t> numbers;
  for (const FrameTruth &frame : truth.frames())
    numbers.push_back(frame.sequence);
  return numbers;
}

/// Frames of many kinds, made up and with gaps.
void script_odd_frames(CameraScript &camera) {
  camera.scripted()
      .frames({.from = 2, .count = 3, .drop = true})
      .frames({.from = 6, .size = 100, .header_size = 7})
      .frames({.from = 7, .size = 0})
      .frames({.from = 8, .type = "77"})
      .frames({.from = 9, .drop = true})
      .frames({.from = 10, .size = 3000000, .header_size = 3000000});
}

const Arguments kSmall = {"-q", "-m", "-o", "out", "160", "96"};

Arguments with(Arguments more, const Arguments &arguments = kSmall) {
  more.insert(more.end(), arguments.begin(), arguments.end());
  return more;
}

}  // namespace

// Catches bytes, header sizes, types, times or numbers of any format that are not those of the capture, and gaps that
// are closed.
TEST(CaptureReplay, EveryFormat) {
  for (const char *format : {"h264", "h265", "jpeg", "av1", "nv12", "i420", "gray", "rgb"}) {
    SCOPED_TRACE(format);
    ClientRun first;
    first.camera().frames({.from = 3, .count = 2, .drop = true});
    expect_same(first, {"--frames=7", "--gop_length=4", "-t", format, "-m", "-o", "out", "160", "96"});
  }
}

// Catches frames that are played as they should be instead of as they were.
TEST(CaptureReplay, OddFrames) {
  ClientRun first;
  script_odd_frames(first.camera());
  expect_same(first, {"--frames=9", "--gop_length=5", "-m", "-o", "out"});
}

// Catches times that are mended: the service's clock jumped back and forth.
TEST(CaptureReplay, TimesThatJump) {
  ClientRun first;
  first.camera()
      .scripted()
      .frames({.from = 3, .clock_step_us = -200000})
      .frames({.from = 6, .clock_step_us = 5000000})
      .frames({.from = 8, .timestamp_us = 1});
  run_well(first, with({"--frames=12"}));
  ClientRun second;
  play(first, "out", second);
  run_well(second, with({"--frames=12"}));
  EXPECT_TRUE(records_of(second) == records_of(first));
  EXPECT_EQ(read_file(second.file("out")), read_file(first.file("out")));
}

// Catches a start that is another than the capture's, or the key file's where it gives one.
TEST(CaptureReplay, BeginsWhereTheKeyFileSays) {
  ClientRun first;
  first.camera().scripted().set("start_us", "77000000");
  run_well(first, with({"--frames=3", "--framerate=25"}));
  for (const char *start : {"", "5000"}) {
    ClientRun second;
    play(first, "out", second);
    if (*start != '\0') second.camera().set("start_us", start);
    run_well(second, with({"--frames=3"}));
    const std::uint64_t begin = *start != '\0' ? 5000 : 77000000;
    std::vector<std::uint64_t> times;
    for (const SidecarRecord &record : records_of(second))
      times.push_back(record.timestamp);
    EXPECT_THAT(times, ElementsAre(begin, begin + 40000, begin + 80000));
  }
}

// Catches parts that are read in another order or one at a time.
TEST(CaptureReplay, SplitParts) {
  ClientRun first;
  expect_same(first, {"--frames=7", "--split_nframes=3", "-m", "-o", "out%03d", "160", "96"}, "out%03d");
  EXPECT_EQ(first.files().size(), 4U);
}

// Catches units of a Matroska file that are lost or changed, and times of whole milliseconds.
TEST(CaptureReplay, Matroska) {
  const std::pair<const char *, std::uint32_t> formats[] = {{"h264", 0}, {"h265", 1}, {"jpeg", 2}, {"av1", 10}};
  for (const auto &[format, number] : formats) {
    SCOPED_TRACE(format);
    const Arguments arguments = with({"--frames=6", "--gop_length=4", "-t", format});
    ClientRun raw;
    run_well(raw, arguments);
    ClientRun first;
    run_well(first, with({"--mkv=out.mkv"}, arguments));
    ClientRun second;
    play(first, "out.mkv", second);
    run_well(second, arguments);
    EXPECT_EQ(coded_units(number, read_file(second.file("out"))), coded_units(number, read_file(raw.file("out"))));
    const std::vector<SidecarRecord> expected = records_of(raw);
    const std::vector<SidecarRecord> records = records_of(second);
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      EXPECT_EQ(records[i].timestamp, expected[i].timestamp);
      EXPECT_EQ(records[i].type, expected[i].type);
      EXPECT_EQ(records[i].header_size != 0, expected[i].header_size != 0);
    }
    ClientRun third;
    play(first, "out.mkv", third);
    run_well(third, with({"--mkv=out.mkv"}, arguments));
    EXPECT_EQ(read_matroska(third.file("out.mkv")).cues, read_matroska(first.file("out.mkv")).cues);
    EXPECT_TRUE(read_matroska(third.file("out.mkv")).frames == read_matroska(first.file("out.mkv")).frames);
  }
}

// Catches frames of a stream without a sidecar that are cut elsewhere, and key, header size or type that are not made.
TEST(CaptureReplay, RawStreamAlone) {
  for (const char *format : {"h264", "h265", "jpeg", "av1", "nv12"}) {
    SCOPED_TRACE(format);
    const Arguments arguments = with({"--frames=6", "--framerate=25", "--gop_length=4", "-t", format});
    ClientRun first;
    run_well(first, arguments);
    std::filesystem::rename(first.file("out.meta"), first.file("kept"));
    ClientRun second;
    play(first, "out", second);
    run_well(second, arguments);
    EXPECT_TRUE(read_file(second.file("out")) == read_file(first.file("out")));
    const std::vector<SidecarRecord> expected = sidecar_records(read_file(first.file("kept")), 6);
    const std::vector<SidecarRecord> records = records_of(second);
    ASSERT_EQ(records.size(), 6U);
    for (std::size_t i = 0; i < records.size(); ++i) {
      EXPECT_EQ(records[i].type, expected[i].type);
      EXPECT_EQ(records[i].timestamp, expected[i].timestamp);
      EXPECT_EQ(records[i].header_size != 0, expected[i].header_size != 0);
      // The zero before a start code belongs to either frame.
      EXPECT_NEAR(static_cast<double>(records[i].size), static_cast<double>(expected[i].size), 1);
    }
  }
}

// Catches a join at another distance than the usual one, numbers or times that begin again, and a round that is not the
// capture again.
TEST(CaptureReplay, Loop) {
  ClientRun first;
  first.camera().frames({.from = 1, .drop = true});
  run_well(first, with({"--frames=4", "--framerate=25"}));
  ClientRun second;
  play(first, "out", second).set("loop", "true");
  run_well(second, with({"--frames=9"}));
  EXPECT_THAT(numbers_of(second), ElementsAre(0, 2, 3, 4, 5, 7, 8, 9, 10));
  const std::vector<SidecarRecord> round = records_of(first);
  const std::vector<SidecarRecord> records = records_of(second);
  ASSERT_EQ(records.size(), 9U);
  for (std::size_t i = 0; i < records.size(); ++i) {
    SidecarRecord expected = round[i % 4];
    expected.timestamp += i / 4 * 200000;
    EXPECT_TRUE(records[i] == expected) << i;
  }
  const std::string bytes = read_file(first.file("out"));
  const std::string again = read_file(second.file("out"));
  EXPECT_TRUE(again == bytes + bytes + again.substr(0, records[8].size));
  EXPECT_TRUE(again.ends_with(bytes.substr(0, records[8].size)));
}

// Catches an end that is another than that of any stream.
TEST(CaptureReplay, Ends) {
  ClientRun first;
  run_well(first, with({"--frames=3"}));
  ClientRun ended;
  const RunResult expected = [&] {
    ended.camera()
        .set("pacing", "virtual")
        .fault({.call = "zel_stream_get_buffer",
                .nth = 4,
                .code = 5,
                .message = "The stream has ended",
                .error_number = "ENODATA",
                .expected = true});
    return ended.run(kSmall);
  }();
  for (const char *pacing : {"virtual", "unpaced", "real-time"}) {
    ClientRun second;
    play(first, "out", second).set("pacing", pacing);
    const RunResult result = second.run(kSmall);
    EXPECT_EQ(result.err, expected.err);
    EXPECT_EQ(result.status, expected.status);
    EXPECT_EQ(second.truth().drops().size() + second.truth().frames().size(), 3U) << pacing;
  }
  ClientRun again;
  play(first, "out", again);
  EXPECT_EQ(again.run(kSmall).err, expected.err);
  EXPECT_TRUE(read_file(again.file("out")) == read_file(first.file("out")));
}

// Catches distances on the real clock that are not the capture's. Which frames come too late is the machine's affair;
// that each is told of is not.
TEST(CaptureReplay, RealTime) {
  ClientRun first;
  first.camera().frames({.from = 2, .count = 4, .drop = true});
  run_well(first, with({"--frames=6", "--framerate=50"}));
  ClientRun second;
  play(first, "out", second).set("pacing", "real-time");
  (void)second.run(kSmall);
  const TruthLog truth = second.truth();
  std::set<std::uint32_t> numbers;
  for (const Drop &drop : truth.drops()) {
    EXPECT_TRUE(drop.reason == "gap" || drop.sequence < 2 || drop.sequence > 5) << drop.sequence;
    EXPECT_TRUE(numbers.insert(drop.sequence).second);
  }
  for (const FrameTruth &frame : truth.frames()) {
    EXPECT_TRUE(numbers.insert(frame.sequence).second);
    EXPECT_EQ(frame.timestamp - truth.frames()[0].timestamp,
              std::uint64_t{frame.sequence - truth.frames()[0].sequence} * 20000);
  }
  EXPECT_EQ(numbers.size(), 10U);
}

// Catches latencies that are not those of the lines, and numbers that are guessed although the lines have them.
TEST(CaptureReplay, Console) {
  ClientRun first;
  first.camera().frames({.from = 0, .count = 2, .drop = true}).frames({.from = 4, .clock_step_us = 400000});
  const std::vector<ClockReading> clock = {{1066666 + 250, 0}, {1100000 + 90000, 0}, {1533333 + 5, 0}};
  first.clock(clock);
  const Arguments arguments = {"--frames=3", "-m", "-o", "out", "160", "96"};
  const RunResult captured = first.run(arguments);
  write_file(first.file("run.txt"), captured.out);
  ClientRun second;
  play(first, "out", second).set("console", first.file("run.txt"));
  second.clock(clock);
  EXPECT_EQ(second.run(arguments).out, captured.out);
  EXPECT_THAT(numbers_of(second), ElementsAre(2, 3, 4));
  const TruthLog truth = second.truth();
  std::vector<std::int64_t> latencies;
  for (const FrameTruth &frame : truth.frames())
    latencies.push_back(frame.line["handed_us"].get<std::int64_t>() - frame.line["captured_us"].get<std::int64_t>());
  EXPECT_THAT(latencies, ElementsAre(250, 90000, 5));
  ClientRun real;
  play(first, "out", real).set("console", first.file("run.txt")).set("pacing", "real-time");
  const RunResult paced = real.run({"-m", "-o", "out", "160", "96"});
  for (const std::string &line : frame_lines(paced.out)) {
    if (number(line, "frame") == 3) {
      EXPECT_GE(number(line, "latency"), 90000);
    }
  }
}

// Catches a console text whose sizes or frames are another run's, and type columns that are no type.
TEST(CaptureReplay, ConsoleTypes) {
  ClientRun first;
  first.camera()
      .frames({.from = 1, .shown = false})
      .frames({.from = 2, .empty = "true"})
      .frames({.from = 3, .type = "b"});
  const Arguments arguments = {"--frames=4", "-o", "out", "160", "96"};
  const RunResult captured = run_well(first, arguments);
  write_file(first.file("run.txt"), captured.out);
  ClientRun second;
  play(first, "out", second).set("console", first.file("run.txt"));
  EXPECT_EQ(frame_lines(run_well(second, arguments).out), frame_lines(captured.out));
}

// Catches faults and changes to frames that do not apply, or that move the frames behind them.
TEST(CaptureReplay, FaultsOnTop) {
  ClientRun first;
  run_well(first, with({"--frames=8"}));
  ClientRun second;
  play(first, "out", second)
      .fault({.call = "zel_stream_get_buffer", .nth = 3, .message = "Lost", .error_number = "EIO"})
      .frames({.from = 2, .drop = true})
      .frames({.from = 4, .latency_us = 1000, .size = 5, .type = "b"});
  const RunResult result = run_well(second, with({"--frames=7"}));
  EXPECT_THAT(result.err, HasSubstr("Lost"));
  EXPECT_THAT(numbers_of(second), ElementsAre(0, 1, 3, 4, 5, 6, 7));
  std::vector<SidecarRecord> expected = records_of(first);
  expected.erase(expected.begin() + 2);
  expected[3].type = 4;
  expected[3].size = 5;
  EXPECT_TRUE(records_of(second) == expected);
}

namespace {

/// What the client says of a capture that cannot be played, without the names of folders.
std::string refusal(const ClientRun &first, const std::string &name, const Arguments &arguments,
                    const std::string &console = "") {
  ClientRun second;
  play(first, name, second);
  if (!console.empty()) second.camera().set("console", first.file(console));
  const RunResult result = second.run(with({"--frames=1", "-q", "-o", "out"}, arguments));
  EXPECT_EQ(result.status, 1);
  std::string text = result.err;
  const std::string folder = first.folder().string() + "/";
  for (std::size_t at = text.find(folder); at != text.npos; at = text.find(folder))
    text.erase(at, folder.size());
  const std::size_t key = text.find("[camera] ");
  EXPECT_EQ(key != text.npos, text.starts_with("zel-client: Camera configuration /"));
  return text.substr(key == text.npos ? 0 : key);
}

}  // namespace

// Catches settings that are granted although the frames are not so, and messages that do not say what the capture is.
TEST(CaptureReplay, OtherSettingsAreRefused) {
  ClientRun first;
  run_well(first, with({"--frames=2"}));
  EXPECT_EQ(refusal(first, "out", {"-t", "jpeg"}),
            "zel-client: format: 2 is not accepted (h264: that of the capture)\n");
  EXPECT_EQ(refusal(first, "out", {"-t", "nv12", "16", "16"}),
            "zel-client: format: 3 is not accepted (h264: that of the capture)\n");
  EXPECT_EQ(refusal(first, "out", {"320", "96"}),
            "zel-client: resolution: 320x96 is not accepted (160x96: that of the capture)\n");
  EXPECT_EQ(refusal(first, "out", {"--bitrate=5"}),
            "zel-client: bitrate: 5 is not accepted (8000 to 500000000, or 0: automatic)\n");
  ClientRun pictures;
  run_well(pictures, with({"--frames=2", "-t", "nv12"}));
  EXPECT_EQ(refusal(pictures, "out", {"160", "96"}),
            "zel-client: format: 0 is not accepted (nv12, i420, gray or rgb: the capture is not coded)\n");
  EXPECT_EQ(
      refusal(pictures, "out", {"-t", "nv12", "160", "90"}),
      "zel-client: resolution: 160x90 is not accepted (nv12 frames of it have 21600 bytes, frame 0 of the capture "
      "has 23040)\n");
}

// Catches files that are played although they are none, and lines that do not say what is wrong with them.
TEST(CaptureReplay, UnusableFiles) {
  ClientRun first;
  const RunResult captured = run_well(first, {"--frames=2", "-m", "-o", "out", "160", "96"});
  write_file(first.file("empty"), "");
  write_file(first.file("text"), captured.out);
  write_file(first.file("noise"), std::string(5000, '\x5A'));
  write_file(first.file("none.h264"), "");
  write_file(first.file("none.h264.meta"), std::string(4, '\0'));
  write_file(first.file("other"), captured.out + captured.out);
  EXPECT_EQ(refusal(first, "absent", {}), "[camera] capture: absent: No such file or directory\n");
  EXPECT_EQ(refusal(first, "empty", {}), "[camera] capture: empty: is empty\n");
  EXPECT_EQ(refusal(first, "out.meta", {}), "[camera] capture: out.meta: tells of frames but does not hold them\n");
  EXPECT_EQ(refusal(first, "text", {}), "[camera] capture: text: tells of frames but does not hold them\n");
  EXPECT_EQ(refusal(first, "none.h264", {}), "[camera] capture: none.h264: holds no frame\n");
  EXPECT_THAT(refusal(first, "noise", {}), HasSubstr("[camera] capture: noise: is nothing that can be read"));
  EXPECT_EQ(refusal(first, "out", {}, "absent"), "[camera] console: absent: No such file or directory\n");
  EXPECT_EQ(refusal(first, "out", {}, "out.meta"), "[camera] console: out.meta: holds no frame's line\n");
  EXPECT_THAT(refusal(first, "out", {}, "other"), HasSubstr("one frame more than the 2 of out\n"));
}
