// The per-frame line: type texts, the type column's width, and the three shapes.
#include "console/report_line.h"

#include <gtest/gtest.h>

#include "captured_output.h"
#include "fake_zel.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"

namespace {

fake::FillMap holding(GVariant *(*value)()) {
  return [value](zel_map *map) { fake::map_set_variant(map, "empty", value()); };
}

std::string type_of(fake::Frame frame) {
  const fake::BufferPtr buffer = fake::make_buffer(std::move(frame));
  return frame_type_text(zel_buffer_get_frame(buffer.get()));
}

GVariant *true_byte() {
  return g_variant_new_boolean(TRUE);
}
GVariant *false_byte() {
  return g_variant_new_boolean(FALSE);
}
GVariant *two_bytes() {
  return g_variant_new_uint16(1);
}
GVariant *four_bytes() {
  return g_variant_new_uint32(1);
}
GVariant *byte_of_two() {
  return g_variant_new_byte(2);
}
GVariant *byte_of_one() {
  return g_variant_new_byte(1);
}
GVariant *no_bytes() {
  return g_variant_new_tuple(nullptr, 0);
}

class ReportLineTest : public testing::Test {
 protected:
  void SetUp() override {
    fake::reset();
    client_options = ClientOptions();
    timestamp_type = 0;
  }
  void TearDown() override { SetUp(); }

  std::string line(fake::Frame frame, const FrameTiming &timing, guint32 stream_format = 0) {
    const fake::BufferPtr buffer = fake::make_buffer(std::move(frame));
    CapturedOutput output(stdout);
    report_frame(zel_buffer_get_frame(buffer.get()), timing, stream_format);
    return output.take();
  }
};

using FrameTypeTextTest = ReportLineTest;

// Catches a type that is looked up before the frame is known to be shown: not shown wins over key and empty.
TEST_F(FrameTypeTextTest, HiddenFrames) {
  EXPECT_EQ(type_of({.shown = false}), "!show");
  EXPECT_EQ(type_of({.key = true, .shown = false}), "!show");
  EXPECT_EQ(type_of({.shown = false, .extra_info = holding(true_byte)}), "!show");
}

// Catches "empty" taken from values of another size or content, or given to key frames.
TEST_F(FrameTypeTextTest, EmptyFrames) {
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(true_byte)}), "empty");
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(byte_of_one)}), "empty");
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(false_byte)}), "p");
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(byte_of_two)}), "p");
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(two_bytes)}), "p");
  EXPECT_EQ(type_of({.type = fake::kTypeP, .extra_info = holding(four_bytes)}), "p");
  EXPECT_EQ(type_of({.type = fake::kTypeIdr, .key = true, .extra_info = holding(true_byte)}), "idr");
}

// Catches a read of a value that has no byte: a tuple of nothing is one byte long, of value 0.
TEST_F(FrameTypeTextTest, EmptyHoldingAnEmptyTuple) {
  EXPECT_EQ(type_of({.type = fake::kTypeB, .extra_info = holding(no_bytes)}), "b");
}

// Catches a wrong nick, and a number without a name that crashes.
TEST_F(FrameTypeTextTest, NicksAndUnknownTypes) {
  EXPECT_EQ(type_of({.type = fake::kTypeI}), "i");
  EXPECT_EQ(type_of({.type = fake::kTypeAv1Key, .key = true}), "av1-key");
  EXPECT_EQ(type_of({.type = 4711}), "n/a");
  EXPECT_EQ(type_of({.type = 0xFFFFFFFF}), "n/a");
}

// Catches a value of the extra information that is never released (under the leak sanitizer), or once too often.
TEST_F(FrameTypeTextTest, ReleasesTheValue) {
  GVariant *value = g_variant_ref_sink(g_variant_new_boolean(TRUE));
  const fake::BufferPtr buffer =
      fake::make_buffer({.extra_info = [value](zel_map *map) { fake::map_set_variant(map, "empty", value); }});
  zel_frame *frame = zel_buffer_get_frame(buffer.get());
  for (int i = 0; i < 3; ++i)
    EXPECT_STREQ(frame_type_text(frame), "empty");
  EXPECT_TRUE(g_variant_get_boolean(value));
  g_variant_unref(value);
}

// Catches a width that depends on the text where it must not, or that does not where it must.
TEST(TypeColumnWidthTest, ByFormat) {
  EXPECT_EQ(type_column_width(0, "i"), 8U);
  EXPECT_EQ(type_column_width(1, "a-very-long-nick"), 8U);
  EXPECT_EQ(type_column_width(10, "i"), 9U);
  EXPECT_EQ(type_column_width(2, "!show"), 5U);
  EXPECT_EQ(type_column_width(2, "i"), 1U);
  EXPECT_EQ(type_column_width(11, "av1-key"), 7U);
  EXPECT_EQ(type_column_width(0xFFFFFFFF, "n/a"), 3U);
  EXPECT_EQ(type_column_width(2, ""), 0U);
}

const FrameTiming kTiming{.delta_cts = 33334, .delta_pts = 33333, .latency = 1234, .cts = 0, .pts = 0};

