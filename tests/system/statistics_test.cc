// The statistics report of the real client: exact where the clocks are scripted, true to what the camera injected where
// they are real.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "console_text.h"
#include "harness/client_run.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

std::string report_of(const std::string &out) {
  const std::size_t at = out.find("\nzel-statistics:\n");
  return at == std::string::npos ? "" : out.substr(at);
}

std::int64_t monotonic_now() {
  using std::chrono::microseconds;
  return std::chrono::duration_cast<microseconds>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Four frames of which the third is not shown, 40 ms apart but the last, which comes 50 ms after its predecessor.
void script_four_frames(ClientRun &run) {
  run.camera().scripted().set("utc_start_us", "1700000000123456");
  run.camera().frames({.from = 0, .count = 4, .custom_us = 500, .size = 1000, .capacity = 4000});
  run.camera().frames({.from = 0, .timestamp_us = 5000000});
  run.camera().frames({.from = 1, .timestamp_us = 5040000});
  run.camera().frames({.from = 2, .shown = false, .timestamp_us = 5080000});
  run.camera().frames({.from = 3, .custom_us = 4711, .timestamp_us = 5130000});
  run.clock({{5001500, 1700000000123456 + 900},
             {5042000, 1700000000163456 + 1000},
             {5083000, 1700000000203456 + 1100},
             {5131500, 1700000000243456 + 800}});
}

const std::string kDistances =
    "\n"
    "zel-statistics:\n"
    "zel.cts.Δmin           =    40500 µs\n"
    "zel.cts.Δmax           =    48500 µs\n"
    "zel.cts.jitter         =     8000 µs\n"
    "\n"
    "zel.pts.Δmin           =    40000 µs\n"
    "zel.pts.Δmax           =    50000 µs\n"
    "zel.pts.jitter         =    10000 µs\n"
    "\n";
const std::string kCustom =
    "zel.custom.Δmin       =      500 µs\n"
    "zel.custom.Δmax       =     4711 µs\n"
    "zel.custom.jitter     =     4211 µs\n"
    "\n";
const std::string kRest =
    "zel.latency.Δmin       =     1500 µs\n"
    "zel.latency.Δmax       =     3000 µs\n"
    "zel.latency.jitter     =     1500 µs\n"
    "\n"
    "zel.latency.utc.Δmin   =      800 µs\n"
    "zel.latency.utc.Δmax   =     1100 µs\n"
    "zel.latency.utc.jitter =      300 µs\n"
    "\n"
    "zel.nbytes             =     4000\n"
    "zel.nframes            =        3\n"
    "zel.utilization        = 25.00000%\n"
    "\n"
    "zel.client_fps         = 15.38462 fps\n"
    "zel.client_time        = 0.130000 s\n"
    "zel.client_bitrate     = 246.154 kbps\n"
    "\n"
    "zel.server_fps         = 15.38462 fps\n"
    "zel.server_time        = 0.130000 s\n"
    "zel.server_bitrate     = 246.154 kbps\n"
    "\n"
    "zel.firstFrame.utc_timestamp = 2023-11-14T22:13:20.123456\n"
    "zel.lastFrame.utc_timestamp  = 2023-11-14T22:13:20.243456\n";

}  // namespace

