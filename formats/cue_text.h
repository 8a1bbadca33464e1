// The text of a subtitle cue: a frame's time.
#ifndef ZEL_FORMATS_CUE_TEXT_H
#define ZEL_FORMATS_CUE_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace formats {

/// A time in microseconds as hours, minutes, seconds and six digits of fraction: 3'723'000'001 gives "01:02:03.000001".
/// The hours are all of them, not reduced to a day, with at least two digits: a time since the Unix epoch has six. A
/// negative time has a leading minus. Every value has a text.
std::string cue_text(std::int64_t microseconds);

/// The time in microseconds that cue_text() gives this text for; none when it gives it for no time.
std::optional<std::int64_t> parse_cue_text(std::string_view text);

}  // namespace formats

#endif
