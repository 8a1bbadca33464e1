// The statistics report at the end of a run (option "stats").
#ifndef ZEL_CLIENT_CONSOLE_STATISTICS_REPORT_H
#define ZEL_CLIENT_CONSOLE_STATISTICS_REPORT_H

#include <glib.h>

#include <cstdio>

#include "console/frame_stats.h"

/// The figures that the report derives from the statistics. A run of no time gives infinities and not-a-numbers.
struct ReportFigures {
  guint32 cts_jitter = 0;  ///< jitters: largest - smallest in 32-bit arithmetic, so 1 before any value was seen
  guint32 pts_jitter = 0;
  guint32 custom_jitter = 0;
  guint32 latency_jitter = 0;
  guint32 utc_latency_jitter = 0;
  double utilization = 0;  ///< per cent of the buffers' space that was filled
  double client_fps = 0;
  double client_time = 0;     ///< seconds
  double client_bitrate = 0;  ///< kbit/s; the bits are counted in 32 bits, so the rate drops from 512 MiB on
  double server_fps = 0;
  double server_time = 0;
  double server_bitrate = 0;
};

ReportFigures report_figures(const FrameStats &stats);

/// Prints the report on `stats`, with the custom timestamp's lines only with `custom_timestamps`.
void write_statistics(FILE *file, const FrameStats &stats, bool custom_timestamps);

/// Prints the report on the run so far to `file`, which is the process's real standard output: "quiet" does not hide
/// the report. Also called by the interrupt handler.
void print_statistics(FILE *file);

#endif
