// The text of a subtitle cue: a frame's time.
#include "formats/cue_text.h"

#include <array>
#include <cstddef>

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

}  // namespace formats
