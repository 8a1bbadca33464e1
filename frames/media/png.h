// A picture as a PNG file.
#ifndef ZEL_FRAMES_MEDIA_PNG_H
#define ZEL_FRAMES_MEDIA_PNG_H

#include <cstdint>
#include <vector>

#include "frames/media/av.h"

namespace frames {

/// The bytes of the file, its pixels those that the ffmpeg program makes of the picture when it is told nothing else.
/// Throws Unusable for a picture that cannot be converted.
std::vector<std::uint8_t> png_of(const AVFrame &picture);

}  // namespace frames

#endif
