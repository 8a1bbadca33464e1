// The frame lines, printed and read back.
#include "formats/report_line.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace {

using formats::ReportColumn;
using formats::ReportLine;
using formats::ReportParse;
using formats::ReportShape;

/// The text that printf makes, without its newline.
[[gnu::format(printf, 1, 2)]] std::string printed(const char *format, ...) {
  std::array<char, 512> text{};
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  EXPECT_GT(length, 0);
  EXPECT_LT(static_cast<std::size_t>(length), text.size());
  std::string line(text.data());
  EXPECT_TRUE(line.ends_with('\n'));
  line.pop_back();
  return line;
}

ReportLine frame_of(const std::string &line) {
  ReportLine result;
  EXPECT_EQ(formats::parse_report_line(line, result), ReportParse::kFrame) << line;
  return result;
}

ReportParse kind_of(const std::string &line) {
  ReportLine result;
  return formats::parse_report_line(line, result);
}

// Catches a shape that is not read as what it is, and fields taken from others.
TEST(ReportLine, Default) {
  const std::string line =
      "zel-client: frame =   12, type = idr     , Δpts =   33333, latency =    1234 µs, size = 5000";
  const ReportLine frame = frame_of(line);
  EXPECT_EQ(frame.shape, ReportShape::kDefault);
  EXPECT_EQ(frame.sequence, 12u);
  EXPECT_EQ(frame.type, "idr");
  EXPECT_EQ(frame.delta_pts, 33333);
  EXPECT_EQ(frame.column, ReportColumn::kLatency);
  EXPECT_EQ(frame.value, 1234u);
  EXPECT_EQ(frame.size, 5000u);
  EXPECT_EQ(frame.delta_cts, 0u);
  EXPECT_EQ(frame.capacity, 0u);
  EXPECT_EQ(frame.buffer_id, 0u);
}

TEST(ReportLine, Statistics) {
  const ReportLine frame = frame_of(
      "zel-client: frame =   12, Δcts =   33334, Δpts =  -33333, utc = 1700000000123456 µs, size = 5000/1048576");
  EXPECT_EQ(frame.shape, ReportShape::kStats);
  EXPECT_EQ(frame.sequence, 12u);
  EXPECT_EQ(frame.delta_cts, 33334u);
  EXPECT_EQ(frame.delta_pts, -33333);
  EXPECT_EQ(frame.column, ReportColumn::kUtc);
  EXPECT_EQ(frame.value, 1700000000123456u);
  EXPECT_EQ(frame.size, 5000u);
  EXPECT_EQ(frame.capacity, 1048576u);
  EXPECT_EQ(frame.type, "");
}

TEST(ReportLine, Debug) {
  const ReportLine frame =
      frame_of("zel-client: frame =   12, id = 0x00beef9a, Δcts =   33334, Δpts =   33333, size = 5000/1048576");
  EXPECT_EQ(frame.shape, ReportShape::kDebug);
  EXPECT_EQ(frame.sequence, 12u);
  EXPECT_EQ(frame.buffer_id, 0x00BEEF9Au);
  EXPECT_EQ(frame.delta_cts, 33334u);
  EXPECT_EQ(frame.delta_pts, 33333);
  EXPECT_EQ(frame.column, ReportColumn::kNone);
  EXPECT_EQ(frame.value, 0u);
  EXPECT_EQ(frame.size, 5000u);
  EXPECT_EQ(frame.capacity, 1048576u);
}

