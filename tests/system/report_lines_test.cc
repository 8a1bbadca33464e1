// The line that the client prints for each frame, byte for byte. The frames' times come from the camera's script, the
// client's from its scripted clocks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "console_text.h"
#include "harness/client_run.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

using Arguments = std::vector<std::string>;

/// Three scripted frames at 5 s, 40 ms apart on the service's clock. The client handles them 1.5 ms, 2 ms and 3 ms
/// later.
class ReportLines : public testing::Test {
 protected:
  void SetUp() override {
    run.camera().scripted().set("utc_start_us", "1700000000000000");
    run.camera().frames({.from = 0, .size = 24000, .type = "idr", .timestamp_us = 5000000, .capacity = 50000});
    run.camera().frames({.from = 1, .size = 4000, .type = "p", .timestamp_us = 5040000, .capacity = 50000});
    run.camera().frames({.from = 2, .size = 123456, .type = "b", .timestamp_us = 5080000, .capacity = 123456});
    run.clock({{5001500, 1700000000001000}, {5042000, 1700000000041000}, {5083000, 1700000000081000}});
  }

  /// Prints what comes after the start of a run of three frames.
  std::string lines(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--frames=3", "--framerate=25"});
    const RunResult result = run.run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    out = result.out;
    return after_start(out);
  }

  ClientRun run;
  std::string out;
};

}  // namespace

// Catches any change of the default line; the first frame's distance is 0.
TEST_F(ReportLines, Default) {
  EXPECT_EQ(lines({}),
            "zel-client: frame =    0, type = idr     , Δpts =       0, latency =    1500 µs, size = 24000\n"
            "zel-client: frame =    1, type = p       , Δpts =   40000, latency =    2000 µs, size = 4000\n"
            "zel-client: frame =    2, type = b       , Δpts =   40000, latency =    3000 µs, size = 123456\n");
}

// Catches any change of the line of a run with statistics; the client's distances are its own.
TEST_F(ReportLines, Statistics) {
  const std::string text = lines({"--stats"});
  EXPECT_EQ(text.substr(0, text.find("\nzel-statistics:\n")),
            "zel-client: frame =    0, Δcts =       0, Δpts =       0, latency =    1500 µs, size = 24000/50000\n"
            "zel-client: frame =    1, Δcts =   40500, Δpts =   40000, latency =    2000 µs, size = 4000/50000\n"
            "zel-client: frame =    2, Δcts =   41000, Δpts =   40000, latency =    3000 µs, size = 123456/123456\n");
}

// Catches any change of the debug line, which wins over the statistics' and has neither type nor timestamp.
TEST_F(ReportLines, DebugWinsOverStatistics) {
  lines({"-D", "-s", "--timestamp.type=utc"});
  std::vector<std::string> expected;
  const std::vector<FrameTruth> frames = run.truth().frames();
  ASSERT_EQ(frames.size(), 3U);
  const std::vector<std::string> ends = {"Δcts =       0, Δpts =       0, size = 24000/50000",
                                         "Δcts =   40500, Δpts =   40000, size = 4000/50000",
                                         "Δcts =   41000, Δpts =   40000, size = 123456/123456"};
  for (std::size_t i = 0; i < frames.size(); ++i) {
    std::ostringstream id;
    id << std::hex << frames[i].buffer;
    expected.push_back("zel-client: frame =    " + std::to_string(i) + ", id = 0x" +
                       std::string(8 - id.str().size(), '0') + id.str() + ", " + ends[i]);
  }
  EXPECT_THAT(frame_lines(out), ElementsAreArray(expected));
  EXPECT_EQ(occurrences(out, "zel-statistics:"), 1U);
}

// Catches a wall-clock column that is a difference, or that is cut to its width.
TEST_F(ReportLines, WallClockColumn) {
  EXPECT_EQ(lines({"--timestamp.type=utc"}),
            "zel-client: frame =    0, type = idr     , Δpts =       0, utc = 1700000000000000 µs, size = 24000\n"
            "zel-client: frame =    1, type = p       , Δpts =   40000, utc = 1700000000040000 µs, size = 4000\n"
            "zel-client: frame =    2, type = b       , Δpts =   40000, utc = 1700000000080000 µs, size = 123456\n");
}

