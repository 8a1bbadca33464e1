// Numbers as files hold them: little-endian, at any address.
#ifndef ZEL_FORMATS_LITTLE_ENDIAN_H
#define ZEL_FORMATS_LITTLE_ENDIAN_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace formats {

/// Turns a number's bytes around where the machine has them in the other order. Its own inverse.
template <std::unsigned_integral Number>
constexpr Number swapped_on_big_endian(Number number) {
  if constexpr (std::endian::native == std::endian::little) return number;
  Number swapped = 0;
  for (std::size_t i = 0; i < sizeof number; ++i)
    swapped |= (number >> (8 * i) & 0xFF) << (8 * (sizeof number - 1 - i));
  return swapped;
}

/// Stores the number in the sizeof(Number) bytes from `bytes` on.
template <std::unsigned_integral Number>
void store_little_endian(std::uint8_t *bytes, Number number) {
  number = swapped_on_big_endian(number);
  std::memcpy(bytes, &number, sizeof number);
}

/// The number in the sizeof(Number) bytes from `bytes` on.
template <std::unsigned_integral Number>
Number load_little_endian(const std::uint8_t *bytes) {
  Number number = 0;
  std::memcpy(&number, bytes, sizeof number);
  return swapped_on_big_endian(number);
}

}  // namespace formats

#endif
