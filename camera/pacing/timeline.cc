// Numbers and places of a capture's frames.
#include "pacing/timeline.h"

#include <algorithm>
#include <limits>

#include "formats/capture/distance.h"

namespace camera {
namespace {

/// A distance with room for more frames is a jump of the clock, numbers that skip more have started anew.
constexpr std::uint64_t kMostMissing = 1'000'000;

std::uint64_t missing_before(const formats::FrameTable &frames, std::size_t frame, std::uint64_t length,
                             std::uint64_t nominal) {
  const bool numbered = frames.sequence.known(frame - 1) && frames.sequence.known(frame);
  const std::uint64_t missing = numbered ? formats::skipped_between(frames.sequence[frame - 1], frames.sequence[frame])
                                         : formats::room_between(length, nominal);
  return missing > kMostMissing ? 0 : missing;
}

}  // namespace

std::uint64_t grid_us(std::uint64_t number, std::uint64_t numerator, std::uint64_t denominator) {
  // Split so that nothing overflows in a run of years at a rate with a large numerator.
  constexpr std::uint64_t kSecond = 1'000'000;
  const std::uint64_t whole = number / numerator * denominator * kSecond;
  return whole + number % numerator * denominator * kSecond / numerator;
}

std::optional<std::uint64_t> nominal_distance_us(const formats::FrameTable &frames) {
  if (!frames.time_us.all(frames.count)) return std::nullopt;
  std::vector<std::int64_t> distances;
  for (std::size_t i = 1; i < frames.count; ++i) {
    const std::int64_t distance = formats::distance_us(frames.time_us[i - 1], frames.time_us[i]);
    if (distance > 0) distances.push_back(distance);
  }
  if (distances.empty()) return std::nullopt;
  const auto middle = distances.begin() + static_cast<std::ptrdiff_t>((distances.size() - 1) / 2);
  std::nth_element(distances.begin(), middle, distances.end());
  return static_cast<std::uint64_t>(*middle);
}

Timeline::Timeline(const formats::Capture &capture, std::int64_t rate_numerator, std::int64_t rate_denominator,
                   bool loops)
    : loops_(loops) {
  const formats::FrameTable &frames = capture.frames;
  const auto numerator = static_cast<std::uint64_t>(rate_numerator);
  const auto denominator = static_cast<std::uint64_t>(rate_denominator);
  const bool timed = frames.time_us.all(frames.count);
  nominal_us_ = std::max<std::uint64_t>(nominal_distance_us(frames).value_or(grid_us(1, numerator, denominator)), 1);
  if (frames.sequence.known(0)) first_sequence_ = frames.sequence[0];
  const bool has_clock = capture.has_sidecar || capture.kind == formats::SourceKind::kContainer;
  if (timed && has_clock) first_time_us_ = static_cast<std::uint64_t>(frames.time_us[0]);
  numbers_.reserve(frames.count);
  places_us_.reserve(frames.count);
  for (std::size_t i = 0; i < frames.count; ++i) {
    add_frame(frames, i, timed);
    if (!timed) places_us_[i] = grid_us(numbers_[i], numerator, denominator);
  }
}

void Timeline::add_frame(const formats::FrameTable &frames, std::size_t frame, bool timed) {
  if (frame == 0) {
    numbers_.push_back(0);
    places_us_.push_back(0);
    return;
  }
  constexpr std::uint64_t kLast = std::uint64_t{1} << 62U;  // leaves room for a start
  const std::int64_t step = timed ? formats::distance_us(frames.time_us[frame - 1], frames.time_us[frame]) : 0;
  const std::uint64_t length = step > 0 ? static_cast<std::uint64_t>(step) : 0;
  const std::uint64_t number = numbers_.back() + missing_before(frames, frame, length, nominal_us_) + 1;
  const bool is_countable = number <= std::numeric_limits<std::uint32_t>::max();
  numbers_.push_back(is_countable ? static_cast<std::uint32_t>(number) : numbers_.back() + 1);
  places_us_.push_back(std::min(places_us_.back() + length, kLast));
  const std::uint64_t place = places_us_.back();
  const std::int64_t passed = timed ? formats::distance_us(frames.time_us[0], frames.time_us[frame]) : 0;
  const std::int64_t offset = timed ? static_cast<std::int64_t>(static_cast<std::uint64_t>(passed) - place) : 0;
  if (offset != 0 && offsets_us_.empty()) offsets_us_.assign(frame, 0);
  if (offset != 0 || !offsets_us_.empty()) offsets_us_.push_back(offset);
}

std::optional<std::size_t> Timeline::frame(std::uint64_t number) const {
  if (has_ended(number)) return std::nullopt;
  const auto found = std::lower_bound(numbers_.begin(), numbers_.end(), number % length());
  if (*found != number % length()) return std::nullopt;
  return static_cast<std::size_t>(found - numbers_.begin());
}

std::uint64_t Timeline::place_us(std::uint64_t number) const {
  const std::uint64_t end = places_us_.back() + nominal_us_;
  if (has_ended(number)) return end + (number - length()) * nominal_us_;
  const std::uint64_t round = number / length();
  const std::uint64_t within = number % length();
  const auto found = std::lower_bound(numbers_.begin(), numbers_.end(), within);
  const auto frame = static_cast<std::size_t>(found - numbers_.begin());
  if (*found == within) return round * end + places_us_[frame];
  const std::uint64_t before = numbers_[frame - 1];
  const std::uint64_t step = (places_us_[frame] - places_us_[frame - 1]) / (*found - before);
  return round * end + places_us_[frame - 1] + (within - before) * step;
}

}  // namespace camera
