// The grid of frames on the three clocks.
#include "pacing/pacer.h"

#include <algorithm>

#include "common/wakeup.h"

namespace camera {

namespace {

constexpr std::uint64_t kVirtualStartUs = 1'000'000;

std::uint64_t virtual_start(const CameraConfig &config, const Timeline *timeline) {
  if (config.start_us) return *config.start_us;
  return timeline != nullptr ? timeline->first_time_us().value_or(kVirtualStartUs) : kVirtualStartUs;
}

}  // namespace

Pacer::Pacer(const CameraConfig &config, std::int64_t rate_numerator, std::int64_t rate_denominator,
             const Timeline *timeline)
    : pacing_(config.pacing),
      numerator_(static_cast<std::uint64_t>(rate_numerator)),
      denominator_(static_cast<std::uint64_t>(rate_denominator)),
      timeline_(timeline),
      virtual_first_us_(virtual_start(config, timeline)),
      virtual_start_us_(virtual_first_us_),
      virtual_utc_us_(config.utc_start_us),
      first_sequence_(timeline != nullptr ? timeline->first_sequence() : 0) {}

void Pacer::begin(std::uint64_t sequence) {
  if (timeline_ != nullptr) virtual_start_us_ += distance_us(sequence - first_sequence_);
  first_sequence_ = sequence;
  start_us_ = monotonic_us();
}

std::uint64_t Pacer::distance_us(std::uint64_t frames) const {
  return timeline_ != nullptr ? timeline_->place_us(frames) : grid_us(frames, numerator_, denominator_);
}

std::int64_t Pacer::due_us(std::uint64_t sequence) const {
  if (pacing_ != Pacing::kRealTime) return -1;
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(start_us_) + distance_us(sequence - first_sequence_));
}

bool Pacer::is_missed(std::uint64_t sequence) const {
  if (pacing_ != Pacing::kRealTime) return false;
  std::int64_t too_late = due_us(sequence + 1);
  if (timeline_ != nullptr) {
    too_late = std::max(too_late, due_us(sequence) + static_cast<std::int64_t>(timeline_->nominal_us()));
  }
  return monotonic_us() >= too_late;
}

std::uint64_t Pacer::captured_us(std::uint64_t sequence) const {
  switch (pacing_) {
    case Pacing::kRealTime:
      return static_cast<std::uint64_t>(due_us(sequence));
    case Pacing::kVirtual:
      return virtual_start_us_ + distance_us(timeline_ != nullptr ? sequence - first_sequence_ : sequence);
    case Pacing::kUnpaced:
      break;
  }
  return static_cast<std::uint64_t>(monotonic_us());
}

std::uint64_t Pacer::utc_us(std::uint64_t captured) const {
  if (pacing_ == Pacing::kVirtual) return virtual_utc_us_ + (captured - virtual_first_us_);
  return captured + static_cast<std::uint64_t>(wall_clock_us() - monotonic_us());
}

std::uint64_t Pacer::now_us(std::uint64_t captured) const {
  return pacing_ == Pacing::kVirtual ? captured : static_cast<std::uint64_t>(monotonic_us());
}

}  // namespace camera