// Catches any change of the report, a frame that is not shown counted as a frame or left out of the bytes, a custom
// block in a run without custom timestamps, and a report that is printed unasked, twice, or hidden by "quiet".
TEST(Statistics, WholeReport) {
  ClientRun run;
  script_four_frames(run);
  const RunResult result = run.run({"--frames=4", "--framerate=25", "--stats", "--quiet"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, kDistances + kRest);

  ClientRun wall_clock;
  script_four_frames(wall_clock);
  EXPECT_EQ(wall_clock.run({"-n", "4", "--framerate=25", "-s", "-q", "--timestamp.type=utc"}).out, kDistances + kRest);

  ClientRun unasked;
  script_four_frames(unasked);
  EXPECT_EQ(unasked.run({"-n", "4", "--framerate=25", "-q"}).out, "");
}

// Catches a custom block that misses where "timestamp.type" asks for it, or that shows distances.
TEST(Statistics, CustomBlock) {
  const std::string expected = kDistances + kCustom + kRest;
  for (const char *type : {"--timestamp.type=elapsed", "--timestamp.type=sequence"}) {
    ClientRun run;
    script_four_frames(run);
    EXPECT_EQ(run.run({"--frames=4", "--framerate=25", "-s", "-q", type}).out, expected);
  }
}

// Catches a report before the last line, or behind something else.
TEST(Statistics, ReportComesLast) {
  ClientRun run;
  script_four_frames(run);
  const std::string out = run.run({"--frames=4", "--framerate=25", "-s"}).out;
  EXPECT_EQ(report_of(out), kDistances + kRest);
  EXPECT_EQ(frame_lines(out).size(), 4U);
  EXPECT_EQ(after_start(out).find("\nzel-statistics:\n"), after_start(out).size() - (kDistances + kRest).size());
}

// Catches a run without frames that is guarded: the limit -1 ends it before the first fetch.
TEST(Statistics, NoFrame) {
  ClientRun run;
  run.camera().scripted();
  const RunResult result = run.run({"--frames=-1", "-s", "-q"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), 0U);
  EXPECT_THAT(result.out, MatchesRegex("\nzel-statistics:\n"
                                       "zel.cts.Δmin           = 4294967295 µs\n"
                                       "zel.cts.Δmax           =        0 µs\n"
                                       "zel.cts.jitter         =        1 µs\n\n"
                                       "zel.pts.Δmin           = 4294967295 µs\n"
                                       "zel.pts.Δmax           =        0 µs\n"
                                       "zel.pts.jitter         =        1 µs\n\n"
                                       "zel.latency.Δmin       = 4294967295 µs\n"
                                       "zel.latency.Δmax       =        0 µs\n"
                                       "zel.latency.jitter     =        1 µs\n\n"
                                       "zel.latency.utc.Δmin   = 4294967295 µs\n"
                                       "zel.latency.utc.Δmax   =        0 µs\n"
                                       "zel.latency.utc.jitter =        1 µs\n\n"
                                       "zel.nbytes             =        0\n"
                                       "zel.nframes            =        0\n"
                                       "zel.utilization        = -?nan%\n\n"
                                       "zel.client_fps         = inf fps\n"
                                       "zel.client_time        = 0.000000 s\n"
                                       "zel.client_bitrate     = -?nan kbps\n\n"
                                       "zel.server_fps         = inf fps\n"
                                       "zel.server_time        = 0.000000 s\n"
                                       "zel.server_bitrate     = -?nan kbps\n\n"
                                       "zel.firstFrame.utc_timestamp = 1970-01-01T00:00:00.000000\n"
                                       "zel.lastFrame.utc_timestamp  = 1970-01-01T00:00:00.000000\n"));
}

// Catches a single frame that is given a distance or a rate.
TEST(Statistics, OneFrame) {
  ClientRun run;
  script_four_frames(run);
  const RunResult result = run.run({"--frames=1", "--framerate=25", "-s", "-q"});
  EXPECT_THAT(result.out, HasSubstr("zel.cts.Δmin           = 4294967295 µs\n"
                                    "zel.cts.Δmax           =        0 µs\n"
                                    "zel.cts.jitter         =        1 µs\n\n"
                                    "zel.pts.Δmin           = 4294967295 µs\n"
                                    "zel.pts.Δmax           =        0 µs\n"
                                    "zel.pts.jitter         =        1 µs\n\n"
                                    "zel.latency.Δmin       =     1500 µs\n"
                                    "zel.latency.Δmax       =     1500 µs\n"
                                    "zel.latency.jitter     =        0 µs\n"));
  EXPECT_THAT(result.out, HasSubstr("zel.nframes            =        1\n"));
  EXPECT_THAT(field(result.out, "zel.client_fps"), MatchesRegex("-?nan"));
  EXPECT_THAT(field(result.out, "zel.server_fps"), MatchesRegex("-?nan"));
  EXPECT_EQ(field(result.out, "zel.client_time"), "0.000000");
  EXPECT_EQ(field(result.out, "zel.server_time"), "0.000000");
  EXPECT_EQ(field(result.out, "zel.client_bitrate"), "inf");
  EXPECT_THAT(result.out, HasSubstr("zel.firstFrame.utc_timestamp = 2023-11-14T22:13:20.123456\n"
                                    "zel.lastFrame.utc_timestamp  = 2023-11-14T22:13:20.123456\n"));
}

// Catches frames that are not shown counted when none is shown: the count wraps, the bytes stay.
TEST(Statistics, NoFrameIsShown) {
  ClientRun run;
  script_four_frames(run);
  run.camera().frames({.from = 0, .count = 0, .shown = false});
  const RunResult result = run.run({"--frames=4", "--framerate=25", "-s", "-q"});
  EXPECT_THAT(result.out, HasSubstr("zel.nbytes             =     4000\nzel.nframes            =        0\n"));
  EXPECT_EQ(field(result.out, "zel.server_fps"), "33038209961.53846");
}

// Catches a first frame that is told by a count: while the two previous times are equal, the next frame is first again.
TEST(Statistics, EqualClocksMakeAFirstFrame) {
  ClientRun run;
  script_four_frames(run);
  run.clock({{5000000, 0}, {5040000, 0}, {5083000, 0}, {5131500, 0}});
  const RunResult result = run.run({"--frames=4", "--framerate=25", "-s"});
  const std::vector<std::string> lines = frame_lines(result.out);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(field(lines[1], "Δcts"), "0");
  EXPECT_EQ(field(lines[1], "Δpts"), "0");
  EXPECT_EQ(field(lines[2], "Δpts"), "0");
  EXPECT_EQ(field(lines[3], "Δcts"), "48500");
  EXPECT_EQ(field(lines[3], "Δpts"), "50000");
  EXPECT_EQ(field(result.out, "zel.pts.Δmin"), "50000");
  EXPECT_EQ(field(result.out, "zel.server_time"), "0.050000");
}

// Catches extremes compared as signed or in 32 bits: a latency below 0 is the largest and never the smallest, and one
// of 2^32 us or more is kept cut.
TEST(Statistics, ExtremesOfUnusualLatencies) {
  ClientRun negative;
  script_four_frames(negative);
  negative.clock({{5001500, 1700000000123456 + 900},
                  {5040000 - 3, 1700000000163456 - 8},
                  {5083000, 1700000000203456 + 1100},
                  {5131500, 1700000000243456 + 800}});
  std::string out = negative.run({"--frames=4", "--framerate=25", "-s", "-q"}).out;
  EXPECT_THAT(out, HasSubstr("zel.latency.Δmin       =     1500 µs\n"
                             "zel.latency.Δmax       = 4294967293 µs\n"
                             "zel.latency.jitter     = 4294965793 µs\n"));
  EXPECT_THAT(out, HasSubstr("zel.latency.utc.Δmin   =      800 µs\n"
                             "zel.latency.utc.Δmax   = 4294967288 µs\n"
                             "zel.latency.utc.jitter = 4294966488 µs\n"));

  ClientRun long_ago;
  script_four_frames(long_ago);
  const std::int64_t longer = 0x100000000;
  long_ago.clock(
      {{5000000 + longer + 20, 1700000000123456 + longer + 7}, {5040000 + longer + 9, 1700000000163456 + 5}});
  out = long_ago.run({"--frames=2", "--framerate=25", "-s", "-q"}).out;
  EXPECT_THAT(out, HasSubstr("zel.latency.Δmin       = 4294967295 µs\nzel.latency.Δmax       =        9 µs\n"));
  EXPECT_THAT(out, HasSubstr("zel.latency.utc.Δmin   =        5 µs\nzel.latency.utc.Δmax   =        7 µs\n"));
}

// Catches a step of the service's clock that goes missing: back by 1 s and 2^32 us later.
TEST(Statistics, ClockStep) {
  ClientRun run;
  run.camera().scripted().frames({.from = 3, .clock_step_us = -1000000});
  const RunResult result = run.run({"--frames=6", "--framerate=25", "-s", "-q"});
  EXPECT_EQ(number(result.out, "zel.pts.Δmin"), 40000);
  EXPECT_EQ(number(result.out, "zel.pts.Δmax"), 0x100000000 - 960000);
  EXPECT_EQ(field(result.out, "zel.server_time"), "18446744073708.750000");
}

// Catches a time zone that is ignored or corrected: the calendar time is normalised as local time.
TEST(Statistics, LocalNormalisation) {
  ClientRun run;
  run.camera().scripted().set("utc_start_us", "1689336800000001");  // in summer
  run.environment("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  const RunResult result = run.run({"--frames=1", "-s", "-q"});
  EXPECT_THAT(result.out, HasSubstr("zel.firstFrame.utc_timestamp = 2023-07-14T13:13:20.000001\n"));

  ClientRun south;  // summer time on the day that is normalised
  south.camera().scripted().set("utc_start_us", "1689336800000001");
  south.environment("TZ", "AEST-10AEDT,M10.1.0,M4.1.0/3");
  EXPECT_THAT(south.run({"--frames=1", "-s", "-q"}).out,
              HasSubstr("zel.firstFrame.utc_timestamp = 2023-07-14T11:13:20.000001\n"));
}

// Catches seconds that are not an int: the time beyond its range comes out cut.
TEST(Statistics, SecondsBeyondAnInt) {
  ClientRun run;
  run.camera().scripted().set("utc_start_us", "2147483648000009");
  const RunResult result = run.run({"--frames=1", "-s", "-q"});
  EXPECT_THAT(result.out, HasSubstr("zel.firstFrame.utc_timestamp = 1901-12-13T20:45:52.000009\n"));
}

// Catches bits counted in more than 32 bits: from 512 MiB on the bitrates start anew, while bytes and use stay right.
TEST(Statistics, MoreThan512MiB) {
  ClientRun run;
  constexpr std::uint64_t kFrame = 12 << 20;
  run.camera().scripted().set("record", "/dev/null").set("log_getters", "false");
  run.camera().frames({.from = 0, .count = 0, .size = kFrame, .capacity = 2 * kFrame});
  const RunResult result = run.run({"--frames=44", "--framerate=10", "--buffer.count=2", "-s", "-q"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(number(result.out, "zel.nbytes"), 44LL * kFrame);
  EXPECT_EQ(field(result.out, "zel.utilization"), "50.00000%");
  EXPECT_EQ(field(result.out, "zel.server_time"), "4.300000");
  // 44 * 12 MiB * 8 - 2^32 = 134217728 bits.
  EXPECT_EQ(field(result.out, "zel.server_bitrate"), "31213.425");
}

// Catches bytes counted in more than 32 bits, or a use computed from the bits that wrapped.
TEST(Statistics, MoreThan4GiB) {
  ClientRun run;
  constexpr std::uint64_t kFrame = 100 << 20;
  run.camera().scripted().set("record", "/dev/null").set("log_getters", "false");
  run.camera().frames({.from = 0, .count = 0, .size = kFrame, .capacity = kFrame});
  const RunResult result = run.run({"--frames=41", "--framerate=10", "--buffer.count=2", "-s", "-q"});
  EXPECT_EQ(result.status, 0);
  constexpr std::uint64_t kWrapped = 41 * kFrame - 0x100000000;  // 4194304 bytes
  EXPECT_EQ(number(result.out, "zel.nbytes"), static_cast<long long>(kWrapped));
  EXPECT_EQ(field(result.out, "zel.utilization"), "0.09756%");
  EXPECT_EQ(field(result.out, "zel.server_bitrate"), "8388.608");
}

// Catches a client that measures anything but the time since capture: with real clocks and a camera that hands frames
// out 50 ms to 80 ms after capture, each line's latency lies between what the camera did and the end of the run.
TEST(Statistics, InjectedLatencyAndJitter) {
  ClientRun run;
  run.camera().scripted().set("pacing", "real-time");
  run.camera().frames({.from = 0, .count = 0, .latency_us = 50000, .jitter_us = 30000});
  const RunResult result = run.run({"--frames=12", "--framerate=50", "-s"});
  const std::int64_t end = monotonic_now();
  const std::vector<std::string> lines = frame_lines(result.out);
  const std::vector<FrameTruth> frames = run.truth().frames();
  ASSERT_EQ(lines.size(), 12U);
  ASSERT_EQ(frames.size(), 12U);
  long long smallest = std::numeric_limits<long long>::max();
  long long largest = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto captured = frames[i].line.at("captured_us").get<std::int64_t>();
    const auto handed = frames[i].line.at("handed_us").get<std::int64_t>();
    const long long latency = number(lines[i], "latency");
    EXPECT_GE(handed - captured, 50000);
    EXPECT_GE(latency, handed - captured);
    EXPECT_LE(latency, end - captured);
    smallest = std::min(smallest, latency);
    largest = std::max(largest, latency);
  }
  EXPECT_EQ(number(result.out, "zel.latency.Δmin"), smallest);
  EXPECT_EQ(number(result.out, "zel.latency.Δmax"), largest);
  EXPECT_EQ(number(result.out, "zel.latency.jitter"), largest - smallest);
  EXPECT_GE(number(result.out, "zel.latency.utc.Δmin"), 50000);
}

// Catches distances, times and rates that are not those of the run, with real clocks and a frame that was dropped.
TEST(Statistics, RealClocks) {
  ClientRun run;
  run.camera().scripted().set("pacing", "real-time").frames({.from = 5, .drop = true});
  const RunResult result = run.run({"--frames=12", "--framerate=50", "-s"});
  const std::vector<std::string> lines = frame_lines(result.out);
  const std::vector<FrameTruth> frames = run.truth().frames();
  ASSERT_EQ(lines.size(), 12U);
  ASSERT_EQ(frames.size(), 12U);
  std::vector<long long> server;
  std::vector<long long> client;
  long long bytes = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(number(lines[i], "frame"), frames[i].sequence);
    EXPECT_NE(frames[i].sequence, 5U);
    bytes += static_cast<long long>(frames[i].size);
    if (i == 0) continue;
    server.push_back(static_cast<long long>(frames[i].timestamp - frames[i - 1].timestamp));
    client.push_back(number(lines[i], "Δcts"));
    EXPECT_EQ(number(lines[i], "Δpts"), server.back());
    // A frame is handled its latency after its presentation, on one clock.
    EXPECT_EQ(client.back() - server.back(), number(lines[i], "latency") - number(lines[i - 1], "latency"));
  }
  const std::string report = report_of(result.out);
  EXPECT_EQ(number(report, "zel.pts.Δmin"), *std::min_element(server.begin(), server.end()));
  EXPECT_EQ(number(report, "zel.pts.Δmax"), *std::max_element(server.begin(), server.end()));
  EXPECT_GE(number(report, "zel.pts.Δmax"), 40000);
  EXPECT_EQ(number(report, "zel.cts.Δmin"), *std::min_element(client.begin(), client.end()));
  EXPECT_EQ(number(report, "zel.cts.Δmax"), *std::max_element(client.begin(), client.end()));
  EXPECT_EQ(number(report, "zel.nbytes"), bytes);
  EXPECT_EQ(number(report, "zel.nframes"), 12);

  const double server_time = static_cast<double>(frames.back().timestamp - frames.front().timestamp) / 1e6;
  EXPECT_NEAR(std::stod(field(report, "zel.server_time")), server_time, 1e-6);
  EXPECT_NEAR(std::stod(field(report, "zel.server_fps")), 11 / server_time, 1e-5);
  EXPECT_NEAR(std::stod(field(report, "zel.server_bitrate")), static_cast<double>(bytes) * 8 / server_time / 1000,
              1e-3);
  double client_time = 0;
  for (const long long distance : client)
    client_time += static_cast<double>(distance) / 1e6;
  EXPECT_NEAR(std::stod(field(report, "zel.client_time")), client_time, 1e-6);
  EXPECT_NEAR(std::stod(field(report, "zel.client_fps")), 11 / client_time, 1e-5);
}

// Catches a pause between frames that is not taken: no two frames are handled closer together.
TEST(Statistics, DelayShowsInTheClientsDistances) {
  ClientRun run;
  run.camera().scripted();
  const RunResult result = run.run({"--frames=5", "--delay_us=20000", "-s", "-q"});
  EXPECT_GE(number(result.out, "zel.cts.Δmin"), 20000);
}

// Catches a report printed although the run failed.
TEST(Statistics, NoReportAfterAFailure) {
  ClientRun run;
  run.camera().scripted().fault({.call = "zel_stream_get_buffer", .nth = 3, .message = "gone", .expected = true});
  const RunResult result = run.run({"--frames=5", "-s"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: gone\n");
  EXPECT_EQ(frame_lines(result.out).size(), 2U);
  EXPECT_THAT(result.out, Not(HasSubstr("zel-statistics")));
}
