// Walking over the units that a coded frame is made of.
#include "formats/units.h"

#include <limits>

namespace formats {
namespace {

/// Reads a number of AV1's leb128 coding and moves the place behind it. None when the bytes end inside it, or when it
/// is above 32 bits, which AV1 allows no size to be.
std::optional<std::uint32_t> read_leb128(std::span<const std::uint8_t> bytes, std::size_t &place) {
  constexpr unsigned kMostBytes = 8;
  std::uint64_t value = 0;
  for (unsigned i = 0; i < kMostBytes && place < bytes.size(); ++i) {
    const std::uint8_t byte = bytes[place++];
    value |= std::uint64_t{byte & 0x7FU} << (7 * i);
    if ((byte & 0x80U) != 0) continue;
    if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(value);
  }
  return std::nullopt;
}

}  // namespace

std::optional<NalUnit> next_nal_unit(std::span<const std::uint8_t> bytes, std::size_t from) {
  constexpr std::size_t kStartCode = 3;
  for (std::size_t i = from; i < bytes.size() && bytes.size() - i > kStartCode; ++i) {
    if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) continue;
    const bool has_fourth = i > from && bytes[i - 1] == 0;
    return NalUnit{.start = has_fourth ? i - 1 : i, .payload = i + kStartCode};
  }
  return std::nullopt;
}

std::optional<Obu> obu_at(std::span<const std::uint8_t> bytes, std::size_t from) {
  if (from >= bytes.size()) return std::nullopt;
  const std::uint8_t header = bytes[from];
  const bool is_forbidden = (header & 0x80U) != 0;
  const bool has_extension = (header & 4U) != 0;
  Obu obu{.type = header >> 3U & 0xFU, .has_size = (header & 2U) != 0};
  if (is_forbidden) return std::nullopt;
  obu.payload = from + (has_extension ? 2 : 1);
  if (obu.payload > bytes.size()) return std::nullopt;
  if (!obu.has_size) {
    obu.end = bytes.size();
    return obu;
  }
  const std::optional<std::uint32_t> size = read_leb128(bytes, obu.payload);
  if (!size) return std::nullopt;
  constexpr std::size_t kEnd = std::numeric_limits<std::size_t>::max();
  obu.end = *size > kEnd - obu.payload ? kEnd : obu.payload + *size;
  return obu;
}

}  // namespace formats
