// Small pictures of key frames.
#ifndef ZEL_FRAMES_REPORT_THUMBNAILS_H
#define ZEL_FRAMES_REPORT_THUMBNAILS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

struct Thumbnail {
  std::size_t frame = 0;
  int width = 0;  ///< pixels
  int height = 0;
  std::vector<std::uint8_t> jpeg;
};

/// Pictures of at most `most` key frames, spread evenly over the capture; none without bytes. A frame that cannot be
/// decoded is left out. The key frames have been looked for.
std::vector<Thumbnail> make_thumbnails(const Capture &capture, std::size_t most);

}  // namespace frames

#endif
