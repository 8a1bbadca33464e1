// What a player needs before the first frame: the parameter sets.
#ifndef ZEL_FRAMES_MEDIA_CODEC_HEADER_H
#define ZEL_FRAMES_MEDIA_CODEC_HEADER_H

#include <cstdint>
#include <vector>

#include "frames/model/capture.h"
#include "frames/model/frame_range.h"

namespace frames {

/// The bytes at the start of the first frame with parameter sets that are these, or all of that frame where they stand
/// behind something else. For JPEG, which has none, the first frame. Throws Unusable when no frame of the range has
/// any, for a capture whose codec is not known, and for uncompressed frames.
std::vector<std::uint8_t> find_codec_header(const Capture &capture, const FrameRange &range, FrameReader &reader);

}  // namespace frames

#endif
