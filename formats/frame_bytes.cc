// How many bytes uncompressed frames have.
#include <limits>

#include "formats/video_format.h"

namespace formats {

std::uint64_t frame_bytes(Codec codec, std::uint32_t width, std::uint32_t height) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  if (width > kMost || height > kMost) return 0;
  const std::uint64_t pixels = std::uint64_t{width} * height;
  const std::uint64_t chroma_samples = std::uint64_t{(width + 1) / 2} * ((height + 1) / 2);  // of each of two kinds
  switch (codec) {
    case Codec::kNv12:
    case Codec::kI420:
      return pixels + 2 * chroma_samples;
    case Codec::kGray:
      return pixels;
    case Codec::kRgb:
      return 3 * pixels;
    default:
      return 0;
  }
}

}  // namespace formats
