// Reading the text of a subtitle cue.
#include <charconv>
#include <system_error>

#include "formats/cue_text.h"

namespace formats {
namespace {

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
