// Measuring a capture.
#include "frames/model/statistics.h"

#include <algorithm>
#include <future>

namespace frames {
namespace {

/// The values of a column from a frame on.
template <typename Number>
auto column_values(const Column<Number> &column, std::size_t from, std::size_t count) {
  return [&column, from, count](auto &&visit) {
    column.visit(from, count, [&visit](Number value) { visit(static_cast<std::int64_t>(value)); });
  };
}

/// The known distances between frames that follow each other.
auto distances(const FrameTable &frames) {
  return [&frames](auto &&visit) {
    const Column<std::int64_t> &times = frames.time_us;
    if (times.all(frames.count)) {
      std::int64_t before = frames.count > 0 ? times[0] : 0;
      times.visit(1, frames.count, [&visit, &before](std::int64_t time) {
        visit(distance_us(before, time));
        before = time;
      });
      return;
    }
    for (std::size_t i = 1; i < frames.count; ++i)
      if (times.known(i - 1) && times.known(i)) visit(distance_us(times[i - 1], times[i]));
  };
}

/// The sizes of the frames that are key frames, or of the others.
auto sizes_of(const FrameTable &frames, bool keys) {
  return [&frames, keys](auto &&visit) {
    for (std::size_t i = 0; i < frames.count; ++i)
      if (frames.key.known(i) && (frames.key[i] != 0) == keys) visit(frames.size[i]);
  };
}

void find_gaps(const FrameTable &frames, Statistics &result) {
  const Column<std::int64_t> &times = frames.time_us;
  const bool all_timed = times.all(frames.count);
  const Column<std::uint32_t> &numbers = frames.sequence;
  const bool all_numbered = numbers.all(frames.count);
  const auto nominal = static_cast<std::uint64_t>(result.nominal_us.value_or(0));
  for (std::size_t i = 1; i < frames.count; ++i) {
    const bool timed = all_timed || (times.known(i - 1) && times.known(i));
    const std::int64_t delta = timed ? distance_us(times[i - 1], times[i]) : 0;
    if (timed && delta <= 0) (delta < 0 ? result.backwards : result.repeated).push_back(i);
    const std::uint64_t length = delta > 0 ? static_cast<std::uint64_t>(delta) : 0;
    const std::optional<std::uint64_t> skipped =
        all_numbered ? formats::skipped_between(numbers[i - 1], numbers[i]) : skipped_before(frames, i);
    const std::uint64_t room = formats::room_between(length, nominal);
    if (room == 0 && skipped.value_or(0) == 0) continue;
    result.gaps.push_back({.after = i - 1,
                           .delta_us = timed ? std::optional(delta) : std::nullopt,
                           .missing = skipped ? *skipped : room});
  }
  if (!frames.time_us.any() && !frames.sequence.any()) return;
  result.missing = 0;
  for (const Gap &gap : result.gaps)
    *result.missing += gap.missing;
}

std::optional<Gops> measure_gops(const FrameTable &frames) {
  Gops gops;
  std::size_t first = 0;
  std::size_t start = 0;
  const auto end_gop = [&](std::size_t end) {
    const std::size_t length = end - start;
    gops.min = gops.count == 0 ? length : std::min(gops.min, length);
    gops.max = std::max(gops.max, length);
    ++gops.count;
  };
  bool in_gop = false;
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (!frames.key.known(i) || frames.key[i] == 0) continue;
    if (in_gop) {
      end_gop(i);
    } else {
      first = i;
    }
    in_gop = true;
    start = i;
  }
  if (!in_gop) return std::nullopt;
  end_gop(frames.count);
  gops.mean = static_cast<double>(frames.count - first) / static_cast<double>(gops.count);
  return gops;
}

void measure_rates(const FrameTable &frames, Statistics &result) {
  const std::size_t count = frames.count;
  frames.size.visit(0, count, [&result](std::uint32_t size) { result.bytes += size; });
  if (count == 0 || !frames.time_us.known(0) || !frames.time_us.known(count - 1)) return;
  result.duration_us = distance_us(frames.time_us[0], frames.time_us[count - 1]);
  if (*result.duration_us <= 0) return;
  const auto duration = static_cast<double>(*result.duration_us);
  result.fps = static_cast<double>(count - 1) * 1e6 / duration;
  result.bitrate_bps = static_cast<double>((result.bytes - frames.size[count - 1]) * 8) * 1e6 / duration;
}

}  // namespace

std::optional<std::int64_t> nominal_distance(const FrameTable &frames) {
  const auto positive = [each = distances(frames)](auto &&visit) {
    each([&visit](std::int64_t value) {
      if (value > 0) visit(value);
    });
  };
  const auto measured = measure(positive);
  return measured ? std::optional(measured->p50) : std::nullopt;
}

std::optional<std::int64_t> delta_us(const FrameTable &frames, std::size_t frame) {
  if (!frames.time_us.known(frame)) return std::nullopt;
  if (frame == 0) return 0;
  if (!frames.time_us.known(frame - 1)) return std::nullopt;
  return distance_us(frames.time_us[frame - 1], frames.time_us[frame]);
}

std::optional<std::uint64_t> skipped_before(const FrameTable &frames, std::size_t frame) {
  if (!frames.sequence.known(frame - 1) || !frames.sequence.known(frame)) return std::nullopt;
  return formats::skipped_between(frames.sequence[frame - 1], frames.sequence[frame]);
}

Statistics measure_capture(const Capture &capture) {
  const FrameTable &frames = capture.frames;
  Statistics result;
  result.frames = frames.count;
  // The sizes take as long as the times; both only read the table.
  auto size =
      std::async(std::launch::async, [&frames] { return measure(column_values(frames.size, 0, frames.count)); });
  measure_rates(frames, result);
  result.delta_us = measure(distances(frames));
  result.delta_cts_us = measure(column_values(frames.delta_cts_us, 1, frames.count));
  result.latency_us = measure(column_values(frames.latency_us, 0, frames.count));
  if (frames.key.any()) {
    result.size_key = measure(sizes_of(frames, true));
    result.size_other = measure(sizes_of(frames, false));
    result.keys = result.size_key ? result.size_key->count : 0;
    result.gop = measure_gops(frames);
  }
  const bool all_positive = result.delta_us && result.delta_us->min > 0;
  result.nominal_us = all_positive ? std::optional(result.delta_us->p50) : nominal_distance(frames);
  find_gaps(frames, result);
  result.size = size.get();
  return result;
}

}  // namespace frames