// Catches a custom column that shows anything but the frame's own value.
TEST_F(ReportLines, CustomColumn) {
  run.camera().frames({.from = 0, .custom_us = 77}).frames({.from = 1, .custom_us = 123456789});
  run.camera().frames({.from = 2, .custom_us = 1});
  EXPECT_EQ(lines({"--timestamp.type=sequence"}),
            "zel-client: frame =    0, type = idr     , Δpts =       0, custom =      77 µs, size = 24000\n"
            "zel-client: frame =    1, type = p       , Δpts =   40000, custom = 123456789 µs, size = 4000\n"
            "zel-client: frame =    2, type = b       , Δpts =   40000, custom =       1 µs, size = 123456\n");
}

// Catches type texts in the wrong order of precedence, and a type column that is not 8 wide: not shown before empty
// before the nick; key frames and values of another size are never empty.
TEST_F(ReportLines, TypeTexts) {
  CameraScript &camera = run.camera();
  camera.frames({.from = 0, .count = 0, .size = 10, .key = false, .timestamp_us = 5000000});
  camera.frames({.from = 0, .type = "idr", .key = true, .shown = false});
  camera.frames({.from = 1, .type = "p", .shown = false, .empty = "true"});
  camera.frames({.from = 2, .type = "p", .empty = "true"});
  camera.frames({.from = 3, .type = "p", .empty = "false"});
  camera.frames({.from = 4, .type = "p", .empty = "wide"});
  camera.frames({.from = 5, .type = "idr", .key = true, .empty = "true"});
  camera.frames({.from = 6, .type = "4711"});
  camera.frames({.from = 7, .type = "intraonly"});
  const std::vector<std::string> printed = frame_lines(lines({"--frames=8"}));
  std::vector<std::string> types;
  types.reserve(printed.size());
  for (const std::string &line : printed)
    types.push_back(line.substr(0, line.find(", Δpts")));
  EXPECT_THAT(types,
              ElementsAre("zel-client: frame =    0, type = !show   ", "zel-client: frame =    1, type = !show   ",
                          "zel-client: frame =    2, type = empty   ", "zel-client: frame =    3, type = p       ",
                          "zel-client: frame =    4, type = p       ", "zel-client: frame =    5, type = idr     ",
                          "zel-client: frame =    6, type = n/a     ", "zel-client: frame =    7, type = intraonly"));
}

// Catches a width of the type column that does not follow the stream's format.
TEST_F(ReportLines, TypeWidthOfVideoFormats) {
  run.camera().frames({.from = 0, .count = 0, .size = 10, .type = "i"});
  EXPECT_THAT(lines({"--format=h265"}), testing::StartsWith("zel-client: frame =    0, type = i       , Δpts"));
  ClientRun av1;
  av1.camera().scripted().frames({.from = 0, .count = 0, .size = 10, .type = "key"});
  EXPECT_THAT(after_start(av1.run({"--frames=1", "--format=av1"}).out),
              testing::StartsWith("zel-client: frame =    0, type = key      , Δpts"));
}

// Catches a width that is fixed for other formats, or worked out anew: the first frame's text decides for the run.
TEST_F(ReportLines, TypeWidthOfOtherFormatsFollowsTheFirstFrame) {
  run.camera().frames({.from = 0, .shown = false});
  run.camera().frames({.from = 1, .type = "intraonly"});
  EXPECT_EQ(lines({"--format=jpeg"}),
            "zel-client: frame =    0, type = !show, Δpts =       0, latency =    1500 µs, size = 24000\n"
            "zel-client: frame =    1, type = intraonly, Δpts =   40000, latency =    2000 µs, size = 4000\n"
            "zel-client: frame =    2, type = b    , Δpts =   40000, latency =    3000 µs, size = 123456\n");
}

// Catches a stream without a known format that is taken for H.264.
TEST_F(ReportLines, TypeWidthWithoutAFormat) {
  EXPECT_THAT(lines({}), testing::HasSubstr("type = idr     ,"));
  const std::vector<Call> reads = run.truth().calls_named("zel_map_get_uint32");
  std::uint32_t nth = 0;
  while (nth < reads.size() && reads[nth].args.at("key") != "format")
    ++nth;
  ASSERT_LT(nth, reads.size());
  ClientRun again;
  again.camera().scripted().fault({.call = "zel_map_get_uint32", .nth = nth + 1});
  again.camera().frames({.from = 0, .count = 0, .type = "idr"});
  EXPECT_THAT(after_start(again.run({"--frames=1"}).out),
              testing::StartsWith("zel-client: frame =    0, type = idr, Δpts"));
}

