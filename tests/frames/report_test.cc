// The page's data and texts: columns come out of the packing as they went in, figures into the tail are those made
// by hand, and nothing that stands in a file becomes a part of the page.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <limits>
#include <string>
#include <vector>

#include "frames/report/markup.h"
#include "frames/report/packed_column.h"
#include "frames/report/page.h"
#include "frames/report/run_data.h"
#include "frames/report/spread.h"

namespace frames {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string decoded(const std::string &text) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  std::uint32_t bits = 0;
  int held = 0;
  for (const char character : text) {
    if (character == '=') break;
    bits = bits << 6U | static_cast<std::uint32_t>(digits.find(character));
    held += 6;
    if (held < 8) continue;
    held -= 8;
    bytes += static_cast<char>(bits >> static_cast<unsigned>(held) & 0xFFU);
  }
  return bytes;
}

std::string inflated(const std::string &text, std::size_t size) {
  const std::string packed = decoded(text);
  std::string bytes(size, '\0');
  uLongf length = size;
  EXPECT_EQ(uncompress(reinterpret_cast<Bytef *>(bytes.data()), &length, reinterpret_cast<const Bytef *>(packed.data()),
                       packed.size()),
            Z_OK);
  EXPECT_EQ(length, size);
  return bytes;
}

/// Undoes what pack_column() does, for all numbers.
std::vector<std::uint64_t> unpacked(const PackedColumn &column, std::size_t count) {
  const std::string bytes = inflated(column.data, count * column.width);
  const std::uint64_t first =
      column.is_signed ? static_cast<std::uint64_t>(std::stoll(column.first)) : std::stoull(column.first);
  std::vector<std::uint64_t> numbers;
  std::uint64_t before = first;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t number = 0;
    for (std::size_t plane = column.width; plane-- > 0;)
      number = number << 8U | static_cast<unsigned char>(bytes[plane * count + i]);
    if (column.is_steps) {
      before += (number & 1U) != 0 ? ~(number >> 1U) : number >> 1U;
      numbers.push_back(before);
    } else {
      numbers.push_back(first + number);
    }
  }
  return numbers;
}

std::vector<std::uint64_t> as_bits(const std::vector<std::int64_t> &numbers) {
  return {numbers.begin(), numbers.end()};
}

void expect_round_trip(const NumberRow &row) {
  EXPECT_EQ(unpacked(pack_column(row, false), row.bits.size()), row.bits);
  EXPECT_EQ(unpacked(pack_column(row, true), row.bits.size()), row.bits);
}

TEST(PackedColumn, KeepsNumbers) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  expect_round_trip({.bits = {5}, .known = {}});
  expect_round_trip({.bits = as_bits({0, 0, 0}), .known = {}});
  expect_round_trip({.bits = as_bits({-3, 7, -1000000, 65536}), .known = {}});
  expect_round_trip({.bits = as_bits({kLeast, kMost, 0, kLeast, -1}), .known = {}});
  expect_round_trip({.bits = {0, ~std::uint64_t{0}, 1}, .known = {}, .is_signed = false});
}

// A column is as wide as its largest step or distance, not as its numbers.
TEST(PackedColumn, TakesAsFewBytesAsItNeeds) {
  const NumberRow times{.bits = as_bits({1000000000000, 1000000033333, 1000000066666}), .known = {}};
  EXPECT_EQ(pack_column(times, true).width, 3U);
  EXPECT_EQ(pack_column({.bits = as_bits({1000, 1255}), .known = {}}, false).width, 1U);
  EXPECT_EQ(pack_column({.bits = as_bits({1000, 1256}), .known = {}}, false).width, 2U);
}

