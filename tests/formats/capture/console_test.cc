// Console texts as captures, and joined to others.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "captures.h"
#include "formats/capture/console_lines.h"

namespace {

constexpr char kLatency[] =
    "zel-client: frame =    0, type = idr     , Δpts =       0, latency =    1234 µs, size = 50\n"
    "zel-client: frame =    1, type = p       , Δpts =   40000, latency = 18446744073709551609 µs, size = 20\n"
    "zel-client: frame =    4, type = !show   , Δpts =   -5000, latency = 5000000000 µs, size = 30\n";

class CaptureConsole : public testing::Test {
 protected:
  formats::Capture open(const std::string &text) const {
    write_bytes(folder / "run.txt", text);
    return formats::open_capture({.capture = folder / "run.txt"});
  }
  std::string failure(const std::string &text) const {
    write_bytes(folder / "run.txt", text);
    return unusable_text({.capture = folder / "run.txt"}).substr((folder / "").size());
  }
  /// Joins the text to a raw stream of three frames with a sidecar.
  formats::CaptureOptions joined(const std::string &text) const {
    write_bytes(folder / "a.h264", h264_frame(true, 50) + h264_frame(false, 20) + h264_frame(false, 30));
    write_bytes(folder / "a.h264.meta", sidecar_bytes({{.frame_type = 1, .time_us = 1'000'000, .size = 50},
                                                       {.frame_type = 2, .time_us = 1'040'000, .size = 20},
                                                       {.frame_type = 2, .time_us = 1'035'000, .size = 30}}));
    write_bytes(folder / "run.txt", text);
    return {.capture = folder / "a.h264", .log = folder / "run.txt"};
  }
  std::string join_failure(const std::string &text) const {
    std::string message = unusable_text(joined(text));
    for (const std::string place = folder / ""; message.find(place) != std::string::npos;)
      message.erase(message.find(place), place.size());
    return message;
  }

  TempFolder folder;
};

}  // namespace

