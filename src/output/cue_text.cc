// The text of a subtitle cue: a frame's time.
#include "output/cue_text.h"

#include <fmt/format.h>

// chrono's "{:%T}" is this text, but {fmt} reduces its hours to a day: hence by hand.
std::string cue_text(std::int64_t microseconds) {
  const bool negative = microseconds < 0;
  // Negated as unsigned, which the smallest value survives.
  const std::uint64_t magnitude =
      negative ? -static_cast<std::uint64_t>(microseconds) : static_cast<std::uint64_t>(microseconds);
  const std::uint64_t seconds = magnitude / 1'000'000;
  return fmt::format("{}{:02}:{:02}:{:02}.{:06}", negative ? "-" : "", seconds / 3600, seconds / 60 % 60, seconds % 60,
                     magnitude % 1'000'000);
}
