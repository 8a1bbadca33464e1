// Decoded pictures of a stream.
#ifndef ZEL_TEST_PICTURE_DECODER_H
#define ZEL_TEST_PICTURE_DECODER_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/camera_fixture.h"

/// A picture of 8 bits a sample: brightness, and the two colour planes at their own size.
struct DecodedPicture {
  int width = 0;
  int height = 0;
  int chroma_width = 0;
  int chroma_height = 0;
  std::vector<std::uint8_t> luma;
  std::vector<std::uint8_t> blue;
  std::vector<std::uint8_t> red;
  bool key = false;
  int profile = 0;     ///< libavcodec's number
  int depth = 0;       ///< bits a sample as coded
  std::string pixels;  ///< name of the pixel format as decoded
  int quantiser = -1;  ///< H.264 only

  int at(int x, int y) const { return luma[static_cast<std::size_t>(y * width + x)]; }
};

/// Decodes coded frames; `codec` is a name of libavcodec's decoders: "h264", "hevc", "mjpeg", "libdav1d". Every frame
/// must decode without an error and give one picture.
std::vector<DecodedPicture> decode(const std::string &codec, const std::vector<Seen> &frames);

/// A raw frame of the given pixel format as a picture.
DecodedPicture from_raw(const Seen &frame, const std::string &pixels, int width, int height, int alignment = 1);

/// The mean absolute difference of the brightness, in steps of 255.
double difference(const DecodedPicture &one, const DecodedPicture &other);

/// The same of a part of the pictures.
double difference(const DecodedPicture &one, const DecodedPicture &other, int left, int top, int width, int height);

#endif
