// One frame as a file that shows its picture.
#ifndef ZEL_FRAMES_MEDIA_PICTURE_FILE_H
#define ZEL_FRAMES_MEDIA_PICTURE_FILE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

/// The bytes of a PNG file with the frame's picture. Throws Unusable when the frame cannot be decoded, and for an
/// uncompressed one whose picture size is not known or is another one.
std::vector<std::uint8_t> png_of_frame(const Capture &capture, std::size_t frame);

}  // namespace frames

#endif
