// Frames that stand one after the other.
#ifndef ZEL_FRAMES_MODEL_FRAME_RANGE_H
#define ZEL_FRAMES_MODEL_FRAME_RANGE_H

#include <cstddef>

namespace frames {

struct FrameRange {
  std::size_t from = 0;
  std::size_t to = 0;  ///< behind the last

  std::size_t count() const { return to - from; }
};

}  // namespace frames

#endif
