// Chooses, fills and prints the per-frame line.
#include "console/report_line.h"

#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "common/owned.h"
#include "common/report_stream.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"

namespace {

/// Set by the first default line that is printed and kept from then on.
guint32 type_width = 0;

/// The line that is being put together. A longer one than this goes to the stream in pieces, so no line allocates memory.
std::array<char, 256> line;
std::size_t line_length = 0;

/// Whether the service marked the frame as empty. Only a value of exactly one byte counts.
bool marked_empty(const zel_map *extra_info) {
  const VariantPtr value(zel_map_get_variant(extra_info, "empty", nullptr));
  if (value == nullptr || g_variant_get_size(value.get()) != 1) return false;
  const void *data = g_variant_get_data(value.get());
  return data != nullptr && *static_cast<const guint8 *>(data) == 1;
}

/// The column whose meaning the setting "timestamp.type" decides.
struct TimestampColumn {
  const char *label;
  std::uintmax_t value;
};

TimestampColumn timestamp_column(zel_frame *frame, gint64 latency) {
  switch (timestamp_type) {
    case 0:
      return {.label = "latency", .value = static_cast<guint64>(latency)};
    case 1:
      return {.label = "utc", .value = zel_frame_get_utc_timestamp(frame)};
    default:
      return {.label = "custom", .value = zel_frame_get_custom_timestamp(frame)};
  }
}

/// A number in a field of its own, right-aligned.
template <std::integral Number>
struct Right {
  Number number;
  std::size_t width;
};

template <std::integral Number>
Right(Number, std::size_t) -> Right<Number>;

/// A text in a field of its own, left-aligned. The field is counted in bytes.
struct Left {
  std::string_view text;
  std::size_t width;
};

/// A number in eight hexadecimal digits.
struct Hexadecimal {
  guint32 number;
};

void flush_line() {
  (void)std::fwrite(line.data(), 1, line_length, report_stream());
  line_length = 0;
}

void add(std::string_view text) {
  for (; text.size() > line.size() - line_length; flush_line()) {
    const std::size_t room = line.size() - line_length;
    std::memcpy(line.data() + line_length, text.data(), room);
    line_length += room;
    text.remove_prefix(room);
  }
  std::memcpy(line.data() + line_length, text.data(), text.size());
  line_length += text.size();
}

void fill(std::size_t length, std::size_t width, char filler) {
  for (; length < width; ++length)
    add(std::string_view(&filler, 1));
}

void add(const Left &field) {
  add(field.text);
  fill(field.text.size(), field.width, ' ');
}

template <std::integral Number>
void add(const Right<Number> &field) {
  std::array<char, 20> digits{};  // of any 64-bit number, sign included
  const auto *end = std::to_chars(digits.begin(), digits.end(), field.number).ptr;
  const auto length = static_cast<std::size_t>(end - digits.begin());
  fill(length, field.width, ' ');
  add(std::string_view(digits.data(), length));
}

template <std::integral Number>
void add(Number number) {
  add(Right{number, 0});
}

void add(Hexadecimal field) {
  std::array<char, 8> digits{};
  const auto *end = std::to_chars(digits.begin(), digits.end(), field.number, 16).ptr;
  const auto length = static_cast<std::size_t>(end - digits.begin());
  fill(length, digits.size(), '0');
  add(std::string_view(digits.data(), length));
}

/// Prints the pieces as one line. By hand, since every frame has a line: printf takes four times as long.
template <typename... Pieces>
void print_line(const Pieces &...pieces) {
  (add(pieces), ...);
  add("\n");
  flush_line();
}

// clang-format off
void print_debug_line(zel_frame *frame, const FrameTiming &timing) {
  const std::size_t size = zel_frame_get_size(frame);
  const std::size_t capacity = zel_buffer_get_capacity(frame);
  print_line("zel-client: frame = ", Right{zel_frame_get_sequence_nbr(frame), 4},
             ", id = 0x", Hexadecimal{zel_buffer_get_id(frame)},
             ", Δcts = ", Right{timing.delta_cts, 7},
             ", Δpts = ", Right{static_cast<gint32>(timing.delta_pts), 7},
             ", size = ", size, "/", capacity);
}

void print_stats_line(zel_frame *frame, const FrameTiming &timing) {
  const auto [label, value] = timestamp_column(frame, timing.latency);
  const std::size_t size = zel_frame_get_size(frame);
  const std::size_t capacity = zel_buffer_get_capacity(frame);
  print_line("zel-client: frame = ", Right{zel_frame_get_sequence_nbr(frame), 4},
             ", Δcts = ", Right{timing.delta_cts, 7},
             ", Δpts = ", Right{static_cast<gint32>(timing.delta_pts), 7},
             ", ", label, " = ", Right{value, 7}, " µs",
             ", size = ", size, "/", capacity);
}

void print_default_line(zel_frame *frame, const FrameTiming &timing, guint32 stream_format) {
  const char *type = frame_type_text(frame);
  if (type_width == 0) type_width = type_column_width(stream_format, type);
  const auto [label, value] = timestamp_column(frame, timing.latency);
  const std::size_t size = zel_frame_get_size(frame);
  print_line("zel-client: frame = ", Right{zel_frame_get_sequence_nbr(frame), 4},
             ", type = ", Left{type, type_width},
             ", Δpts = ", Right{static_cast<gint32>(timing.delta_pts), 7},
             ", ", label, " = ", Right{value, 7}, " µs",
             ", size = ", size);
}
// clang-format on

}  // namespace

guint32 type_column_width(guint32 stream_format, const char *first_text) {
  switch (stream_format) {
    case 0:  // H.264
    case 1:  // H.265
      return 8;
    case 10:  // AV1
      return 9;
    default:
      return static_cast<guint32>(std::strlen(first_text));
  }
}

const char *frame_type_text(zel_frame *frame) {
  const zel_map *extra_info = zel_frame_get_extra_info(frame);  // the frame's, not released
  if (zel_frame_shown(frame) == FALSE) return "!show";
  if (zel_frame_is_key(frame) == FALSE && marked_empty(extra_info)) return "empty";
  const EnumClassPtr types = enum_class(zel_frame_type_get_type());
  const GEnumValue *type = g_enum_get_value(types.get(), static_cast<gint>(zel_frame_get_frame_type(frame)));
  return type != nullptr ? type->value_nick : "n/a";  // the nick outlives the reference on its class
}

void report_frame(zel_frame *frame, const FrameTiming &timing, guint32 stream_format) {
  if (client_options.zel_debug != FALSE) {
    print_debug_line(frame, timing);
  } else if (client_options.stats != FALSE) {
    print_stats_line(frame, timing);
  } else {
    print_default_line(frame, timing, stream_format);
  }
  if (client_options.extra_info != FALSE) zel_map_dump(zel_frame_get_extra_info(frame));
}
