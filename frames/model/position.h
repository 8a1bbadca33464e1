// A place in a capture as users type it: a frame's number, or a time behind the first frame.
#ifndef ZEL_FRAMES_MODEL_POSITION_H
#define ZEL_FRAMES_MODEL_POSITION_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "frames/model/capture.h"

namespace frames {

struct Position {
  std::optional<std::size_t> frame;      ///< from 0
  std::optional<std::int64_t> after_us;  ///< behind the first frame's time; set when `frame` is not
};

/// "125", or a time with its unit: "12.5s", "200ms", "5us". Nothing for any other text.
std::optional<Position> parse_position(std::string_view text);

/// The frame at a position: the frame of that number, or the one shown at that time, which is the last frame not later
/// than it. Throws Unusable for a number behind the last frame and for a time in a capture without times. A time behind
/// the last frame gives the last frame.
std::size_t frame_at(const Capture &capture, const Position &position);

}  // namespace frames

#endif
