// Laying out live figures.
#include "frames/live/live_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

namespace frames {
namespace {

constexpr std::array<std::string_view, 8> kBars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

std::string figures_text(const std::optional<Distribution> &values) {
  return values ? fmt::format("p50 {:>7}  p99 {:>7}  max {:>7}", values->p50, values->p99, values->max) : "-";
}

/// The last seconds that fit, a bar each, its height a share of the highest.
std::string bars_text(const std::vector<std::optional<std::int64_t>> &values, std::size_t columns) {
  const std::size_t shown = std::min(columns, values.size());
  const auto from = values.end() - static_cast<std::ptrdiff_t>(shown);
  std::int64_t highest = 1;
  std::for_each(from, values.end(), [&highest](const auto &value) { highest = std::max(highest, value.value_or(0)); });
  std::string text;
  std::for_each(from, values.end(), [&](const auto &value) {
    if (!value) {
      text += ' ';
      return;
    }
    const double share = static_cast<double>(std::max<std::int64_t>(*value, 0)) / static_cast<double>(highest);
    text += kBars[std::min(kBars.size() - 1, static_cast<std::size_t>(share * static_cast<double>(kBars.size())))];
  });
  return text;
}

nlohmann::ordered_json figures_json(const LiveFigures &figures) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  const auto put = [&object](const char *name, const std::optional<Distribution> &values) {
    if (values) object[name] = {{"p50", values->p50}, {"p99", values->p99}, {"max", values->max}};
  };
  put("delta_us", figures.distance);
  put("latency_us", figures.latency);
  return object;
}

}  // namespace

std::vector<std::string> live_block(LiveRun &run, Clock::time_point now, std::size_t width) {
  const LiveView view = run.view(now);
  std::vector<std::string> block;
  block.push_back(fmt::format("{} frames  {:.0f} frames/s  {:.0f} kbit/s  gaps {}, {} frames missing", view.frames,
                              view.rate, view.bitrate_bps / 1000, view.gaps, view.missing));
  block.push_back(fmt::format("distance us  1 s: {}", figures_text(view.last_second.distance)));
  block.push_back(fmt::format("             run: {}", figures_text(view.whole_run.distance)));
  block.push_back(fmt::format("latency us   1 s: {}", figures_text(view.last_second.latency)));
  block.push_back(fmt::format("             run: {}", figures_text(view.whole_run.latency)));
  const auto minute = run.minute(now);
  std::int64_t highest = 0;
  for (const auto &value : minute)
    highest = std::max(highest, value.value_or(0));
  const std::string scale = fmt::format("  max {}", highest);
  const std::string_view title = view.whole_run.latency || view.frames == 0 ? "last minute " : "distances   ";
  block.push_back(
      fmt::format("{}{}{}", title, bars_text(minute, width - std::min(width, title.size() + scale.size() + 1)), scale));
  if (view.in_bursts) block.emplace_back("The lines come in bursts: run the client under stdbuf -oL");
  return block;
}

std::string live_line(LiveRun &run, Clock::time_point now) {
  const LiveView view = run.view(now);
  return fmt::format(
      "{} frames, {:.0f} frames/s, {:.0f} kbit/s, gaps {}, {} frames missing; distance us: {}; latency us: {}{}",
      view.frames, view.rate, view.bitrate_bps / 1000, view.gaps, view.missing, figures_text(view.last_second.distance),
      figures_text(view.last_second.latency), view.in_bursts ? "; in bursts (stdbuf -oL)" : "");
}

std::string live_json(LiveRun &run, Clock::time_point now) {
  const LiveView view = run.view(now);
  const nlohmann::ordered_json object = {{"frames", view.frames},
                                         {"fps", view.rate},
                                         {"bitrate_bps", view.bitrate_bps},
                                         {"gaps", view.gaps},
                                         {"missing", view.missing},
                                         {"bursts", view.in_bursts},
                                         {"last_second", figures_json(view.last_second)},
                                         {"whole_run", figures_json(view.whole_run)}};
  return object.dump();
}

}  // namespace frames
