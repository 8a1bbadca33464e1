// Reading the client's frame lines back.
#include "formats/report_line.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <limits>

namespace formats {
namespace {

constexpr bool is_digit(char character) {
  return character >= '0' && character <= '9';
}

/// Goes through a line from its start. Each step takes what it reads, or gives false and leaves the rest undefined.
class Cursor {
 public:
  explicit Cursor(std::string_view line) : rest_(line) {}

  bool at_end() const { return rest_.empty(); }

  /// A template, so that each comparison is of a length that the compiler knows.
  template <std::size_t N>
  bool skip(const char (&literal)[N]) {
    constexpr std::size_t kLength = N - 1;  // without the terminator
    if (rest_.size() < kLength || std::memcmp(rest_.data(), literal, kLength) != 0) return false;
    rest_.remove_prefix(kLength);
    return true;
  }

  /// A decimal number as printf pads it: blanks up to `width` characters, none when the number has as many itself.
  template <std::unsigned_integral Number>
  bool number(std::size_t width, Number &value) {
    return padding(width) && digits(value) && padded_to(width);
  }

  /// The same with a sign, which is a minus or none.
  bool number(std::size_t width, std::int32_t &value) {
    if (!padding(width)) return false;
    const bool negative = skip("-");
    std::uint32_t magnitude = 0;
    if (!digits(magnitude) || !padded_to(width)) return false;
    constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();
    if (magnitude > kLargest + (negative ? 1U : 0U) || (negative && magnitude == 0)) return false;
    value = static_cast<std::int32_t>(negative ? -magnitude : magnitude);
    return true;
  }

  /// Eight small hexadecimal digits.
  bool hexadecimal(std::uint32_t &value) {
    constexpr std::size_t kDigits = 8;
    if (rest_.size() < kDigits) return false;
    value = 0;
    for (const char character : rest_.substr(0, kDigits)) {
      const bool is_letter = character >= 'a' && character <= 'f';
      if (!is_digit(character) && !is_letter) return false;
      value = value << 4U | static_cast<std::uint32_t>(is_letter ? character - 'a' + 10 : character - '0');
    }
    rest_.remove_prefix(kDigits);
    return true;
  }

  /// Everything up to `literal`, which is skipped, without the blanks before it.
  bool text_before(std::string_view literal, std::string_view &text) {
    const std::size_t end = rest_.find(literal);
    if (end == std::string_view::npos) return false;
    text = rest_.substr(0, rest_.find_last_not_of(' ', end == 0 ? 0 : end - 1) + 1);
    if (end == 0) text = {};
    rest_.remove_prefix(end + literal.size());
    return true;
  }

 private:
  /// Skips the blanks before a number: always fewer than its width.
  bool padding(std::size_t width) {
    length_ = rest_.size();
    std::size_t blanks = 0;
    while (blanks < length_ && rest_[blanks] == ' ')
      ++blanks;
    rest_.remove_prefix(blanks);
    padded_ = rest_.size() < length_;
    return length_ - rest_.size() < width || !padded_;
  }

  /// Whether all since padding() is as long as it has to be.
  bool padded_to(std::size_t width) const {
    const std::size_t length = length_ - rest_.size();
    return padded_ ? length == width : length >= width;
  }

  /// At least one digit, no zero before others, no number beyond the type's range.
  template <std::unsigned_integral Number>
  bool digits(Number &value) {
    constexpr std::size_t kFitting = std::numeric_limits<Number>::digits10;  // so many digits always fit
    const char *const begin = rest_.data();
    const char *const end = begin + rest_.size();
    const char *const fitting = begin + std::min(kFitting, rest_.size());
    const char *place = begin;
    for (value = 0; place != fitting && is_digit(*place); ++place)
      value = static_cast<Number>(value * 10 + static_cast<Number>(*place - '0'));
    for (; place != end && is_digit(*place); ++place) {
      const auto digit = static_cast<Number>(*place - '0');
      if (!can_append(value, digit)) return false;
      value = static_cast<Number>(value * 10 + digit);
    }
    const auto length = static_cast<std::size_t>(place - begin);
    if (length == 0 || (*begin == '0' && length > 1)) return false;
    rest_.remove_prefix(length);
    return true;
  }

  template <std::unsigned_integral Number>
  static bool can_append(Number value, Number digit) {
    constexpr Number kLargest = std::numeric_limits<Number>::max();
    return value < kLargest / 10 || (value == kLargest / 10 && digit <= kLargest % 10);
  }

  std::string_view rest_;
  std::size_t length_ = 0;  ///< of the rest before the number that is being read
  bool padded_ = false;     ///< blanks stand before it
};

bool read_column(Cursor &cursor, ReportLine &result) {
  if (cursor.skip(kReportLatency)) {
    result.column = ReportColumn::kLatency;
  } else if (cursor.skip(kReportUtc)) {
    result.column = ReportColumn::kUtc;
  } else if (cursor.skip(kReportCustom)) {
    result.column = ReportColumn::kCustom;
  } else {
    return false;
  }
  return cursor.skip(" = ") && cursor.number(7, result.value) && cursor.skip(" µs, ");
}

bool read_size_and_capacity(Cursor &cursor, ReportLine &result) {
  return cursor.skip("size = ") && cursor.number(1, result.size) && cursor.skip("/") &&
         cursor.number(1, result.capacity);
}

/// What follows "type = ".
bool read_default(Cursor &cursor, ReportLine &result) {
  result.shape = ReportShape::kDefault;
  return cursor.text_before(", Δpts = ", result.type) && cursor.number(7, result.delta_pts) && cursor.skip(", ") &&
         read_column(cursor, result) && cursor.skip("size = ") && cursor.number(1, result.size);
}

/// What follows the first "Δcts = ".
bool read_stats(Cursor &cursor, ReportLine &result) {
  result.shape = ReportShape::kStats;
  return cursor.number(7, result.delta_cts) && cursor.skip(", Δpts = ") && cursor.number(7, result.delta_pts) &&
         cursor.skip(", ") && read_column(cursor, result) && read_size_and_capacity(cursor, result);
}

/// What follows "id = ".
bool read_debug(Cursor &cursor, ReportLine &result) {
  result.shape = ReportShape::kDebug;
  return cursor.skip("0x") && cursor.hexadecimal(result.buffer_id) && cursor.skip(", Δcts = ") &&
         cursor.number(7, result.delta_cts) && cursor.skip(", Δpts = ") && cursor.number(7, result.delta_pts) &&
         cursor.skip(", ") && read_size_and_capacity(cursor, result);
}

}  // namespace

ReportParse parse_report_line(std::string_view line, ReportLine &result) {
  if (!line.starts_with(kReportPrefix)) return ReportParse::kOther;
  line.remove_prefix(kReportPrefix.size());
  if (line.ends_with('\r')) line.remove_suffix(1);
  Cursor cursor(line);
  result = {};
  const bool numbered = cursor.number(4, result.sequence) && cursor.skip(", ");
  const bool read = numbered && (cursor.skip("type = ")   ? read_default(cursor, result)
                                 : cursor.skip("Δcts = ") ? read_stats(cursor, result)
                                 : cursor.skip("id = ")   ? read_debug(cursor, result)
                                                          : false);
  return read && cursor.at_end() ? ReportParse::kFrame : ReportParse::kMalformed;
}

}  // namespace formats
