// Checking limits.
#include "frames/model/limits.h"

#include <fmt/format.h>

#include <cmath>
#include <string_view>

#include "frames/common/unusable.h"

namespace frames {
namespace {

/// Ends the command for a limit on something that is not known of the capture.
void require_known(bool known, const Capture &capture, std::string_view id, std::string_view what) {
  if (!known) unusable("{}: --{}: the capture does not tell {}", capture.name, id, what);
}

bool is_above(std::int64_t value, std::uint64_t limit) {
  return value > 0 && static_cast<std::uint64_t>(value) > limit;
}

void check_rate(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  if (!limits.rate) return;
  require_known(statistics.fps.has_value(), capture, "rate", "its frame rate");
  const double room = *limits.rate * (limits.tolerance_percent / 100 + 1e-12);  // the figures are rounded
  if (std::abs(*statistics.fps - *limits.rate) <= room) return;
  findings.add({.id = "rate",
                .text = fmt::format("{:.3f} frames/s, not {:g} with a tolerance of {:g} %", *statistics.fps,
                                    *limits.rate, limits.tolerance_percent)});
}

void check_totals(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  if (limits.max_missing) {
    const FrameTable &frames = capture.frames;
    const bool known = frames.sequence.all(frames.count) || frames.time_us.all(frames.count);
    require_known(known && statistics.missing, capture, "max-missing", "how many frames are missing");
    if (*statistics.missing > *limits.max_missing) {
      findings.add({.id = "max-missing",
                    .text = fmt::format("{} frames are missing, above {}", *statistics.missing, *limits.max_missing)});
    }
  }
  if (limits.max_bitrate) {
    require_known(statistics.bitrate_bps.has_value(), capture, "max-bitrate", "its bit rate");
    if (*statistics.bitrate_bps > static_cast<double>(*limits.max_bitrate)) {
      findings.add({.id = "max-bitrate",
                    .text = fmt::format("{:.0f} bit/s, above {}", *statistics.bitrate_bps, *limits.max_bitrate)});
    }
  }
}

void check_latencies(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  const FrameTable &frames = capture.frames;
  const bool known = statistics.latency_us && frames.latency_us.all(frames.count);
  if (limits.max_latency_us) {
    require_known(known, capture, "max-latency-us", "the latency of its frames");
    for (std::size_t i = 0; i < frames.count; ++i) {
      if (!is_above(frames.latency_us[i], *limits.max_latency_us)) continue;
      findings.add({.id = "max-latency-us",
                    .text = fmt::format("the latency is {} us, above {}", frames.latency_us[i], *limits.max_latency_us),
                    .frame = i});
    }
  }
  if (limits.p99_latency_us) {
    require_known(known, capture, "p99-latency-us", "the latency of its frames");
    if (is_above(statistics.latency_us->p99, *limits.p99_latency_us)) {
      findings.add({.id = "p99-latency-us",
                    .text = fmt::format("the latency's 99th percentile is {} us, above {}", statistics.latency_us->p99,
                                        *limits.p99_latency_us)});
    }
  }
}

void check_distances(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  if (!limits.max_delta_us) return;
  const FrameTable &frames = capture.frames;
  require_known(statistics.delta_us && frames.time_us.all(frames.count), capture, "max-delta-us",
                "the distances of its frames");
  for (std::size_t i = 1; i < frames.count; ++i) {
    const std::int64_t delta = *delta_us(frames, i);
    if (!is_above(delta, *limits.max_delta_us)) continue;
    findings.add({.id = "max-delta-us",
                  .text = fmt::format("{} us behind the frame before, above {}", delta, *limits.max_delta_us),
                  .frame = i});
  }
}

void check_frame_sizes(const Capture &capture, const Limits &limits, Findings &findings) {
  if (!limits.max_frame_size) return;
  const FrameTable &frames = capture.frames;
  require_known(frames.count > 0, capture, "max-frame-size", "the size of a frame");
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (frames.size[i] <= *limits.max_frame_size) continue;
    findings.add({.id = "max-frame-size",
                  .text = fmt::format("has {} bytes, above {}", frames.size[i], *limits.max_frame_size),
                  .frame = i});
  }
}

/// Frames before the first key frame belong to no GOP.
void check_gops(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  if (!limits.gop) return;
  const FrameTable &frames = capture.frames;
  require_known(statistics.gop.has_value(), capture, "gop", "its key frames");
  std::optional<std::size_t> start;
  for (std::size_t i = 0; i <= frames.count; ++i) {
    if (i < frames.count && frames.key[i] == 0) continue;
    if (start && i - *start > *limits.gop) {
      findings.add({.id = "gop",
                    .text = fmt::format("a GOP of {} frames begins here, above {}", i - *start, *limits.gop),
                    .frame = start});
    }
    start = i;
  }
}

}  // namespace

void check_limits(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings) {
  check_rate(capture, statistics, limits, findings);
  check_totals(capture, statistics, limits, findings);
  check_latencies(capture, statistics, limits, findings);
  check_distances(capture, statistics, limits, findings);
  check_frame_sizes(capture, limits, findings);
  check_gops(capture, statistics, limits, findings);
}

}  // namespace frames
