// The text of a subtitle cue: a frame's time.
#include "formats/cue_text.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace formats {
namespace {

/// Writes text from its end to its start, which is how digits come off a number.
class Backwards {
 public:
  void put(char character) { text_[--start_] = character; }

  /// The number in decimal, filled up with zeros to `least` digits.
  void put_number(std::uint64_t number, int least) {
    for (; number > 0 || least > 0; number /= 10, --least)
      put(static_cast<char>('0' + number % 10));
  }

  std::string text() const { return {text_.data() + start_, text_.size() - start_}; }

 private:
  std::array<char, 32> text_{};  // the longest text has 24 characters
  std::size_t start_ = text_.size();
};

/// Takes digits and, unless it is zero, the character behind them off the front of the text.
bool take_number(std::string_view &text, char behind, std::uint64_t &number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (behind == '\0') return true;
  if (!text.starts_with(behind)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

// chrono's "{:%T}" is this text, but {fmt} reduces its hours to a day; and every frame has a cue, which any general
// formatter makes in ten times this function's time: hence by hand.
std::string cue_text(std::int64_t microseconds) {
  const bool negative = microseconds < 0;
  // Negated as unsigned, which the smallest value survives.
  const std::uint64_t magnitude =
      negative ? -static_cast<std::uint64_t>(microseconds) : static_cast<std::uint64_t>(microseconds);
  const std::uint64_t seconds = magnitude / 1'000'000;
  Backwards text;
  text.put_number(magnitude % 1'000'000, 6);
  text.put('.');
  text.put_number(seconds % 60, 2);
  text.put(':');
  text.put_number(seconds / 60 % 60, 2);
  text.put(':');
  text.put_number(seconds / 3600, 2);
  if (negative) text.put('-');
  return text.text();
}

std::optional<std::int64_t> parse_cue_text(std::string_view text) {
  constexpr std::uint64_t kMostHours = 2'562'047'788;  // of the largest time
  std::string_view rest = text;
  const bool negative = rest.starts_with('-');
  if (negative) rest.remove_prefix(1);
  std::uint64_t hours = 0;
  std::uint64_t minutes = 0;
  std::uint64_t seconds = 0;
  std::uint64_t fraction = 0;
  if (!take_number(rest, ':', hours) || !take_number(rest, ':', minutes) || !take_number(rest, '.', seconds) ||
      !take_number(rest, '\0', fraction) || hours > kMostHours || minutes > 59 || seconds > 59) {
    return std::nullopt;
  }
  const std::uint64_t magnitude = (hours * 3600 + minutes * 60 + seconds) * 1'000'000 + fraction;
  const auto time = static_cast<std::int64_t>(negative ? -magnitude : magnitude);
  // Each time has one text: another number of digits, a sign of zero and what is out of range give another one.
  return cue_text(time) == text ? std::optional(time) : std::nullopt;
}

}  // namespace formats
