// Chooses, fills and prints the per-frame line.
#include "console/report_line.h"

#include <glib/gprintf.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/owned.h"
#include "common/report_stream.h"
#include "formats/report_line.h"
#include "formats/stream_format.h"
#include "settings/client_options.h"
#include "settings/run_settings.h"

namespace {

/// Set by the first default line that is printed and kept from then on.
guint32 type_width = 0;

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
      return {.label = formats::kReportLatency, .value = static_cast<guint64>(latency)};
    case 1:
      return {.label = formats::kReportUtc, .value = zel_frame_get_utc_timestamp(frame)};
    default:
      return {.label = formats::kReportCustom, .value = zel_frame_get_custom_timestamp(frame)};
  }
}

void print_debug_line(zel_frame *frame, const FrameTiming &timing) {
  const std::size_t size = zel_frame_get_size(frame);
  const std::size_t capacity = zel_buffer_get_capacity(frame);
  g_fprintf(report_stream(), formats::kReportDebugFormat, zel_frame_get_sequence_nbr(frame), zel_buffer_get_id(frame),
            timing.delta_cts, static_cast<gint32>(timing.delta_pts), size, capacity);
}

void print_stats_line(zel_frame *frame, const FrameTiming &timing) {
  const auto [label, value] = timestamp_column(frame, timing.latency);
  const std::size_t size = zel_frame_get_size(frame);
  const std::size_t capacity = zel_buffer_get_capacity(frame);
  g_fprintf(report_stream(), formats::kReportStatsFormat, zel_frame_get_sequence_nbr(frame), timing.delta_cts,
            static_cast<gint32>(timing.delta_pts), label, value, size, capacity);
}

void print_default_line(zel_frame *frame, const FrameTiming &timing, guint32 stream_format) {
  const char *type = frame_type_text(frame);
  if (type_width == 0) type_width = type_column_width(stream_format, type);
  const auto [label, value] = timestamp_column(frame, timing.latency);
  const std::size_t size = zel_frame_get_size(frame);
  g_fprintf(report_stream(), formats::kReportDefaultFormat, zel_frame_get_sequence_nbr(frame),
            static_cast<int>(type_width), type, static_cast<gint32>(timing.delta_pts), label, value, size);
}

}  // namespace

guint32 type_column_width(guint32 stream_format, const char *first_text) {
  switch (stream_format) {
    case formats::kFormatH264:
    case formats::kFormatH265:
      return 8;
    case formats::kFormatAv1:
      return 9;
    default:
      return static_cast<guint32>(std::strlen(first_text));
  }
}

const char *frame_type_text(zel_frame *frame) {
  const zel_map *extra_info = zel_frame_get_extra_info(frame);  // the frame's, not released
  if (zel_frame_shown(frame) == FALSE) return formats::kReportNotShown;
  if (zel_frame_is_key(frame) == FALSE && marked_empty(extra_info)) return formats::kReportEmpty;
  const EnumClassPtr types = enum_class(zel_frame_type_get_type());
  const auto number = static_cast<gint>(zel_frame_get_frame_type(frame));
  const GEnumValue *type = types != nullptr ? g_enum_get_value(types.get(), number) : nullptr;
  // The nick stays valid without the reference on its class.
  return type != nullptr ? type->value_nick : formats::kReportUnknownType;
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
