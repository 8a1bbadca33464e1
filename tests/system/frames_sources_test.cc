// zel-frames list and stats on what the client leaves behind, against the software camera's account.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "console_text.h"
#include "harness/build_under_test.h"
#include "harness/client_run.h"
#include "harness/frames_run.h"

using nlohmann::json;

namespace {

constexpr std::size_t kFrames = 30;
constexpr std::int64_t kMonotonicStart = 2'000'000;

/// What a source tells of each frame beside its number, key and time.
struct Tells {
  bool sidecar = false;  ///< type and header
  bool console = false;  ///< sequence, type name, latency
  bool key = true;
  bool time = true;
  bool from_zero = false;  ///< times are distances summed up
  bool place = true;       ///< offset
  bool parts = false;      ///< a column for the file, left empty here
};

/// Records that lose two frames, jump by 200 ms, go back by 100 ms, with latencies that grow.
class FramesSources : public testing::Test {
 protected:
  void record(std::vector<std::string> arguments, const std::string &format = "h264", bool goes_back = true) {
    run.camera().frames({.from = 5, .count = 2, .drop = true});
    run.camera().frames({.from = 11, .clock_step_us = 200'000});
    if (goes_back) run.camera().frames({.from = 20, .clock_step_us = -100'000});
    std::vector<ClockReading> clock;
    for (std::size_t i = 0; i < kFrames; ++i)
      clock.push_back({.monotonic = monotonic(i), .real = 1'700'000'000'000'000});
    run.clock(clock);
    arguments.insert(arguments.end(), {"--format=" + format, "--gop_length=8", "--frames=" + std::to_string(kFrames),
                                       "--framerate=25", "320", "240"});
    const RunResult result = run.run(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    write_file(run.file("run.txt"), result.out);
    frames = run.truth().frames();
    ASSERT_EQ(frames.size(), kFrames);
  }

  static std::int64_t monotonic(std::size_t frame) {
    return kMonotonicStart + static_cast<std::int64_t>(frame) * 50'007;
  }

  std::string expected_rows(const Tells &tells) const {
    std::string rows = "frame,sequence,type,type_name,key,time_us,delta_us,delta_cts_us,offset,size,header,latency_us";
    rows += !tells.parts ? "\n" : ",file\n";
    std::size_t offset = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const FrameTruth &frame = frames[i];
      const auto time = static_cast<std::int64_t>(frame.timestamp);
      const auto first = static_cast<std::int64_t>(frames[0].timestamp);
      const auto before = static_cast<std::int64_t>(frames[i == 0 ? 0 : i - 1].timestamp);
      rows += std::to_string(i) + ',' + (tells.console ? std::to_string(frame.sequence) : "") + ',';
      rows += (tells.sidecar ? frame.line.at("type_value").dump() : "") + ',' + (tells.console ? frame.type : "") + ',';
      rows += std::string(!tells.key ? "" : frame.key ? "1" : "0") + ',';
      rows += (tells.time ? std::to_string(tells.from_zero ? time - first : time) : "") + ',';
      rows += (tells.time ? std::to_string(time - before) : "") + ",,";
      rows += (tells.place ? std::to_string(offset) : "") + ',' + std::to_string(frame.size) + ',';
      rows += (tells.sidecar ? std::to_string(frame.header_size) : "") + ',';
      rows += (tells.console ? std::to_string(monotonic(i) - time) : "") + (!tells.parts ? "\n" : ",\n");
      offset += frame.size;
    }
    return rows;
  }

  std::string list(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"list", "--csv"});
    const RunResult result = run_frames(arguments, run.folder());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  json stats(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"stats", "--json"});
    const RunResult result = run_frames(arguments, run.folder());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return json::parse(result.out);
  }

  ClientRun run;
  std::vector<FrameTruth> frames;
};

/// Some columns of a CSV text, by their numbers.
std::string columns(const std::string &rows, const std::vector<std::size_t> &wanted) {
  std::string result;
  std::istringstream lines(rows);
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields;
    std::istringstream row(line + ",");
    for (std::string field; std::getline(row, field, ',');)
      fields.push_back(field);
    for (const std::size_t column : wanted)
      result += fields.at(column) + ',';
    result += '\n';
  }
  return result;
}

/// The figures of values, by their definitions.
json distribution(std::vector<std::int64_t> values) {
  std::sort(values.begin(), values.end());
  const auto percentile = [&values](std::size_t share) { return values.at((values.size() * share + 999) / 1000 - 1); };
  return {{"min", values.front()},  {"p50", percentile(500)},  {"p90", percentile(900)},
          {"p99", percentile(990)}, {"p999", percentile(999)}, {"max", values.back()}};
}

json without_means(json figures) {
  figures.erase("mean");
  figures.erase("stddev");
  return figures;
}

}  // namespace

class FramesOfEachFormat : public FramesSources, public testing::WithParamInterface<std::string> {};

// Catches a row that differs from the frame that the camera gave, from each source that a raw run leaves.
TEST_P(FramesOfEachFormat, RawRun) {
  record({"--meta", "--output=cap"}, GetParam());
  EXPECT_EQ(list({"cap"}), expected_rows({.sidecar = true}));
  EXPECT_EQ(list({"cap", "--log", "run.txt"}), expected_rows({.sidecar = true, .console = true}));
  EXPECT_EQ(list({"cap.meta"}), expected_rows({.sidecar = true, .key = false}));
  EXPECT_EQ(list({"run.txt"}), expected_rows({.console = true, .key = false, .from_zero = true, .place = false}));
  std::filesystem::rename(run.file("cap"), run.file("moved"));
  EXPECT_EQ(list({"moved", "--meta", "cap.meta"}), expected_rows({.sidecar = true}));
  const std::vector<std::size_t> told_by_text = {0, 1, 3, 4, 5, 6, 11};
  EXPECT_EQ(columns(list({"moved", "--log", "run.txt"}), told_by_text),
            columns(expected_rows({.console = true, .from_zero = true}), told_by_text));
  // The parser counts the zero byte before an H.265 frame's start code to the frame before.
  if (GetParam() != "h265") {
    EXPECT_EQ(list({"moved"}), expected_rows({.time = false}));
  }
}

// Catches times of whole milliseconds, frames in another order, and packets that are not the frames'.
TEST_P(FramesOfEachFormat, MatroskaRun) {
  record({"--mkv=cap.mkv", "--meta", "--output=cap"}, GetParam(), false);  // Matroska takes no time back
  const std::vector<std::size_t> told = {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 11};
  const std::vector<std::size_t> frame_key_time = {0, 4, 5, 6};
  const std::string rows = expected_rows({.sidecar = true, .console = true, .place = false});
  EXPECT_EQ(columns(list({"cap.mkv", "--meta", "cap.meta", "--log", "run.txt"}), told), columns(rows, told));
  EXPECT_EQ(columns(list({"cap.mkv"}), frame_key_time), columns(rows, frame_key_time));
  if (GetParam() == "jpeg") {
    EXPECT_EQ(list({"cap.mkv"}), expected_rows({.place = false}));
  }
}

// Catches a fault that is seen in what is whole, a gap that is not, and frames that do not decode.
TEST_P(FramesOfEachFormat, Check) {
  record({"--meta", "--output=cap"}, GetParam());
  const RunResult result = run_frames({"check", "--decode", "cap.meta"}, run.folder());
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "zel-frames: cap.meta: --decode: the frames' bytes are not there\n");
  const RunResult raw = run_frames({"check", "--decode", "--json", "--log", "run.txt", "cap"}, run.folder());
  EXPECT_EQ(raw.status, 1);
  const json object = json::parse(raw.out);
  EXPECT_EQ(object["frames"], kFrames);
  EXPECT_EQ(object["passed"], false);
  std::vector<std::string> found;
  for (const json &finding : object["findings"])
    found.push_back(finding["id"].get<std::string>() + finding["frame"].dump() + (finding["fails"] ? "!" : ""));
  EXPECT_THAT(found, testing::ElementsAre("time-order18!", "gap4", "gap8"));
}

INSTANTIATE_TEST_SUITE_P(Formats, FramesOfEachFormat, testing::Values("h264", "h265", "jpeg", "av1"));

// Catches parts that are not put together, and a row that names another part.
TEST_F(FramesSources, Parts) {
  record({"--meta", "--output=part%02d", "--split_nframes=7"});
  std::string rows = expected_rows({.sidecar = true, .parts = true});
  std::istringstream lines(rows);
  std::string expected;
  std::getline(lines, expected);
  expected += '\n';
  std::size_t number = 0;
  std::size_t part = 0;
  for (std::string line; std::getline(lines, line); ++number) {
    // A key frame goes on in the part that is open.
    if (number % 7 == 0) part = number;
    expected += line + "part" + (part < 10 ? "0" : "") + std::to_string(part) + '\n';
  }
  EXPECT_EQ(list({"part%02d"}), expected);
}

namespace {

/// Frames that were dropped while the run went on: the camera may drop more behind the last one that the client took.
std::size_t drops_before_last(const TruthLog &truth) {
  const std::uint32_t last = truth.frames().back().sequence;
  const std::vector<Drop> &drops = truth.drops();
  return static_cast<std::size_t>(
      std::count_if(drops.begin(), drops.end(), [last](const Drop &drop) { return drop.sequence < last; }));
}

}  // namespace

// Catches a figure that is not what the camera's account gives by its definition.
TEST_F(FramesSources, Figures) {
  record({"--meta", "--output=cap"});
  const json figures = stats({"cap", "--log", "run.txt"});
  std::vector<std::int64_t> deltas;
  std::vector<std::int64_t> latencies;
  std::vector<std::int64_t> sizes;
  std::vector<std::int64_t> key_sizes;
  std::vector<std::int64_t> other_sizes;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto time = static_cast<std::int64_t>(frames[i].timestamp);
    if (i > 0) deltas.push_back(time - static_cast<std::int64_t>(frames[i - 1].timestamp));
    latencies.push_back(monotonic(i) - time);
    sizes.push_back(static_cast<std::int64_t>(frames[i].size));
    (frames[i].key ? key_sizes : other_sizes).push_back(sizes.back());
  }
  std::int64_t bytes = 0;
  for (const std::int64_t size : sizes)
    bytes += size;
  const auto duration = static_cast<std::int64_t>(frames.back().timestamp - frames.front().timestamp);
  EXPECT_EQ(figures["codec"], "h264");
  EXPECT_EQ(figures["width"], 320);
  EXPECT_EQ(figures["height"], 240);
  EXPECT_EQ(figures["frames"], kFrames);
  EXPECT_EQ(figures["keys"], key_sizes.size());
  EXPECT_EQ(figures["bytes"], bytes);
  EXPECT_EQ(figures["duration_us"], duration);
  EXPECT_DOUBLE_EQ(figures["fps"], 29e6 / static_cast<double>(duration));
  EXPECT_DOUBLE_EQ(figures["bitrate_bps"],
                   static_cast<double>(bytes - sizes.back()) * 8e6 / static_cast<double>(duration));
  EXPECT_EQ(figures["nominal_us"], 40'000);
  EXPECT_EQ(figures["missing"], drops_before_last(run.truth()));
  EXPECT_EQ(without_means(figures["delta_us"]), distribution(deltas));
  EXPECT_EQ(without_means(figures["latency_us"]), distribution(latencies));
  EXPECT_EQ(without_means(figures["size"]), distribution(sizes));
  EXPECT_EQ(without_means(figures["size_key"]), distribution(key_sizes));
  EXPECT_EQ(without_means(figures["size_other"]), distribution(other_sizes));
  EXPECT_FALSE(figures.contains("delta_cts_us"));
  EXPECT_EQ(figures["gaps"], json::parse(R"([{"after":4,"delta_us":120000,"missing":2},
                                             {"after":8,"delta_us":240000,"missing":0}])"));
  EXPECT_EQ(figures["backwards"], json::array({18}));
  EXPECT_EQ(figures["repeated"], json::array());
  // Without sequence numbers a jump of the clock looks like frames that are missing.
  EXPECT_EQ(stats({"cap"})["missing"], 7);
}

// Catches distances at the client that are not the clock's, and a shape that is not read from standard input.
TEST_F(FramesSources, StandardInput) {
  record({"--stats"});
  const std::string command = "'" + build_under_test().frames.string() + "' stats --json - < run.txt";
  if (client_is_emulated()) GTEST_SKIP() << "the shell would run the program without its emulator";
  const RunResult result = run_tool({"sh", "-c", command}, run.folder());
  EXPECT_EQ(result.status, 0) << result.err;
  const json figures = json::parse(result.out);
  EXPECT_EQ(figures["frames"], kFrames);
  EXPECT_EQ(figures["delta_cts_us"]["min"], 50'007);
  EXPECT_EQ(figures["delta_cts_us"]["max"], 50'007);
  EXPECT_EQ(figures["delta_cts_us"]["stddev"], 0.0);
  EXPECT_FALSE(figures.contains("keys"));
}
