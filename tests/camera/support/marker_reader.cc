// The marker's layout as its readers know it: 120 bits in cells of 8x8 or 4x4 pixels in the bottom rows.
#include "support/marker_reader.h"

#include <algorithm>
#include <bitset>

namespace {

constexpr int kBits = 120;

std::bitset<kBits> read_cells(const DecodedPicture &picture, int cell) {
  const int columns = std::min(picture.width / cell, kBits);
  const int rows = (kBits + columns - 1) / columns;
  const int top = (picture.height / cell - rows) * cell;
  std::bitset<kBits> bits;
  for (int bit = 0; bit < kBits; ++bit) {
    const int left = bit % columns * cell;
    const int y = top + bit / columns * cell;
    int sum = 0;
    for (int row = cell / 4; row < cell - cell / 4; ++row) {
      for (int column = cell / 4; column < cell - cell / 4; ++column)
        sum += picture.at(left + column, y + row);
    }
    bits[static_cast<std::size_t>(bit)] = sum > 128 * (cell / 2) * (cell / 2);
  }
  return bits;
}

std::uint64_t number(const std::bitset<kBits> &bits, int from, int count) {
  std::uint64_t value = 0;
  for (int bit = from; bit < from + count; ++bit) {
    value = value << 1U | static_cast<std::uint64_t>(bits[static_cast<std::size_t>(bit)]);
  }
  return value;
}

std::uint64_t checksum(const std::bitset<kBits> &bits) {
  unsigned crc = 0xFFFF;
  for (int bit = 8; bit < 104; ++bit) {
    const bool carry = (crc >> 15U) != static_cast<unsigned>(bits[static_cast<std::size_t>(bit)]);
    crc = crc << 1U & 0xFFFFU;
    if (carry) crc ^= 0x1021U;
  }
  return crc;
}

}  // namespace

std::optional<Marker> read_marker(const DecodedPicture &picture) {
  const int columns = std::min(picture.width / 8, kBits);
  const bool large = columns > 0 && (kBits + columns - 1) / columns * 16 <= picture.height;
  const std::bitset<kBits> bits = read_cells(picture, large ? 8 : 4);
  if (number(bits, 0, 8) != 0b10110010 || number(bits, 104, 16) != checksum(bits)) return std::nullopt;
  return Marker{static_cast<std::uint32_t>(number(bits, 8, 32)), number(bits, 40, 64)};
}
