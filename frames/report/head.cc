// The head of a page: what was captured, when, with what.
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <functional>

#include "frames/print/check_report.h"
#include "frames/report/markup.h"
#include "frames/report/sections.h"
#include "frames/report/table.h"

namespace frames {
namespace {

using std::chrono::microseconds;
using std::chrono::sys_time;

/// "2026-11-21 14:53:10.250000 UTC".
std::string time_of_day(sys_time<microseconds> time) {
  using namespace std::chrono;
  const sys_days day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  return fmt::format("{}-{:02}-{:02} {:02}:{:02}:{:02}.{:06} UTC", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

/// When the run began as its frames say, or when its file was written last.
std::string captured_text(const Capture &capture) {
  constexpr std::uint64_t kMost = 253'402'300'800'000'000;  // the year 10000, in us
  const Column<std::uint64_t> &utc = capture.frames.utc_us;
  if (utc.known(0)) {
    if (utc[0] >= kMost) return fmt::format("{} us since 1970", utc[0]);
    return time_of_day(sys_time<microseconds>(microseconds(static_cast<std::int64_t>(utc[0]))));
  }
  if (capture.files.empty()) return std::string(kUnknownText);
  std::error_code error;
  if (!std::filesystem::is_regular_file(capture.files.front(), error)) return std::string(kUnknownText);
  const auto written = std::filesystem::last_write_time(capture.files.front(), error);
  if (error) return std::string(kUnknownText);
  const auto time = std::chrono::file_clock::to_sys(written);
  return time_of_day(std::chrono::floor<microseconds>(time)) + ", when the file was written";
}

std::string codec_text(const ReportedRun &run) {
  const Capture &capture = run.capture;
  std::string text(capture.codec ? formats::codec_name(*capture.codec) : kUnknownText);
  if (capture.width != 0) text += fmt::format(", {}×{}", capture.width, capture.height);
  return text;
}

std::string frames_text(const ReportedRun &run) {
  const Statistics &figures = run.statistics;
  std::string text = std::to_string(figures.frames);
  if (!figures.keys) return text + ", key frames unknown";
  text += fmt::format(", {} key frames", *figures.keys);
  if (figures.gop) {
    text += figures.gop->min == figures.gop->max
                ? fmt::format(", GOPs of {}", figures.gop->min)
                : fmt::format(", GOPs of {} to {}", figures.gop->min, figures.gop->max);
  }
  return text;
}

std::string duration_text(const ReportedRun &run) {
  if (!run.statistics.duration_us) return std::string(kUnknownText);
  return seconds_text(*run.statistics.duration_us) + " s";
}

std::string rate_text(const ReportedRun &run) {
  return run.statistics.fps ? fmt::format("{:.3f} frames/s", *run.statistics.fps) : std::string(kUnknownText);
}

std::string bitrate_text(const ReportedRun &run) {
  std::string bytes = fmt::format("{} bytes", run.statistics.bytes);
  if (!run.statistics.bitrate_bps) return bytes;
  return fmt::format("{:.1f} kbit/s, {}", *run.statistics.bitrate_bps / 1000, bytes);
}

/// "2, 9 frames missing; 1 jump back; 3 repeated times".
std::string gaps_text(const ReportedRun &run) {
  const Statistics &figures = run.statistics;
  if (!figures.missing) return std::string(kUnknownText);
  std::string text = figures.gaps.empty()
                         ? "none"
                         : fmt::format("<strong>{}, {} frames missing</strong>", figures.gaps.size(), *figures.missing);
  if (!figures.backwards.empty()) text += fmt::format("; times that go back: {}", figures.backwards.size());
  if (!figures.repeated.empty()) text += fmt::format("; times repeated: {}", figures.repeated.size());
  return text;
}

std::string distribution_text(const std::optional<Distribution> &values) {
  if (!values) return std::string(kUnknownText);
  return fmt::format("{} µs median, {} µs 99 %, {} µs at most", values->p50, values->p99, values->max);
}

std::string check_text(const ReportedRun &run) {
  return (run.findings.any_fails() ? "<strong>fails</strong>: " : "passes: ") +
         escaped(finding_counts_text(run.findings));
}

}  // namespace

std::string title_text(std::span<const ReportedRun> runs) {
  std::string title = runs[0].capture.name;
  if (runs.size() > 1) title += " against " + runs[1].capture.name;
  return title;
}

std::string head_section(std::span<const ReportedRun> runs, const std::string &command) {
  std::vector<std::string> columns = {""};
  for (std::size_t i = 0; i < runs.size(); ++i)
    columns.push_back(runs.size() < 2 ? "Capture" : run_letter(i, runs.size()));
  Table table("What was captured", columns, true);
  const auto row = [&](const char *name, const std::function<std::string(const ReportedRun &)> &text) {
    std::vector<std::string> cells = {name};
    for (const ReportedRun &run : runs)
      cells.push_back(text(run));
    table.row(cells);
  };
  row("file", [](const ReportedRun &run) { return "<bdi>" + escaped(run.capture.name) + "</bdi>"; });
  row("captured", [](const ReportedRun &run) { return captured_text(run.capture); });
  row("codec, size", codec_text);
  row("frames", frames_text);
  row("duration", duration_text);
  row("rate", rate_text);
  row("bit rate", bitrate_text);
  row("gaps", gaps_text);
  row("distance", [](const ReportedRun &run) { return distribution_text(run.statistics.delta_us); });
  row("latency", [](const ReportedRun &run) { return distribution_text(run.statistics.latency_us); });
  row("check", check_text);
  return std::string("<div class=\"facts") + (runs.size() < 2 ? " one" : "") + "\">\n" + table.finish() +
         "</div>\n<p class=\"command\">Made by <code>" + escaped(command) + "</code></p>\n";
}

}  // namespace frames
