// A column of numbers as a page holds it: few bytes, and quick to take apart in a browser.
//
// Steps from number to number (for what rises, such as times) or distances from the smallest number are written as
// so many bytes as the largest needs: first the lowest byte of all numbers, then the next byte of all, up to the
// highest. That is deflated (zlib's format) and written as base64. A step is folded: 0, -1, 1, -2 ... are 0, 1, 2, 3
// ... A number that is not known repeats the one before it; a second row of one byte a number, deflated too, says
// which are.
#ifndef ZEL_FRAMES_REPORT_PACKED_COLUMN_H
#define ZEL_FRAMES_REPORT_PACKED_COLUMN_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace frames {

/// Numbers of 64 bits, signed or not; `known` is empty when all are.
struct NumberRow {
  std::vector<std::uint64_t> bits;
  std::vector<bool> known;
  bool is_signed = true;

  bool is_known(std::size_t index) const { return known.empty() || known[index]; }
};

struct PackedColumn {
  std::string first;      ///< in decimal: what the first step, or every distance, is added to
  std::size_t width = 1;  ///< bytes a number, 1 to 8
  bool is_steps = false;
  bool is_signed = true;
  bool is_wide = false;  ///< some number is beyond ±(2^53 − 1), which a double does not hold
  std::string data;      ///< base64
  std::string known;     ///< base64; empty: all are known
};

/// Packs at least one number.
PackedColumn pack_column(const NumberRow &row, bool as_steps);

}  // namespace frames

#endif