// Catches a step of the service's clock that is shown as unsigned: back by 1 s, by nothing, and on by more than 2^31
// us.
TEST_F(ReportLines, ClockSteps) {
  run.camera().frames({.from = 1, .timestamp_us = 4000000}).frames({.from = 2, .timestamp_us = 4000000});
  EXPECT_EQ(lines({}),
            "zel-client: frame =    0, type = idr     , Δpts =       0, latency =    1500 µs, size = 24000\n"
            "zel-client: frame =    1, type = p       , Δpts = -1000000, latency = 1042000 µs, size = 4000\n"
            "zel-client: frame =    2, type = b       , Δpts =       0, latency = 1083000 µs, size = 123456\n");
}

// Catches a distance of 2^31 us and more that is shown as it is: the column is signed, 32 bits wide.
TEST_F(ReportLines, DistancesOf32Bits) {
  run.camera().frames({.from = 1, .timestamp_us = 5000000 + 0x80000000ULL});
  run.camera().frames({.from = 2, .timestamp_us = 5000000 + 0x280000007ULL});
  run.clock({{5001500, 0}, {0x180000000, 0}, {0x280000000 + 6000000, 0}});
  const std::vector<std::string> printed = frame_lines(lines({"-s"}));
  ASSERT_EQ(printed.size(), 3U);
  EXPECT_EQ(field(printed[1], "Δpts"), "-2147483648");
  EXPECT_EQ(field(printed[2], "Δpts"), "7");
  EXPECT_EQ(field(printed[1], "Δcts"), std::to_string(0x80000000U - 5001500U));
  EXPECT_EQ(field(printed[2], "Δcts"), "6000000");
}

// Catches a latency below 0 that is clamped, and one beyond 32 bits that is cut: the column is unsigned, 64 bits wide.
TEST_F(ReportLines, ExtremeLatencies) {
  run.clock({{4999999, 0}, {5040000 + 0x100000005, 0}, {5080000, 0}});
  const std::vector<std::string> printed = frame_lines(lines({}));
  ASSERT_EQ(printed.size(), 3U);
  EXPECT_EQ(field(printed[0], "latency"), "18446744073709551615");
  EXPECT_EQ(field(printed[1], "latency"), "4294967301");
  EXPECT_EQ(field(printed[2], "latency"), "0");
}

// Catches a gap in the sequence that is closed: a dropped frame shows in the numbers and in the distance.
TEST_F(ReportLines, DroppedFrame) {
  ClientRun dropping;
  dropping.camera().scripted().frames({.from = 2, .count = 2, .drop = true});
  const RunResult result = dropping.run({"--frames=4", "--framerate=25"});
  const std::vector<std::string> printed = frame_lines(result.out);
  ASSERT_EQ(printed.size(), 4U);
  EXPECT_EQ(field(printed[1], "frame"), "1");
  EXPECT_EQ(field(printed[1], "Δpts"), "40000");
  EXPECT_EQ(field(printed[2], "frame"), "4");
  EXPECT_EQ(field(printed[2], "Δpts"), "120000");
  EXPECT_EQ(field(printed[3], "frame"), "5");
}

// Catches "quiet" that lets a line through, or that stops the work behind it.
TEST_F(ReportLines, QuietHidesLines) {
  const RunResult result = run.run({"--frames=3", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(run.truth().count("zel_frame_get_frame_type"), 3U);
}

// Catches extra information that is left out, doubled, out of order, or hidden by "quiet".
TEST_F(ReportLines, ExtraInformation) {
  const std::string with_dumps = lines({"-x"});
  const std::vector<std::string> printed = frame_lines(with_dumps);
  ASSERT_EQ(printed.size(), 3U);
  // Cut the lines out: what is left are the dumps, in the frames' order.
  std::vector<std::string> dumps;
  std::size_t at = 0;
  for (std::size_t i = 0; i < printed.size(); ++i) {
    ASSERT_EQ(with_dumps.find(printed[i]), at);
    at += printed[i].size() + 1;
    const std::size_t next = i + 1 < printed.size() ? with_dumps.find(printed[i + 1]) : with_dumps.size();
    ASSERT_NE(next, std::string::npos);
    dumps.push_back(with_dumps.substr(at, next - at));
    EXPECT_NE(dumps.back(), "");
    at = next;
  }
  ClientRun quiet;
  quiet.camera().scripted().frames({.from = 0, .count = 0});
  EXPECT_EQ(quiet.run({"--frames=3", "-x", "-q"}).out, dumps[0] + dumps[1] + dumps[2]);
}
