// Repeatable chance: the same seed, name and index always give the same number.
#ifndef ZEL_CAMERA_RANDOM_H
#define ZEL_CAMERA_RANDOM_H

#include <cstdint>
#include <string_view>

namespace camera {

/// One step of the splitmix64 mixing function.
constexpr std::uint64_t mix(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31U);
}

/// A number for the `index`th decision of `name` under `seed`. Stateless, so that it depends
/// neither on other threads nor on earlier decisions.
constexpr std::uint64_t draw(std::uint64_t seed, std::string_view name, std::uint64_t index) {
  std::uint64_t value = mix(seed);
  for (const char letter : name)
    value = mix(value ^ static_cast<unsigned char>(letter));
  return mix(value ^ index);
}

/// The same as a number from 0 up to but not including 1.
constexpr double draw_fraction(std::uint64_t seed, std::string_view name, std::uint64_t index) {
  constexpr double kScale = 1.0 / static_cast<double>(std::uint64_t{1} << 53U);
  return static_cast<double>(draw(seed, name, index) >> 11U) * kScale;
}

}  // namespace camera

#endif
