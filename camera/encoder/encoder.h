// Turning pictures into frames.
#ifndef ZEL_CAMERA_ENCODER_H
#define ZEL_CAMERA_ENCODER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "common/av.h"
#include "settings/grant.h"

namespace camera {

/// A coded picture.
struct Coded {
  std::vector<std::uint8_t> bytes;
  std::size_t header_size = 0;  ///< parameter sets or sequence header at the start
  std::uint32_t type = 0;       ///< a FrameType
  bool key = false;
};

/// Codes one picture at a time; every picture gives exactly one frame.
class Encoder {
 public:
  Encoder() = default;
  Encoder(const Encoder &) = delete;
  Encoder &operator=(const Encoder &) = delete;
  virtual ~Encoder() = default;

  /// The pixel format of the pictures that it takes.
  virtual AVPixelFormat pixel_format() const = 0;

  /// Codes a picture, as a key frame when asked to. Throws AvFailure.
  virtual Coded encode(AVFrame &picture, bool key) = 0;
};

/// The encoder for the plan's format. Throws AvFailure when it cannot be had.
std::unique_ptr<Encoder> make_encoder(const Plan &plan);

/// The parts of make_encoder(): formats that libavcodec codes, and uncompressed ones.
std::unique_ptr<Encoder> make_codec_encoder(const Plan &plan);
std::unique_ptr<Encoder> make_raw_encoder(const Plan &plan);

/// Whether the format is uncompressed.
constexpr bool is_raw_format(std::uint32_t format) {
  return format == kFormatNv12 || format == kFormatI420 || format == kFormatGray || format == kFormatRgb;
}

/// The room that a buffer for the plan's frames needs: the exact size of a raw frame; a byte a pixel for coded ones.
std::size_t frame_capacity(const Plan &plan);

}  // namespace camera

#endif
