// Times each frame on the client's and the service's clocks and keeps the run's statistics.
#ifndef ZEL_CLIENT_CONSOLE_FRAME_STATS_H
#define ZEL_CLIENT_CONSOLE_FRAME_STATS_H

#include <glib.h>

#include "zel/zel.h"

/// The running statistics. Times are microseconds, sizes bytes. "cts" is the client's monotonic clock when it handles a
/// frame, "pts" the frame's presentation timestamp. A minimum of G_MAXUINT32 has not seen a value yet.
struct FrameStats {
  guint64 client_first_us = 0;  ///< cts of the first frame
  guint64 client_last_us = 0;   ///< cts of the latest frame
  guint64 server_first_us = 0;  ///< pts of the first frame
  guint64 server_last_us = 0;   ///< pts of the latest frame
  guint32 cts_delta_min = G_MAXUINT32;
  guint32 cts_delta_max = 0;
  guint32 pts_delta_min = G_MAXUINT32;
  guint32 pts_delta_max = 0;
  guint32 custom_min = G_MAXUINT32;  ///< extremes of the custom timestamp itself, not of its distances
  guint32 custom_max = 0;
  guint32 utc_latency_min = G_MAXUINT32;
  guint32 utc_latency_max = 0;
  guint32 latency_min = G_MAXUINT32;
  guint32 latency_max = 0;
  guint32 nbytes = 0;          ///< sum of the frames' sizes; wraps at 4 GiB
  guint32 nframes = 0;         ///< processed frames that were shown
  guint64 capacity_total = 0;  ///< sum of the capacities of the frames' buffers
  guint64 first_custom = 0;    ///< kept, not reported
  guint64 last_custom = 0;     ///< kept, not reported
  guint64 first_utc = 0;       ///< wall-clock timestamp of the first frame
  guint64 last_utc = 0;        ///< wall-clock timestamp of the latest frame
};

/// The clocks at the previous frame; both 0 before the first.
struct PreviousTimes {
  guint64 cts = 0;
  guint64 pts = 0;
};

/// What one frame brings: two readings of the client's clocks and the frame's own values.
struct FrameSample {
  guint64 cts = 0;       ///< g_get_monotonic_time() when the frame is handled
  guint64 pts = 0;       ///< the frame's presentation timestamp
  guint64 real_now = 0;  ///< g_get_real_time() when the frame is handled
  guint64 utc = 0;       ///< the frame's wall-clock timestamp
  guint64 custom = 0;    ///< the frame's custom timestamp
  guint64 size = 0;      ///< bytes of the frame's data
  guint64 capacity = 0;  ///< bytes that its buffer holds
  bool shown = false;
};

/// The measurements of one frame that its report line shows, and the times that finish_frame_timing() stores.
struct FrameTiming {
  guint32 delta_cts = 0;  ///< distance to the previous frame on the client's clock; 0 for the first frame
  guint32 delta_pts = 0;  ///< the same on the service's clock; wraps when that clock goes backwards
  gint64 latency = 0;     ///< cts - pts
  guint64 cts = 0;
  guint64 pts = 0;
};

/// The statistics of the run. Written by time_frame() and finish_frame_timing() only; never reset. The interrupt
/// handler may read it in the middle of an update.
extern FrameStats frame_stats;

/// Folds one frame into `stats`; of `previous` it changes only the first frame's. Reads no clock and calls no library:
/// everything it knows is in `sample`. The custom extremes are kept only with `custom_timestamps`.
FrameTiming update_frame_stats(FrameStats &stats, PreviousTimes &previous, const FrameSample &sample,
                               bool custom_timestamps);

/// Whether the run's setting "timestamp.type" asks for custom timestamps: a value above 1.
bool wants_custom_timestamps();

/// Reads the clocks and folds `frame` into frame_stats. Called once per processed frame, before report_frame().
FrameTiming time_frame(zel_frame *frame);

/// Makes the frame the previous one. Called after its report line and extra information have been printed and before it
/// is written anywhere. `timing` is what time_frame() returned for it.
void finish_frame_timing(zel_frame *frame, const FrameTiming &timing);

#endif