// Catches a latency that is not signed or has 32 bits, a time that is not summed up, and a type name that is lost.
TEST_F(CaptureConsole, DefaultLines) {
  const formats::Capture capture = open(kLatency);
  const formats::FrameTable &frames = capture.frames;
  ASSERT_EQ(frames.count, 3u);
  EXPECT_EQ(frames.sequence[2], 4u);
  EXPECT_EQ(frames.type_names[frames.type_name[0]], "idr");
  EXPECT_EQ(frames.type_names[frames.type_name[2]], "!show");
  EXPECT_EQ(frames.time_us[1], 40'000);
  EXPECT_EQ(frames.time_us[2], 35'000);
  EXPECT_EQ(frames.latency_us[0], 1234);
  EXPECT_EQ(frames.latency_us[1], -7);
  EXPECT_EQ(frames.latency_us[2], 5'000'000'000);
  EXPECT_EQ(frames.size[1], 20u);
  EXPECT_FALSE(frames.type.any() || frames.key.any() || frames.offset.any() || frames.delta_cts_us.any());
}

// Catches a shape or a column that is not read, and one in another's place.
TEST_F(CaptureConsole, EveryShapeAndColumn) {
  for (const std::string label : {"latency", "utc", "custom"}) {
    const std::string value = label + " = 1700000000000000 µs, size = 50";
    const std::string line = "zel-client: frame =   10, type = p       , Δpts =       0, " + value + "\n";
    const std::string stats = "zel-client: frame =   11, Δcts =     123, Δpts =   33333, " + value + "/900\n";
    const formats::Capture capture = open(line + stats);
    const formats::FrameTable &frames = capture.frames;
    EXPECT_EQ(frames.latency_us.known(0), label == "latency");
    EXPECT_EQ(frames.utc_us.known(1), label == "utc");
    EXPECT_EQ(frames.custom.known(0), label == "custom");
    if (label == "utc") {
      EXPECT_EQ(frames.utc_us[1], 1'700'000'000'000'000u);
    }
    EXPECT_FALSE(frames.delta_cts_us.known(0));
    EXPECT_EQ(frames.delta_cts_us[1], 123u);
    EXPECT_FALSE(frames.type_name.known(1));
  }
  const formats::Capture debug =
      open("zel-client: frame =    7, id = 0x0000000a, Δcts =       0, Δpts =       0, size = 5/9\n");
  EXPECT_EQ(debug.frames.sequence[0], 7u);
  EXPECT_FALSE(debug.frames.latency_us.any());
}

// Catches other lines taken for frames, carriage returns, and a last line that was not finished.
TEST_F(CaptureConsole, OtherLines) {
  std::string text = "Starting Stream[1]:\n\n" + std::string(kLatency) + "zel-statistics:\nx";
  EXPECT_EQ(open(text).frames.count, 3u);
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2))
    text.insert(at, "\r");
  EXPECT_EQ(open(text).frames.count, 3u);
  EXPECT_EQ(open(std::string(kLatency) + "zel-client: frame =    5, type = p").frames.count, 3u);
}

// Catches a line that is skipped although it begins like a frame's.
TEST_F(CaptureConsole, MalformedLines) {
  EXPECT_EQ(failure("one\n" + std::string(kLatency) + "zel-client: frame =    5, type = p\n"),
            "run.txt: line 5: begins like a frame's line and is none");
  EXPECT_EQ(failure("zel-client: frame = \n"), "run.txt: line 1: begins like a frame's line and is none");
  EXPECT_EQ(failure("zel-client: frame =    0, id = 0x00000001, Δcts =       0, Δpts =       0, size = 4294967296/5\n"),
            "run.txt: line 1: a frame of 4294967296 bytes");
  EXPECT_EQ(failure(std::string(kLatency) + "zel-client: frame = " + std::string(100'000, 'x') + "\n"),
            "run.txt: line 4: begins like a frame's line and is none");
}

// Catches a text that is given up before 8 MiB without a frame, or read on behind them.
TEST_F(CaptureConsole, EightMebibytesWithoutAFrame) {
  constexpr std::size_t kMost = std::size_t{8} * 1024 * 1024;
  const std::string line = std::string(kLatency).substr(0, std::string(kLatency).find('\n') + 1);
  const std::string lines_of_64 = std::string(63, 'x') + "\n";
  std::string other;
  while (other.size() + lines_of_64.size() <= kMost)
    other += lines_of_64;
  EXPECT_EQ(open(line + other + line).frames.count, 2u);
  EXPECT_EQ(open(line + other + "x\n" + line).frames.count, 1u);
  EXPECT_EQ(open(line + std::string(kMost - 1, 'x') + "\n" + line).frames.count, 2u);
  EXPECT_EQ(open(line + std::string(kMost * 2, 'x') + "\n" + line).frames.count, 1u);
}

// Catches a text that is found only at its first line, and one behind the first MiB.
TEST_F(CaptureConsole, IsKnownByALineInTheFirstMebibyte) {
  constexpr std::size_t kFirst = std::size_t{1024} * 1024;
  const std::string other(kFirst - std::string(kLatency).size() - 1, 'x');
  EXPECT_EQ(open(other + "\n" + kLatency).frames.count, 3u);
  EXPECT_EQ(failure(other + std::string(1000, 'x') + "\n" + kLatency).find("run.txt: is nothing that can be read"), 0u);
  EXPECT_EQ(failure("a " + std::string(kLatency).substr(0, 80)).find("run.txt: is nothing that can be read"), 0u);
}

// Catches columns that are not taken, or that take the place of better ones.
TEST_F(CaptureConsole, Joined) {
  const formats::Capture capture = formats::open_capture(joined(kLatency));
  EXPECT_EQ(capture.frames.sequence[2], 4u);
  EXPECT_EQ(capture.frames.latency_us[1], -7);
  EXPECT_EQ(capture.frames.time_us[0], 1'000'000);
  EXPECT_EQ(capture.frames.type[0], 1u);
  EXPECT_EQ(capture.frames.type_names[capture.frames.type_name[1]], "p");
}

// Catches a text of another run that is joined.
TEST_F(CaptureConsole, JoinedToAnotherRun) {
  const std::string text = kLatency;
  EXPECT_EQ(join_failure(text + text), "run.txt: line 4: one frame more than the 3 of a.h264");
  EXPECT_EQ(join_failure("x\n" + text.substr(0, text.rfind("zel-client"))),
            "run.txt: line 3: the last of 2 frames, a.h264 has 3");
  std::string other = text;
  other.replace(other.rfind("30"), 2, "31");
  EXPECT_EQ(join_failure(other), "run.txt: line 3: has 31 bytes, frame 2 of a.h264 has 30");
  EXPECT_EQ(join_failure("nothing\n"), "run.txt: holds no frame's line");
  formats::CaptureOptions itself = joined(text);
  itself.capture = itself.log;
  EXPECT_NE(unusable_text(itself).find("is a console text itself"), std::string::npos);
}

// Catches distances that are thrown away although nothing else tells the times.
TEST_F(CaptureConsole, GivesTimesToACaptureWithout) {
  formats::CaptureOptions options = joined(kLatency);
  std::filesystem::remove(folder / "a.h264.meta");
  write_bytes(folder / "a.gray", std::string(12, 'g'));
  options.capture = folder / "a.gray";
  options.format = formats::Codec::kGray;
  options.width = 2;
  options.height = 2;
  std::string text = kLatency;
  for (const char *size : {"size = 50", "size = 20", "size = 30"})
    text.replace(text.find(size), 9, "size = 4");
  write_bytes(folder / "run.txt", text);
  EXPECT_EQ(formats::open_capture(options).frames.time_us[1], 40'000);
}

// Catches a pipe without an end that takes memory until there is none.
TEST(CaptureTableFiller, StopsAtTheMostFrames) {
  formats::FrameTable table;
  table.count = formats::kMostFrames;
  formats::TableFiller filler(table);
  try {
    filler.take({});
    ADD_FAILURE() << "one frame more is taken";
  } catch (const formats::Unusable &error) {
    EXPECT_STREQ(error.what(), "more than 33554432 frames");
  }
}

// Catches options that are ignored.
TEST_F(CaptureConsole, TakesNoSidecar) {
  formats::CaptureOptions options = joined(kLatency);
  options.meta = folder / "a.h264.meta";
  options.capture = options.log;
  options.log = "";
  EXPECT_NE(unusable_text(options).find("run.txt: a console text takes no sidecar (--meta)"), std::string::npos);
}
