// Distances between frames: in time, and in sequence numbers.
#ifndef ZEL_FORMATS_CAPTURE_DISTANCE_H
#define ZEL_FORMATS_CAPTURE_DISTANCE_H

#include <cstdint>

namespace formats {

/// How far a time is behind another, in us, without a signed overflow whatever a file says.
constexpr std::int64_t distance_us(std::int64_t from, std::int64_t to) {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from));
}

/// Frames that lie between two sequence numbers. Numbers that start again skip nothing.
constexpr std::uint64_t skipped_between(std::uint32_t before, std::uint32_t number) {
  const std::uint32_t step = number - before;
  return step > 1 && step <= INT32_MAX ? step - 1 : 0;
}

/// Frames that a distance between two has room for: the nearest number of nominal distances, less one. None up to one
/// and a half times the nominal distance, nor where that is 0.
constexpr std::uint64_t room_between(std::uint64_t length, std::uint64_t nominal) {
  if (nominal == 0 || length <= nominal + nominal / 2) return 0;
  return length / nominal + (length % nominal >= nominal - nominal / 2 ? 1 : 0) - 1;
}

}  // namespace formats

#endif
