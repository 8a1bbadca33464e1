// Computes and prints the statistics report.
#include "console/statistics_report.h"

#include <glib/gprintf.h>

#include <ctime>

namespace {

constexpr double kMicrosecondsPerSecond = 1000000.0;

double seconds_between(guint64 first_us, guint64 last_us) {
  return static_cast<double>(last_us - first_us) / kMicrosecondsPerSecond;
}

/// A calendar time and the microseconds within its second.
struct CalendarTime {
  std::tm fields{};
  gint64 micro = 0;  ///< negative for a time before 1970
};

/// Splits microseconds since the Unix epoch. mktime() normalises in local time: the fields are those of UTC where the
/// zone's offset is that of 1 January 1970, as in UTC itself. Kept so. Seconds beyond an int's range are cut to its low
/// bits.
CalendarTime calendar_time(guint64 epoch_us) {
  const auto value = static_cast<gint64>(epoch_us);
  CalendarTime result;
  result.fields.tm_mday = 1;
  result.fields.tm_year = 70;
  result.fields.tm_sec = static_cast<int>(value / 1000000);
  result.fields.tm_isdst = -1;
  (void)std::mktime(&result.fields);
  result.micro = value % 1000000;
  return result;
}

void write_timestamp(FILE *file, const char *label, guint64 epoch_us) {
  const auto [time, micro] = calendar_time(epoch_us);
  g_fprintf(file, "%s= %d-%02d-%02dT%02d:%02d:%02d.%06lli\n", label, time.tm_year + 1900, time.tm_mon + 1, time.tm_mday,
            time.tm_hour, time.tm_min, time.tm_sec, static_cast<long long>(micro));
}

void write_distances(FILE *file, const FrameStats &stats, const ReportFigures &figures, bool custom_timestamps) {
  g_fprintf(file, "zel.cts.Δmin           = %8u µs\n", stats.cts_delta_min);
  g_fprintf(file, "zel.cts.Δmax           = %8u µs\n", stats.cts_delta_max);
  g_fprintf(file, "zel.cts.jitter         = %8u µs\n", figures.cts_jitter);
  g_fprintf(file, "\n");
  g_fprintf(file, "zel.pts.Δmin           = %8u µs\n", stats.pts_delta_min);
  g_fprintf(file, "zel.pts.Δmax           = %8u µs\n", stats.pts_delta_max);
  g_fprintf(file, "zel.pts.jitter         = %8u µs\n", figures.pts_jitter);
  g_fprintf(file, "\n");
  if (!custom_timestamps) return;
  // One column shorter than the others; kept so.
  g_fprintf(file, "zel.custom.Δmin       = %8u µs\n", stats.custom_min);
  g_fprintf(file, "zel.custom.Δmax       = %8u µs\n", stats.custom_max);
  g_fprintf(file, "zel.custom.jitter     = %8u µs\n", figures.custom_jitter);
  g_fprintf(file, "\n");
}

void write_latencies(FILE *file, const FrameStats &stats, const ReportFigures &figures) {
  g_fprintf(file, "zel.latency.Δmin       = %8u µs\n", stats.latency_min);
  g_fprintf(file, "zel.latency.Δmax       = %8u µs\n", stats.latency_max);
  g_fprintf(file, "zel.latency.jitter     = %8u µs\n", figures.latency_jitter);
  g_fprintf(file, "\n");
  g_fprintf(file, "zel.latency.utc.Δmin   = %8u µs\n", stats.utc_latency_min);
  g_fprintf(file, "zel.latency.utc.Δmax   = %8u µs\n", stats.utc_latency_max);
  g_fprintf(file, "zel.latency.utc.jitter = %8u µs\n", figures.utc_latency_jitter);
  g_fprintf(file, "\n");
}

void write_throughput(FILE *file, const FrameStats &stats, const ReportFigures &figures) {
  g_fprintf(file, "zel.nbytes             = %8u\n", stats.nbytes);
  g_fprintf(file, "zel.nframes            = %8u\n", stats.nframes);
  g_fprintf(file, "zel.utilization        = %2.5f%%\n", figures.utilization);
  g_fprintf(file, "\n");
  g_fprintf(file, "zel.client_fps         = %2.5f fps\n", figures.client_fps);
  g_fprintf(file, "zel.client_time        = %f s\n", figures.client_time);
  g_fprintf(file, "zel.client_bitrate     = %.3f kbps\n", figures.client_bitrate);
  g_fprintf(file, "\n");
  g_fprintf(file, "zel.server_fps         = %2.5f fps\n", figures.server_fps);
  g_fprintf(file, "zel.server_time        = %f s\n", figures.server_time);
  g_fprintf(file, "zel.server_bitrate     = %.3f kbps\n", figures.server_bitrate);
  g_fprintf(file, "\n");
}

}  // namespace

ReportFigures report_figures(const FrameStats &stats) {
  ReportFigures figures;
  figures.cts_jitter = stats.cts_delta_max - stats.cts_delta_min;
  figures.pts_jitter = stats.pts_delta_max - stats.pts_delta_min;
  figures.custom_jitter = stats.custom_max - stats.custom_min;
  figures.latency_jitter = stats.latency_max - stats.latency_min;
  figures.utc_latency_jitter = stats.utc_latency_max - stats.utc_latency_min;

  figures.client_time = seconds_between(stats.client_first_us, stats.client_last_us);
  figures.server_time = seconds_between(stats.server_first_us, stats.server_last_us);
  // Distances and bits are counted in 32 bits: without a frame there are 4294967295 distances, and from 512 MiB on the
  // bits wrap. Kept so.
  const guint32 distances = stats.nframes - 1U;
  const guint32 bits = stats.nbytes * 8U;
  figures.client_fps = distances / figures.client_time;
  figures.server_fps = distances / figures.server_time;
  figures.client_bitrate = bits / figures.client_time / 1000.0;
  figures.server_bitrate = bits / figures.server_time / 1000.0;
  figures.utilization = static_cast<double>(stats.nbytes) / static_cast<double>(stats.capacity_total) * 100.0;
  return figures;
}

void write_statistics(FILE *file, const FrameStats &stats, bool custom_timestamps) {
  const ReportFigures figures = report_figures(stats);
  g_fprintf(file, "\nzel-statistics:\n");
  write_distances(file, stats, figures, custom_timestamps);
  write_latencies(file, stats, figures);
  write_throughput(file, stats, figures);
  write_timestamp(file, "zel.firstFrame.utc_timestamp ", stats.first_utc);
  write_timestamp(file, "zel.lastFrame.utc_timestamp  ", stats.last_utc);
}

void print_statistics(FILE *file) {
  write_statistics(file, frame_stats, wants_custom_timestamps());
}