// A double rounds numbers above 2^53.
TEST(PackedColumn, SaysWhichColumnsDoublesDoNotHold) {
  constexpr std::int64_t kLimit = std::int64_t{1} << 53;
  EXPECT_FALSE(pack_column({.bits = as_bits({kLimit - 1, 1 - kLimit}), .known = {}}, true).is_wide);
  EXPECT_TRUE(pack_column({.bits = as_bits({kLimit, 0}), .known = {}}, true).is_wide);
  EXPECT_TRUE(pack_column({.bits = as_bits({-kLimit, 0}), .known = {}}, true).is_wide);
}

TEST(PackedColumn, SaysWhichNumbersAreKnown) {
  const PackedColumn column = pack_column({.bits = as_bits({0, 9, 0, 8}), .known = {false, true, false, true}}, true);
  EXPECT_EQ(unpacked(column, 4), as_bits({9, 9, 9, 8}));
  EXPECT_EQ(inflated(column.known, 4), std::string("\0\1\0\1", 4));
  EXPECT_EQ(pack_column({.bits = {1}, .known = {true}}, false).known, "");
}

TEST(Markup, EscapesAllThatMeansSomething) {
  EXPECT_EQ(escaped("<a href='x' title=\"&\">"), "&lt;a href=&#39;x&#39; title=&quot;&amp;&quot;&gt;");
  EXPECT_EQ(escaped(std::string("a\0b\x1b\xff", 5)),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(escaped("Größe"), "Größe");
  EXPECT_EQ(script_json({{"name", "</script><!--"}}), R"({"name":"\u003c/script>\u003c!--"})");
}

TEST(Markup, WritesBase64) {
  const auto text = [](std::string_view bytes) {
    return base64({reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()});
  };
  EXPECT_EQ(text(""), "");
  EXPECT_EQ(text("f"), "Zg==");
  EXPECT_EQ(text("fo"), "Zm8=");
  EXPECT_EQ(text("foobar"), "Zm9vYmFy");
  EXPECT_EQ(text(bytes_of_hex("fbefff")), "++//");
}

/// 10000 frames whose distances are 1 to 9999 us, in falling order, and whose latencies are -5 each.
FrameTable falling() {
  FrameTable frames;
  frames.count = 10000;
  std::int64_t time = 0;
  for (std::size_t i = 0; i < frames.count; ++i) {
    frames.time_us.set(i, time);
    frames.latency_us.set(i, -5);
    frames.size.set(i, 100);
    time += static_cast<std::int64_t>(9999 - i);
  }
  return frames;
}

// Nearest ranks of 1 to 9999: the smallest value that the share does not exceed.
TEST(Spread, HasThePercentilesOfTheTail) {
  const Values values = sorted_values(falling(), Measured::kDistance);
  ASSERT_EQ(values.size(), 9999U);
  EXPECT_EQ(percentile_of(values, 0), 1);
  EXPECT_EQ(percentile_of(values, 5000), 5000);
  EXPECT_EQ(percentile_of(values, 9990), 9990);
  EXPECT_EQ(percentile_of(values, 9999), 9999);
  EXPECT_EQ(percentile_of(values, 10000), 9999);
}

// The curve shows the one value in ten thousand, and only rises.
TEST(Spread, CurveEndsAtTheLargest) {
  const auto curve = percentile_curve(sorted_values(falling(), Measured::kDistance));
  EXPECT_EQ(curve.front(), (std::pair<double, std::int64_t>(0, 1)));
  EXPECT_EQ(curve[40], (std::pair<double, std::int64_t>(2, 9900)));
  EXPECT_EQ(curve.back().second, 9999);
  for (std::size_t i = 1; i < curve.size(); ++i) {
    EXPECT_GT(curve[i].first, curve[i - 1].first);
    EXPECT_GE(curve[i].second, curve[i - 1].second);
  }
  EXPECT_TRUE(percentile_curve({}).empty());
  EXPECT_EQ(percentile_curve({7}).back().second, 7);
}

// Every value is in a bin, the far ones in the last.
TEST(Spread, HistogramCountsAll) {
  Values values(9999, 100);
  values.push_back(1000000);
  const Histogram histogram = make_histogram({values, {}});
  EXPECT_TRUE(histogram.is_cut);
  std::size_t all = 0;
  for (const std::size_t count : histogram.counts[0])
    all += count;
  EXPECT_EQ(all, 10000U);
  EXPECT_EQ(histogram.counts[0].back(), 1U);
  EXPECT_EQ(histogram.counts[1].size(), histogram.counts[0].size());
}

TEST(Spread, WorstFramesComeInOrder) {
  const auto worst = worst_frames(falling(), Measured::kDistance, 3);
  ASSERT_EQ(worst.size(), 3U);
  EXPECT_EQ(worst[0].frame, 1U);
  EXPECT_EQ(worst[0].value, 9999);
  EXPECT_EQ(worst[2].frame, 3U);
  const auto equal = worst_frames(falling(), Measured::kLatency, 2);
  EXPECT_EQ(equal[0].frame, 0U);
  EXPECT_EQ(equal[1].frame, 1U);
}

ReportedRun run_named(const std::string &name) {
  ReportedRun run;
  run.capture.name = name;
  run.capture.frames = falling();
  run.capture.frames.type_names = {name};
  for (std::size_t i = 0; i < run.capture.frames.count; ++i)
    run.capture.frames.type_name.set(i, 0);
  run.statistics = frames::measure_capture(run.capture);
  run.findings.add({.id = "trailer", .text = name});
  return run;
}

// What other columns say is not written twice: offsets without holes take a byte a frame, all of them 0.
TEST(RunData, LeavesOutWhatFollowsFromOtherColumns) {
  ReportedRun run = run_named("a.h264");
  FrameTable &frames = run.capture.frames;
  for (std::size_t i = 0; i < frames.count; ++i) {
    frames.offset.set(i, 100 * i);
    frames.utc_us.set(i, 1700000000000000 + static_cast<std::uint64_t>(frames.time_us[i]));
  }
  const RunData data = run_data(run.capture, run.statistics, "a");
  for (const auto &column : data.description["columns"]) {
    if (column["name"] == "offset") {
      EXPECT_EQ(column["base"], "bytes");
      EXPECT_EQ(column["width"], 1);
    } else if (column["name"] == "utc_us") {
      EXPECT_EQ(column["base"], "time");
      EXPECT_EQ(column["first"], "1700000000000000");
      EXPECT_EQ(column["width"], 1);
    }
  }
  EXPECT_THAT(data.columns, HasSubstr("id=\"a-utc_us\""));
}

// A file may have any name, and a console text any type.
TEST(Page, TextsOfFilesStayTexts) {
  const std::string hostile = "</title></script><script>alert(1)</script><img src=x onerror='a()'>\"";
  std::vector<ReportedRun> runs(2);
  runs[0] = run_named(hostile);
  runs[1] = run_named(hostile);
  const std::string page = make_page(runs, "zel-frames report '" + hostile + "'");
  EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
  EXPECT_THAT(page, Not(HasSubstr("<img src=x")));
  EXPECT_THAT(page, HasSubstr("&lt;script&gt;alert(1)&lt;/script&gt;"));
  std::size_t scripts = 0;
  for (std::size_t at = page.find("<script>"); at != page.npos; at = page.find("<script>", at + 1))
    ++scripts;
  EXPECT_EQ(scripts, 2U);
}

// No part of the page is left to be filled in, and nothing is loaded.
TEST(Page, IsWhole) {
  const std::vector<ReportedRun> runs(1);
  const std::string page = make_page(runs, "zel-frames report");
  EXPECT_THAT(page, Not(HasSubstr("@title@")));
  EXPECT_THAT(page, Not(HasSubstr(" src=\"http")));
  EXPECT_THAT(page, Not(HasSubstr("sourceMappingURL")));
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  EXPECT_THAT(page, HasSubstr("Permission is hereby granted"));
  EXPECT_TRUE(page.ends_with("</html>\n"));
}

}  // namespace
}  // namespace frames
