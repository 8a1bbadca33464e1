// Segment limits in time and in bytes.
#include "producer/segmenter.h"

namespace camera {
namespace {

constexpr std::uint64_t kMillisecond = 1000;

/// Whether a segment that has grown to `grown` may end: at the target, or from the minimum on without a target.
bool reaches_target(const Limits &limits, std::uint64_t grown) {
  const std::uint32_t wish = limits.target != 0 ? limits.target : limits.minimum;
  return wish != 0 && grown >= wish;
}

bool reaches_maximum(const Limits &limits, std::uint64_t grown) {
  return limits.maximum != 0 && grown >= limits.maximum;
}

}  // namespace

bool Segmenter::wants_key(std::uint64_t captured_us) const {
  if (!plan_.has_segments || !open_) return false;
  return reaches_maximum(plan_.segment_ms, (captured_us - start_us_) / kMillisecond) ||
         reaches_maximum(plan_.segment_bytes, bytes_);
}

bool Segmenter::is_due(std::uint64_t captured_us) const {
  if (!open_) return true;
  const std::uint64_t milliseconds = (captured_us - start_us_) / kMillisecond;
  if (reaches_maximum(plan_.segment_ms, milliseconds) || reaches_maximum(plan_.segment_bytes, bytes_)) return true;
  if (milliseconds < plan_.segment_ms.minimum || bytes_ < plan_.segment_bytes.minimum) return false;
  return reaches_target(plan_.segment_ms, milliseconds) || reaches_target(plan_.segment_bytes, bytes_);
}

bool Segmenter::add(std::uint64_t captured_us, std::uint64_t size, bool key) {
  const bool starts = plan_.has_segments && key && is_due(captured_us);
  if (starts) {
    open_ = true;
    start_us_ = captured_us;
    bytes_ = 0;
  }
  bytes_ += size;
  return starts;
}

}  // namespace camera