// Catches numbers that are printed and then not read: below, at and beyond their widths, and at their ends.
TEST(ReportLine, EveryNumberThatIsPrintedIsRead) {
  for (const std::uint32_t number :
       {0u, 9u, 999u, 1000u, 9999u, 10000u, 999999u, 1000000u, 10000000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    const auto sign = static_cast<std::int32_t>(number);
    for (const std::uint64_t large : {std::uint64_t{number}, std::uint64_t{number} << 32, ~std::uint64_t{number}}) {
      const auto size = static_cast<std::size_t>(large);
      const ReportLine plain = frame_of(printed(formats::kReportDefaultFormat, number, 8, "p", sign,
                                                formats::kReportCustom, std::uintmax_t{large}, size));
      EXPECT_EQ(plain.sequence, number);
      EXPECT_EQ(plain.delta_pts, sign);
      EXPECT_EQ(plain.column, ReportColumn::kCustom);
      EXPECT_EQ(plain.value, large);
      EXPECT_EQ(plain.size, size);
      const ReportLine stats = frame_of(printed(formats::kReportStatsFormat, number, number, sign,
                                                formats::kReportLatency, std::uintmax_t{large}, size, size));
      EXPECT_EQ(stats.delta_cts, number);
      EXPECT_EQ(stats.delta_pts, sign);
      EXPECT_EQ(stats.value, large);
      EXPECT_EQ(stats.capacity, size);
      const ReportLine debug = frame_of(printed(formats::kReportDebugFormat, number, number, number, sign, size, size));
      EXPECT_EQ(debug.buffer_id, number);
      EXPECT_EQ(debug.delta_pts, sign);
      EXPECT_EQ(debug.size, size);
    }
  }
}

// Catches type texts that are cut, or that keep the column's blanks.
TEST(ReportLine, TypeTexts) {
  for (const char *text : {"i", formats::kReportNotShown, formats::kReportEmpty, formats::kReportUnknownType,
                           "a nick, with = signs", "inter-coded", ", Δ", ""}) {
    for (const int width : {0, 1, 8, 9, 40}) {
      const std::string line = printed(formats::kReportDefaultFormat, 1u, width, text, 0, formats::kReportLatency,
                                       std::uintmax_t{0}, std::size_t{0});
      EXPECT_EQ(frame_of(line).type, text) << line;
    }
  }
}

// Catches other lines of the client taken for frames, or for spoilt ones.
TEST(ReportLine, OtherLines) {
  for (const char *line : {"", "\r", "zel-client: ", "zel-client: frame", "zel-client: frame =", "zel-statistics:",
                           " zel-client: frame =    1, ", "ZEL-CLIENT: frame =    1", "zel-client: frames =    1"}) {
    EXPECT_EQ(kind_of(line), ReportParse::kOther) << line;
  }
}

// Catches a line end of another system that spoils the last number, and more than one of them.
TEST(ReportLine, CarriageReturn) {
  const std::string line = "zel-client: frame =    1, id = 0x00000000, Δcts =       0, Δpts =       0, size = 1/2";
  EXPECT_EQ(frame_of(line + "\r").capacity, 2u);
  EXPECT_EQ(kind_of(line + "\r\r"), ReportParse::kMalformed);
  EXPECT_EQ(kind_of(line + "\n"), ReportParse::kMalformed);
}

// Catches a line that is cut anywhere, of which a number may be left that is not the whole one, and what follows a
// line. Only a last number can be cut to a shorter one.
TEST(ReportLine, CutLines) {
  const std::string lines[] = {
      "zel-client: frame =    1, type = i, Δpts =       0, latency =       0 µs, size = 7",
      "zel-client: frame =    1, Δcts =       0, Δpts =       0, latency =       0 µs, size = 1/7",
      "zel-client: frame =    1, id = 0x00000000, Δcts =       0, Δpts =       0, size = 1/7"};
  for (const std::string &line : lines) {
    EXPECT_EQ(kind_of(line), ReportParse::kFrame) << line;
    for (std::size_t length = formats::kReportPrefix.size(); length < line.size(); ++length)
      EXPECT_EQ(kind_of(line.substr(0, length)), ReportParse::kMalformed) << line.substr(0, length);
    for (const char *more : {" ", ",", "/", "/3x", "x", "-", "."})
      EXPECT_EQ(kind_of(line + more), ReportParse::kMalformed) << line << more;
  }
}

// Catches numbers that printf does not print: signs, zeros before, wrong padding, out of range, none at all.
TEST(ReportLine, NumbersThatAreNotPrinted) {
  const auto stats = [](const std::string &sequence, const std::string &delta_cts, const std::string &delta_pts,
                        const std::string &value, const std::string &size) {
    return kind_of("zel-client: frame = " + sequence + ", Δcts = " + delta_cts + ", Δpts = " + delta_pts +
                   ", latency = " + value + " µs, size = " + size + "/1");
  };
  const std::string zero = "      0";
  ASSERT_EQ(stats("   0", zero, zero, zero, "0"), ReportParse::kFrame);
  for (const char *sequence : {"", "    ", "0", "  0", "     0", "  -1", "  +5", "  01", "0000", "   x", "4294967296",
                               " 4294967295", "99999999999999999999", "0x10", " 1 2"}) {
    EXPECT_EQ(stats(sequence, zero, zero, zero, "0"), ReportParse::kMalformed) << sequence;
  }
  for (const char *delta : {"", "0", "     -1", "     +1", "4294967296", "        1", "0000001", "    1.0"})
    EXPECT_EQ(stats("   0", delta, zero, zero, "0"), ReportParse::kMalformed) << delta;
  for (const char *delta : {"", "-1", "     -0", "     +1", "2147483648", "-2147483649", "     --", "      -", "   - 1",
                            "  -0001", "-99999999999999999999"}) {
    EXPECT_EQ(stats("   0", zero, delta, zero, "0"), ReportParse::kMalformed) << delta;
  }
  for (const char *value : {"", "0", "     -1", "18446744073709551616", "99999999999999999999999"})
    EXPECT_EQ(stats("   0", zero, zero, value, "0"), ReportParse::kMalformed) << value;
  for (const char *size : {"", " 0", "-1", "00", "18446744073709551616"})
    EXPECT_EQ(stats("   0", zero, zero, zero, size), ReportParse::kMalformed) << size;
}

// Catches words of the line that are not looked at.
TEST(ReportLine, OtherWords) {
  for (const char *line : {"zel-client: frame =    1, type = i, Δpts =       0, delay =       0 µs, size = 7",
                           "zel-client: frame =    1, type = i, Δpts =       0, latency =       0 ms, size = 7",
                           "zel-client: frame =    1, type = i, Δpts =       0, latency =       0, size = 7",
                           "zel-client: frame =    1, type = i, Δcts =       0, latency =       0 µs, size = 7",
                           "zel-client: frame =    1, type = i, Δpts =       0, latency =       0 µs, size = 7/8",
                           "zel-client: frame =    1, kind = i, Δpts =       0, latency =       0 µs, size = 7",
                           "zel-client: frame =    1, id = 0x0000000A, Δcts =       0, Δpts =       0, size = 1/7",
                           "zel-client: frame =    1, id = 0x0000000, Δcts =       0, Δpts =       0, size = 1/7",
                           "zel-client: frame =    1, id = 0x000000000, Δcts =       0, Δpts =       0, size = 1/7",
                           "zel-client: frame =    1, id = 00000000, Δcts =       0, Δpts =       0, size = 1/7"}) {
    EXPECT_EQ(kind_of(line), ReportParse::kMalformed) << line;
  }
}

}  // namespace
