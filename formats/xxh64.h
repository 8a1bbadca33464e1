// The hash XXH64 with the seed 0: what stands in a recording for bytes that are left out. It costs less than a copy of
// them. Everything is inline: who records has no library of ours.
#ifndef ZEL_FORMATS_XXH64_H
#define ZEL_FORMATS_XXH64_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "formats/little_endian.h"

namespace formats {

namespace xxh64_parts {

inline constexpr std::uint64_t kPrime1 = 0x9E3779B185EBCA87U;
inline constexpr std::uint64_t kPrime2 = 0xC2B2AE3D27D4EB4FU;
inline constexpr std::uint64_t kPrime3 = 0x165667B19E3779F9U;
inline constexpr std::uint64_t kPrime4 = 0x85EBCA77C2B2AE63U;
inline constexpr std::uint64_t kPrime5 = 0x27D4EB2F165667C5U;

constexpr std::uint64_t round(std::uint64_t lane, std::uint64_t input) {
  return std::rotl(lane + input * kPrime2, 31) * kPrime1;
}

constexpr std::uint64_t merge(std::uint64_t hash, std::uint64_t lane) {
  return (hash ^ round(0, lane)) * kPrime1 + kPrime4;
}

constexpr std::uint64_t avalanche(std::uint64_t hash) {
  hash = (hash ^ (hash >> 33U)) * kPrime2;
  hash = (hash ^ (hash >> 29U)) * kPrime3;
  return hash ^ (hash >> 32U);
}

}  // namespace xxh64_parts

/// The hash of `size` bytes.
inline std::uint64_t xxh64(const std::uint8_t *bytes, std::size_t size) {
  using namespace xxh64_parts;
  const std::uint8_t *const end = bytes + size;
  std::uint64_t hash = kPrime5;
  if (size >= 32) {
    std::uint64_t lanes[4] = {kPrime1 + kPrime2, kPrime2, 0, std::uint64_t{0} - kPrime1};
    for (; end - bytes >= 32; bytes += 32) {
      for (std::size_t i = 0; i < 4; ++i)
        lanes[i] = round(lanes[i], load_little_endian<std::uint64_t>(bytes + 8 * i));
    }
    hash = std::rotl(lanes[0], 1) + std::rotl(lanes[1], 7) + std::rotl(lanes[2], 12) + std::rotl(lanes[3], 18);
    for (const std::uint64_t lane : lanes)
      hash = merge(hash, lane);
  }
  hash += size;
  for (; end - bytes >= 8; bytes += 8)
    hash = std::rotl(hash ^ round(0, load_little_endian<std::uint64_t>(bytes)), 27) * kPrime1 + kPrime4;
  if (end - bytes >= 4) {
    hash = std::rotl(hash ^ (load_little_endian<std::uint32_t>(bytes) * kPrime1), 23) * kPrime2 + kPrime3;
    bytes += 4;
  }
  for (; bytes != end; ++bytes)
    hash = std::rotl(hash ^ (*bytes * kPrime5), 11) * kPrime1;
  return avalanche(hash);
}

}  // namespace formats

#endif
