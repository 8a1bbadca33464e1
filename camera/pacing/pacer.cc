// The grid of frames on the three clocks.
#include "pacing/pacer.h"

#include "common/wakeup.h"

namespace camera {

Pacer::Pacer(const CameraConfig &config, std::int64_t rate_numerator, std::int64_t rate_denominator)
    : pacing_(config.pacing),
      numerator_(static_cast<std::uint64_t>(rate_numerator)),
      denominator_(static_cast<std::uint64_t>(rate_denominator)),
      virtual_start_us_(config.start_us),
      virtual_utc_us_(config.utc_start_us) {}

void Pacer::begin(std::uint64_t sequence) {
  first_sequence_ = sequence;
  start_us_ = monotonic_us();
}

/// Split so that nothing overflows in a run of years at a rate with a large numerator.
std::uint64_t Pacer::distance_us(std::uint64_t frames) const {
  constexpr std::uint64_t kSecond = 1'000'000;
  const std::uint64_t whole = frames / numerator_ * denominator_ * kSecond;
  return whole + frames % numerator_ * denominator_ * kSecond / numerator_;
}

std::int64_t Pacer::due_us(std::uint64_t sequence) const {
  if (pacing_ != Pacing::kRealTime) return -1;
  return start_us_ + static_cast<std::int64_t>(distance_us(sequence - first_sequence_));
}

bool Pacer::is_missed(std::uint64_t sequence) const {
  return pacing_ == Pacing::kRealTime && monotonic_us() >= due_us(sequence + 1);
}

std::uint64_t Pacer::captured_us(std::uint64_t sequence) const {
  switch (pacing_) {
    case Pacing::kRealTime:
      return static_cast<std::uint64_t>(due_us(sequence));
    case Pacing::kVirtual:
      return virtual_start_us_ + distance_us(sequence);
    case Pacing::kUnpaced:
      break;
  }
  return static_cast<std::uint64_t>(monotonic_us());
}

std::uint64_t Pacer::utc_us(std::uint64_t captured) const {
  if (pacing_ == Pacing::kVirtual) return virtual_utc_us_ + (captured - virtual_start_us_);
  return captured + static_cast<std::uint64_t>(wall_clock_us() - monotonic_us());
}

std::uint64_t Pacer::now_us(std::uint64_t captured) const {
  return pacing_ == Pacing::kVirtual ? captured : static_cast<std::uint64_t>(monotonic_us());
}

}  // namespace camera
