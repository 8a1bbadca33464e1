// The figures and the exact text of the statistics report.
#include "console/statistics_report.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "common/owned.h"

namespace {

struct FileClose {
  void operator()(FILE *file) const { (void)std::fclose(file); }
};

std::string report_text(const FrameStats &stats, bool custom_timestamps) {
  char *text = nullptr;
  std::size_t length = 0;
  std::unique_ptr<FILE, FileClose> file(open_memstream(&text, &length));
  write_statistics(file.get(), stats, custom_timestamps);
  file.reset();
  const TextPtr owner(text);
  return {text, length};
}

std::string last_line(const std::string &text) {
  return text.substr(text.rfind('\n', text.size() - 2) + 1);
}

/// The platform's text for a number, which may be none.
std::string printed(double value) {
  std::array<char, 64> text{};
  g_snprintf(text.data(), text.size(), "%.3f", value);
  return text.data();
}

class StatisticsReportTest : public testing::Test {
 protected:
  void SetUp() override { set_zone("UTC"); }
  void TearDown() override { set_zone("UTC"); }

  static void set_zone(const char *zone) {
    ASSERT_EQ(setenv("TZ", zone, 1), 0);
    tzset();
  }
};

/// A run of 11 frames over exactly 400 ms of the service's and 500 ms of the client's clock.
FrameStats ordinary_run() {
  FrameStats stats;
  stats.client_first_us = 7000000;
  stats.client_last_us = 7500000;
  stats.server_first_us = 6000000;
  stats.server_last_us = 6400000;
  stats.cts_delta_min = 45000;
  stats.cts_delta_max = 56000;
  stats.pts_delta_min = 40000;
  stats.pts_delta_max = 40001;
  stats.custom_min = 123456789;
  stats.custom_max = 223456789;
  stats.utc_latency_min = 900;
  stats.utc_latency_max = 1200;
  stats.latency_min = 1000000;
  stats.latency_max = 1100000;
  stats.nbytes = 1000000;
  stats.nframes = 11;
  stats.capacity_total = 8000000;
  stats.first_utc = 1700000000123456;
  stats.last_utc = 1700000000523456;
  return stats;
}

// Catches any change of a label, a width, a unit, the order of the lines or of a figure's arithmetic.
TEST_F(StatisticsReportTest, PrintsEveryLine) {
  EXPECT_EQ(report_text(ordinary_run(), true),
            "\n"
            "zel-statistics:\n"
            "zel.cts.Δmin           =    45000 µs\n"
            "zel.cts.Δmax           =    56000 µs\n"
            "zel.cts.jitter         =    11000 µs\n"
            "\n"
            "zel.pts.Δmin           =    40000 µs\n"
            "zel.pts.Δmax           =    40001 µs\n"
            "zel.pts.jitter         =        1 µs\n"
            "\n"
            "zel.custom.Δmin       = 123456789 µs\n"
            "zel.custom.Δmax       = 223456789 µs\n"
            "zel.custom.jitter     = 100000000 µs\n"
            "\n"
            "zel.latency.Δmin       =  1000000 µs\n"
            "zel.latency.Δmax       =  1100000 µs\n"
            "zel.latency.jitter     =   100000 µs\n"
            "\n"
            "zel.latency.utc.Δmin   =      900 µs\n"
            "zel.latency.utc.Δmax   =     1200 µs\n"
            "zel.latency.utc.jitter =      300 µs\n"
            "\n"
            "zel.nbytes             =  1000000\n"
            "zel.nframes            =       11\n"
            "zel.utilization        = 12.50000%\n"
            "\n"
            "zel.client_fps         = 20.00000 fps\n"
            "zel.client_time        = 0.500000 s\n"
            "zel.client_bitrate     = 16000.000 kbps\n"
            "\n"
            "zel.server_fps         = 25.00000 fps\n"
            "zel.server_time        = 0.400000 s\n"
            "zel.server_bitrate     = 20000.000 kbps\n"
            "\n"
            "zel.firstFrame.utc_timestamp = 2023-11-14T22:13:20.123456\n"
            "zel.lastFrame.utc_timestamp  = 2023-11-14T22:13:20.523456\n");
}

// Catches the custom block printed in a run without custom timestamps, or more than it left out.
TEST_F(StatisticsReportTest, CustomBlockOnlyOnRequest) {
  std::string expected = report_text(ordinary_run(), true);
  const std::size_t begin = expected.find("zel.custom.Δmin");
  const std::size_t end = expected.find("zel.latency.Δmin");
  ASSERT_NE(begin, std::string::npos);
  expected.erase(begin, end - begin);
  EXPECT_EQ(report_text(ordinary_run(), false), expected);
}

// Catches a run without frames that is guarded: the counts wrap and the rates have no number.
TEST_F(StatisticsReportTest, NoFrame) {
  EXPECT_EQ(report_text(FrameStats(), false),
            "\n"
            "zel-statistics:\n"
            "zel.cts.Δmin           = 4294967295 µs\n"
            "zel.cts.Δmax           =        0 µs\n"
            "zel.cts.jitter         =        1 µs\n"
            "\n"
            "zel.pts.Δmin           = 4294967295 µs\n"
            "zel.pts.Δmax           =        0 µs\n"
            "zel.pts.jitter         =        1 µs\n"
            "\n"
            "zel.latency.Δmin       = 4294967295 µs\n"
            "zel.latency.Δmax       =        0 µs\n"
            "zel.latency.jitter     =        1 µs\n"
            "\n"
            "zel.latency.utc.Δmin   = 4294967295 µs\n"
            "zel.latency.utc.Δmax   =        0 µs\n"
            "zel.latency.utc.jitter =        1 µs\n"
            "\n"
            "zel.nbytes             =        0\n"
            "zel.nframes            =        0\n"
            "zel.utilization        = " +
                printed(report_figures(FrameStats()).utilization) +
                "%\n"
                "\n"
                "zel.client_fps         = inf fps\n"
                "zel.client_time        = 0.000000 s\n"
                "zel.client_bitrate     = " +
                printed(report_figures(FrameStats()).client_bitrate) +
                " kbps\n"
                "\n"
                "zel.server_fps         = inf fps\n"
                "zel.server_time        = 0.000000 s\n"
                "zel.server_bitrate     = " +
                printed(report_figures(FrameStats()).server_bitrate) +
                " kbps\n"
                "\n"
                "zel.firstFrame.utc_timestamp = 1970-01-01T00:00:00.000000\n"
                "zel.lastFrame.utc_timestamp  = 1970-01-01T00:00:00.000000\n");
  EXPECT_TRUE(std::isnan(report_figures(FrameStats()).utilization));
  EXPECT_TRUE(std::isnan(report_figures(FrameStats()).client_bitrate));
  EXPECT_TRUE(std::isnan(report_figures(FrameStats()).server_bitrate));
}

// Catches a frame count that does not wrap: no frame in a run of time has 4294967295 distances.
TEST_F(StatisticsReportTest, NoShownFrameWrapsTheCount) {
  FrameStats stats = ordinary_run();
  stats.nframes = 0;
  EXPECT_EQ(report_figures(stats).client_fps, 4294967295.0 / 0.5);
  EXPECT_EQ(report_figures(stats).server_fps, 4294967295.0 / 0.4);
}

// Catches a rate of a single frame that is guarded: there is no distance in no time.
TEST_F(StatisticsReportTest, OneFrame) {
  FrameStats stats = ordinary_run();
  stats.nframes = 1;
  stats.client_last_us = stats.client_first_us;
  stats.server_last_us = stats.server_first_us;
  const ReportFigures figures = report_figures(stats);
  EXPECT_TRUE(std::isnan(figures.client_fps));
  EXPECT_TRUE(std::isnan(figures.server_fps));
  EXPECT_TRUE(std::isinf(figures.client_bitrate));
  EXPECT_EQ(figures.client_time, 0.0);
  EXPECT_EQ(figures.server_time, 0.0);
}

// Catches bits counted in 64 bits: one byte below 512 MiB is right, and from there on the count starts anew.
TEST_F(StatisticsReportTest, BitsWrapAt512MiB) {
  FrameStats stats = ordinary_run();
  stats.client_first_us = stats.server_first_us = 0;
  stats.client_last_us = stats.server_last_us = 1000000;
  stats.nbytes = 0x1FFFFFFF;
  EXPECT_EQ(report_figures(stats).client_bitrate, 4294967288.0 / 1000.0);
  EXPECT_EQ(report_figures(stats).server_bitrate, 4294967288.0 / 1000.0);
  stats.nbytes = 0x20000000;
  EXPECT_EQ(report_figures(stats).client_bitrate, 0.0);
  stats.nbytes = 0x20000001;
  EXPECT_EQ(report_figures(stats).client_bitrate, 0.008);
  EXPECT_EQ(report_figures(stats).server_bitrate, 0.008);
}

// Catches utilization in integers or from the wrapped bits.
TEST_F(StatisticsReportTest, UtilizationOfLargeRuns) {
  FrameStats stats = ordinary_run();
  stats.nbytes = 0xFFFFFFFF;
  stats.capacity_total = 0x1FFFFFFFE;
  EXPECT_EQ(report_figures(stats).utilization, 50.0);
}

// Catches a time that is signed: a clock that ended before it began gives an enormous time.
TEST_F(StatisticsReportTest, TimeRunningBackwards) {
  FrameStats stats = ordinary_run();
  stats.server_last_us = stats.server_first_us - 1;
  EXPECT_EQ(report_figures(stats).server_time, 18446744073709551615.0 / 1000000.0);
}

// Catches times before 1970 that are floored: seconds and the rest are both cut towards 0.
TEST_F(StatisticsReportTest, TimestampBefore1970) {
  FrameStats stats = ordinary_run();
  stats.last_utc = static_cast<guint64>(gint64{-1500000});
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 1969-12-31T23:59:59.-500000\n");
}

// Catches undefined or saturating conversions: seconds beyond an int are cut to its low bits.
TEST_F(StatisticsReportTest, SecondsAreAnInt) {
  FrameStats stats = ordinary_run();
  stats.last_utc = guint64{0x7FFFFFFF} * 1000000 + 7;
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 2038-01-19T03:14:07.000007\n");
  stats.last_utc = guint64{0x80000000} * 1000000;
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 1901-12-13T20:45:52.000000\n");
  stats.last_utc = guint64{0x100000000} * 1000000 + 999999;
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 1970-01-01T00:00:00.999999\n");
  stats.last_utc = guint64{1} << 63;
  EXPECT_EQ(last_line(report_text(stats, false)).substr(0, 31), "zel.lastFrame.utc_timestamp  = ");
}

// Catches UTC broken down by other means than local normalisation: where summer time holds, the hour shows it.
TEST_F(StatisticsReportTest, NormalisesInLocalTime) {
  FrameStats stats = ordinary_run();
  stats.last_utc = 1689336800000001;  // 2023-07-14T12:13:20 UTC
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 2023-07-14T13:13:20.000001\n");
  set_zone("AEST-10AEDT,M10.1.0,M4.1.0/3");  // summer time on the day that is normalised
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 2023-07-14T11:13:20.000001\n");
  set_zone("CET-1");
  EXPECT_EQ(last_line(report_text(stats, false)), "zel.lastFrame.utc_timestamp  = 2023-07-14T12:13:20.000001\n");
}

}  // namespace
