// One frame's picture.
#ifndef ZEL_FRAMES_MEDIA_PICTURE_H
#define ZEL_FRAMES_MEDIA_PICTURE_H

#include <cstddef>

#include "frames/media/av.h"
#include "frames/model/capture.h"

namespace frames {

/// The picture that is coded in a frame of a capture with bytes, decoded from the key frame before it. Throws Unusable
/// when it cannot be decoded, and for an uncompressed frame whose size is not known or is another one.
FramePtr picture_of(const Capture &capture, std::size_t frame);

}  // namespace frames

#endif
