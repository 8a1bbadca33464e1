// Whether every frame of a capture decodes.
#ifndef ZEL_FRAMES_MEDIA_DECODE_CHECK_H
#define ZEL_FRAMES_MEDIA_DECODE_CHECK_H

#include "frames/model/capture.h"

namespace frames {

/// Decodes the whole capture. Adds a finding "decode" for each frame that does not decode without error, and for each
/// shown one that does not give one picture; uncompressed frames must have the size of a picture. Throws Unusable for a
/// capture without bytes, of an unknown codec, or of uncompressed frames whose picture size is not known.
void check_decoding(const Capture &capture, Findings &findings);

}  // namespace frames

#endif
