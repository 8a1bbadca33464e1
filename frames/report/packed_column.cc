// Packing columns.
#include "frames/report/packed_column.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <new>
#include <span>

#include "frames/report/markup.h"

namespace frames {
namespace {

constexpr std::uint64_t kMostExact = (std::uint64_t{1} << 53U) - 1;  ///< in a double

std::string deflated(std::span<const std::uint8_t> bytes) {
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  std::vector<std::uint8_t> packed(size);
  if (compress2(packed.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
    throw std::bad_alloc();  // nothing else fails with room for the result
  }
  return base64(std::span(packed).first(size));
}

bool is_less(const NumberRow &row, std::uint64_t one, std::uint64_t other) {
  return row.is_signed ? static_cast<std::int64_t>(one) < static_cast<std::int64_t>(other) : one < other;
}

bool is_exact(const NumberRow &row, std::uint64_t number) {
  const bool is_negative = row.is_signed && static_cast<std::int64_t>(number) < 0;
  return (is_negative ? -number : number) <= kMostExact;
}

/// 0, -1, 1, -2 ... as 0, 1, 2, 3 ...
std::uint64_t folded(std::uint64_t step) {
  return step << 1U ^ (step >> 63U != 0 ? ~std::uint64_t{0} : 0);
}

std::string decimal(const NumberRow &row, std::uint64_t number) {
  return row.is_signed ? std::to_string(static_cast<std::int64_t>(number)) : std::to_string(number);
}

std::string pack_known(const NumberRow &row) {
  if (std::find(row.known.begin(), row.known.end(), false) == row.known.end()) return {};
  return deflated(std::vector<std::uint8_t>(row.known.begin(), row.known.end()));
}

}  // namespace

PackedColumn pack_column(const NumberRow &row, bool as_steps) {
  PackedColumn column;
  column.is_steps = as_steps;
  column.is_signed = row.is_signed;
  std::optional<std::uint64_t> first;
  for (std::size_t i = 0; i < row.bits.size(); ++i) {
    if (!row.is_known(i)) continue;
    column.is_wide = column.is_wide || !is_exact(row, row.bits[i]);
    if (!first || (!as_steps && is_less(row, row.bits[i], *first))) first = row.bits[i];
  }
  column.first = decimal(row, first.value_or(0));

  std::vector<std::uint64_t> numbers;
  numbers.reserve(row.bits.size());
  std::uint64_t all = 0;  // every bit that is set in one of them
  std::uint64_t before = first.value_or(0);
  for (std::size_t i = 0; i < row.bits.size(); ++i) {
    const std::uint64_t number = row.is_known(i) ? row.bits[i] : before;
    numbers.push_back(as_steps ? folded(number - before) : number - first.value_or(0));
    all |= numbers.back();
    before = number;
  }
  column.width = std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(all)) + 7) / 8);

  std::vector<std::uint8_t> bytes;
  bytes.reserve(numbers.size() * column.width);
  for (std::size_t plane = 0; plane < column.width; ++plane) {
    for (const std::uint64_t number : numbers)
      bytes.push_back(static_cast<std::uint8_t>(number >> (8 * plane)));
  }
  column.data = deflated(bytes);
  column.known = pack_known(row);
  return column;
}

}  // namespace frames