// Catches any change of the debug line; it wins over "stats" and shows no timestamp.
TEST_F(ReportLineTest, DebugLine) {
  client_options.zel_debug = TRUE;
  client_options.stats = TRUE;
  timestamp_type = 1;
  const fake::Frame frame{.size = 5000, .sequence = 12, .id = 0xAB, .capacity = 1048576};
  EXPECT_EQ(line(frame, kTiming),
            "zel-client: frame =   12, id = 0x000000ab, Δcts =   33334, Δpts =   33333, size = 5000/1048576\n");
  FrameTiming backwards = kTiming;
  backwards.delta_pts = 0x80000000;
  backwards.delta_cts = 0xFFFFFFFF;
  EXPECT_EQ(line({.size = 0, .sequence = 0xFFFFFFFF, .id = 0xFFFFFFFF, .capacity = 0}, backwards),
            "zel-client: frame = 4294967295, id = 0xffffffff, Δcts = 4294967295, Δpts = -2147483648, size = 0/0\n");
}

// Catches any change of the line that "stats" asks for, in its three timestamp columns.
TEST_F(ReportLineTest, StatsLine) {
  client_options.stats = TRUE;
  const fake::Frame frame{
      .size = 5000, .utc_timestamp = 1700000000123456, .custom_timestamp = 42, .sequence = 12, .capacity = 1048576};
  EXPECT_EQ(line(frame, kTiming),
            "zel-client: frame =   12, Δcts =   33334, Δpts =   33333, latency =    1234 µs, size = 5000/1048576\n");
  timestamp_type = 1;
  EXPECT_EQ(line(frame, kTiming),
            "zel-client: frame =   12, Δcts =   33334, Δpts =   33333, utc = 1700000000123456 µs, size = "
            "5000/1048576\n");
  timestamp_type = 2;
  EXPECT_EQ(line(frame, kTiming),
            "zel-client: frame =   12, Δcts =   33334, Δpts =   33333, custom =      42 µs, size = 5000/1048576\n");
  timestamp_type = 0xFFFFFFFF;
  EXPECT_EQ(line(frame, kTiming),
            "zel-client: frame =   12, Δcts =   33334, Δpts =   33333, custom =      42 µs, size = 5000/1048576\n");
}

// Catches values printed with the wrong sign or width: a negative latency shows as the unsigned number it is stored as.
TEST_F(ReportLineTest, ExtremeValues) {
  client_options.stats = TRUE;
  FrameTiming timing = kTiming;
  timing.latency = -1;
  timing.delta_pts = 0xFFFFFFFF;
  EXPECT_EQ(
      line({.size = 1, .capacity = 2}, timing),
      "zel-client: frame =    0, Δcts =   33334, Δpts =      -1, latency = 18446744073709551615 µs, size = 1/2\n");
  timing.latency = 0x100000005;
  timing.delta_pts = 0x7FFFFFFF;
  EXPECT_EQ(line({.size = 1, .capacity = 2}, timing),
            "zel-client: frame =    0, Δcts =   33334, Δpts = 2147483647, latency = 4294967301 µs, size = 1/2\n");
}

// Catches any change of the default line, a width that is worked out again, and texts cut to it or to the room of a
// line. The first default line of the process fixes the width, so all of it is one test, and the lines before it must
// not fix it.
TEST_F(ReportLineTest, DefaultLineKeepsItsFirstWidth) {
  client_options.zel_debug = TRUE;
  line({.size = 1, .type = fake::kTypeAv1Key}, kTiming, 2);
  client_options.zel_debug = FALSE;
  client_options.stats = TRUE;
  line({.size = 1, .type = fake::kTypeAv1Key}, kTiming, 2);
  client_options.stats = FALSE;

  EXPECT_EQ(line({.size = 77, .shown = false, .sequence = 3}, kTiming, 2),
            "zel-client: frame =    3, type = !show, Δpts =   33333, latency =    1234 µs, size = 77\n");
  EXPECT_EQ(line({.size = 77, .type = fake::kTypeI, .sequence = 10000}, kTiming, 2),
            "zel-client: frame = 10000, type = i    , Δpts =   33333, latency =    1234 µs, size = 77\n");
  EXPECT_EQ(line({.size = 77, .type = fake::kTypeAv1Key, .utc_timestamp = 9, .sequence = 5}, kTiming, 0),
            "zel-client: frame =    5, type = av1-key, Δpts =   33333, latency =    1234 µs, size = 77\n");
  EXPECT_EQ(line({.size = 77, .type = fake::kTypeLongNick, .sequence = 6}, kTiming, 0),
            "zel-client: frame =    6, type = " + std::string(300, 'x') +
                ", Δpts =   33333, latency =    1234 µs, size = 77\n");
  timestamp_type = 1;
  EXPECT_EQ(line({.size = 77, .type = fake::kTypeI, .utc_timestamp = 9, .sequence = 5}, kTiming, 0),
            "zel-client: frame =    5, type = i    , Δpts =   33333, utc =       9 µs, size = 77\n");
}

// Catches extra information that is printed without being asked for, or only with one of the shapes.
TEST_F(ReportLineTest, ExtraInformation) {
  client_options.zel_debug = TRUE;
  line({.size = 1}, kTiming);
  EXPECT_TRUE(fake::calls("zel_map_dump").empty());
  client_options.extra_info = TRUE;
  line({.size = 1}, kTiming);
  EXPECT_EQ(fake::calls("zel_map_dump").size(), 1U);
  EXPECT_TRUE(fake::calls("zel_").back().starts_with("zel_map_dump"));
  client_options.zel_debug = FALSE;
  client_options.stats = TRUE;
  line({.size = 1}, kTiming);
  EXPECT_EQ(fake::calls("zel_map_dump").size(), 2U);
  client_options.stats = FALSE;
  line({.size = 1}, kTiming);
  EXPECT_EQ(fake::calls("zel_map_dump").size(), 3U);
}

}  // namespace
