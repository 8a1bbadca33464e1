// Reading places in a capture.
#include "frames/model/position.h"

#include <array>
#include <charconv>

#include "frames/common/unusable.h"
#include "frames/model/statistics.h"

namespace frames {
namespace {

struct Unit {
  std::string_view name;
  std::int64_t us;
  int decimals;  ///< digits behind the point that make whole us
};

constexpr std::array kUnits = {Unit{"us", 1, 0}, Unit{"ms", 1000, 3}, Unit{"s", 1'000'000, 6}};

std::optional<std::int64_t> parse_time(std::string_view text, const Unit &unit) {
  const char *end = text.data() + text.size();
  std::int64_t whole = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, whole);
  constexpr std::int64_t kMost = 1'000'000'000'000;  // in any unit: thousands of years in us do not overflow
  if (error != std::errc() || whole < 0 || whole > kMost || text.front() == '-') return std::nullopt;
  std::int64_t us = whole * unit.us;
  if (rest == end) return us;
  const std::string_view decimals(rest + 1, static_cast<std::size_t>(end - rest - 1));
  if (*rest != '.' || decimals.empty() || decimals.size() > static_cast<std::size_t>(unit.decimals))
    return std::nullopt;
  std::int64_t weight = unit.us;
  for (const char digit : decimals) {
    if (digit < '0' || digit > '9') return std::nullopt;
    weight /= 10;
    us += (digit - '0') * weight;
  }
  return us;
}

}  // namespace

std::optional<Position> parse_position(std::string_view text) {
  for (const Unit &unit : kUnits) {
    if (!text.ends_with(unit.name)) continue;
    text.remove_suffix(unit.name.size());
    if (text.empty()) return std::nullopt;
    const std::optional<std::int64_t> time = parse_time(text, unit);
    if (!time) return std::nullopt;
    return Position{.frame = std::nullopt, .after_us = time};
  }
  std::size_t frame = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), frame);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return Position{.frame = frame, .after_us = std::nullopt};
}

std::size_t frame_at(const Capture &capture, const Position &position) {
  const FrameTable &frames = capture.frames;
  if (frames.count == 0) unusable("{}: has no frames", capture.name);
  if (position.frame) {
    if (*position.frame < frames.count) return *position.frame;
    unusable("{}: frame {}: the last frame is {}", capture.name, *position.frame, frames.count - 1);
  }
  require_times(capture);
  std::size_t found = 0;
  for (std::size_t i = 0; i < frames.count; ++i)
    if (distance_us(frames.time_us[0], frames.time_us[i]) <= *position.after_us) found = i;
  return found;
}

}  // namespace frames
