// Sorting, ranking and counting values.
#include "frames/report/spread.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "frames/model/statistics.h"

namespace frames {
namespace {

constexpr std::size_t kWhole = 10000;
constexpr std::size_t kBins = 100;
constexpr double kStepsPerDecade = 20;  ///< of the curve

std::optional<std::int64_t> value_of(const FrameTable &frames, Measured measured, std::size_t frame) {
  if (measured == Measured::kDistance) return frame == 0 ? std::nullopt : delta_us(frames, frame);
  if (!frames.latency_us.known(frame)) return std::nullopt;
  return frames.latency_us[frame];
}

}  // namespace

Values sorted_values(const FrameTable &frames, Measured measured) {
  Values values;
  for (std::size_t i = 0; i < frames.count; ++i)
    if (const auto value = value_of(frames, measured, i)) values.push_back(*value);
  std::sort(values.begin(), values.end());
  return values;
}

std::int64_t percentile_of(const Values &values, std::size_t share) {
  const std::uint64_t rank = (std::uint64_t{values.size()} * share + kWhole - 1) / kWhole;
  return values[static_cast<std::size_t>(std::max<std::uint64_t>(rank, 1) - 1)];
}

std::vector<std::pair<double, std::int64_t>> percentile_curve(const Values &values) {
  std::vector<std::pair<double, std::int64_t>> curve;
  if (values.empty()) return curve;
  const auto count = static_cast<double>(values.size());
  for (std::size_t step = 0;; ++step) {
    const double decades = static_cast<double>(step) / kStepsPerDecade;
    const double larger = std::floor(count * std::pow(10.0, -decades) + 1e-9);  // values that may exceed this one
    if (larger < 1) break;
    const auto rank = std::max<std::size_t>(values.size() - static_cast<std::size_t>(larger), 1);
    curve.emplace_back(decades, values[rank - 1]);
  }
  curve.emplace_back(std::max(std::log10(count), 1 / kStepsPerDecade), values.back());
  return curve;
}

Histogram make_histogram(const std::vector<Values> &runs) {
  double lowest = std::numeric_limits<double>::infinity();
  double highest = -lowest;
  double low = lowest;
  double high = highest;
  for (const Values &values : runs) {
    if (values.empty()) continue;
    lowest = std::min(lowest, static_cast<double>(values.front()));
    highest = std::max(highest, static_cast<double>(values.back()));
    low = std::min(low, static_cast<double>(percentile_of(values, kWhole / 1000)));
    high = std::max(high, static_cast<double>(percentile_of(values, kWhole - kWhole / 1000)));
  }
  Histogram histogram;
  histogram.counts.assign(runs.size(), std::vector<std::size_t>(kBins));
  if (lowest > highest) return histogram;
  const double margin = std::max(high - low, 1.0) / 4;
  histogram.from = std::max(lowest, low - margin);
  const double end = std::min(highest, high + margin);
  histogram.is_cut = histogram.from > lowest || end < highest;
  histogram.width = std::max((end - histogram.from) / static_cast<double>(kBins - 1), 1e-3);
  for (std::size_t run = 0; run < runs.size(); ++run) {
    for (const std::int64_t value : runs[run]) {
      const double place = (static_cast<double>(value) - histogram.from) / histogram.width + 0.5;
      ++histogram.counts[run][static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(kBins - 1)))];
    }
  }
  return histogram;
}

std::vector<WorstFrame> worst_frames(const FrameTable &frames, Measured measured, std::size_t most) {
  std::vector<WorstFrame> worst;  // a heap, the least bad on top
  const auto is_worse = [](const WorstFrame &one, const WorstFrame &other) {
    return one.value != other.value ? one.value > other.value : one.frame < other.frame;
  };
  for (std::size_t i = 0; i < frames.count; ++i) {
    const auto value = value_of(frames, measured, i);
    if (!value) continue;
    const WorstFrame candidate{.frame = i, .value = *value};
    if (worst.size() == most) {
      if (!is_worse(candidate, worst.front())) continue;
      std::pop_heap(worst.begin(), worst.end(), is_worse);
      worst.pop_back();
    }
    worst.push_back(candidate);
    std::push_heap(worst.begin(), worst.end(), is_worse);
  }
  std::sort_heap(worst.begin(), worst.end(), is_worse);
  return worst;
}

}  // namespace frames
