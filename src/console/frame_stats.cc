// The per-frame update of the statistics.
#include "console/frame_stats.h"

#include <algorithm>

#include "settings/run_settings.h"

FrameStats frame_stats;

namespace {

/// Written by time_frame() and finish_frame_timing().
PreviousTimes previous_times;

/// Folds a 64-bit value into 32-bit extremes: compared as unsigned 64-bit numbers, the winner is cut to its low 32
/// bits. Kept so, oddities included: a negative latency reads as a huge number, so that it never lowers a minimum and
/// always becomes the maximum, and from 2^32 us on only the low 32 bits are kept.
void fold_extremes(guint32 &minimum, guint32 &maximum, guint64 value) {
  minimum = static_cast<guint32>(std::min<guint64>(minimum, value));
  maximum = static_cast<guint32>(std::max<guint64>(maximum, value));
}

/// The distance from `before` to `now` in 32-bit arithmetic.
guint32 distance(guint64 now, guint64 before) {
  return static_cast<guint32>(now) - static_cast<guint32>(before);
}

}  // namespace

FrameTiming update_frame_stats(FrameStats &stats, PreviousTimes &previous, const FrameSample &sample,
                               bool custom_timestamps) {
  const guint64 latency = sample.cts - sample.pts;
  const guint64 utc_latency = sample.real_now - sample.utc;
  FrameTiming timing{.latency = static_cast<gint64>(latency), .cts = sample.cts, .pts = sample.pts};

  stats.nbytes += static_cast<guint32>(sample.size);
  stats.capacity_total += sample.capacity;
  if (sample.shown) ++stats.nframes;

  // The previous times are compared with each other, not with 0: this is how the first frame is recognised; kept so.
  if (previous.cts == previous.pts) {
    previous = {.cts = sample.cts, .pts = sample.pts};
    stats.client_first_us = sample.cts;
    stats.server_first_us = sample.pts;
    stats.first_custom = sample.custom;
    stats.first_utc = sample.utc;
  } else {
    timing.delta_cts = distance(sample.cts, previous.cts);
    timing.delta_pts = distance(sample.pts, previous.pts);
    fold_extremes(stats.cts_delta_min, stats.cts_delta_max, timing.delta_cts);
    fold_extremes(stats.pts_delta_min, stats.pts_delta_max, timing.delta_pts);
  }

  fold_extremes(stats.utc_latency_min, stats.utc_latency_max, utc_latency);
  fold_extremes(stats.latency_min, stats.latency_max, latency);
  if (custom_timestamps) fold_extremes(stats.custom_min, stats.custom_max, sample.custom);
  return timing;
}

bool wants_custom_timestamps() {
  return timestamp_type > 1;
}

FrameTiming time_frame(zel_frame *frame) {
  FrameSample sample;
  sample.cts = static_cast<guint64>(g_get_monotonic_time());  // first: the work below must not count as latency
  sample.pts = zel_frame_get_timestamp(frame);
  sample.real_now = static_cast<guint64>(g_get_real_time());
  sample.utc = zel_frame_get_utc_timestamp(frame);
  sample.size = zel_frame_get_size(frame);
  sample.capacity = zel_buffer_get_capacity(frame);
  sample.shown = zel_frame_shown(frame) != FALSE;
  sample.custom = zel_frame_get_custom_timestamp(frame);
  return update_frame_stats(frame_stats, previous_times, sample, wants_custom_timestamps());
}

void finish_frame_timing(zel_frame *frame, const FrameTiming &timing) {
  frame_stats.server_last_us = timing.pts;
  frame_stats.client_last_us = timing.cts;
  previous_times = {.cts = timing.cts, .pts = timing.pts};
  frame_stats.last_custom = zel_frame_get_custom_timestamp(frame);
  frame_stats.last_utc = zel_frame_get_utc_timestamp(frame);
}
