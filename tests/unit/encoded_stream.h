// Small elementary streams for tests, made with FFmpeg's encoders.
#ifndef ZEL_CLIENT_TESTS_UNIT_ENCODED_STREAM_H
#define ZEL_CLIENT_TESTS_UNIT_ENCODED_STREAM_H

#include <cstdint>
#include <string>
#include <vector>

#include "zel/zel.h"

/// One frame as a camera would deliver it.
struct EncodedFrame {
  std::vector<std::uint8_t> bytes;  ///< parameter sets at the head of key frames
  bool key;
  gssize header_size;  ///< of those parameter sets; 0 when there are none
};

/// A moving picture, encoded. `format` is 0 H.264, 1 H.265, 2 JPEG or 10 AV1. Every `gop`th frame is a key frame, all
/// frames are in the order of their times.
std::vector<EncodedFrame> encode_stream(std::uint32_t format, int width, int height, int frames, int gop);

/// The frames one after the other, as the raw output has them.
std::string raw_bytes(const std::vector<EncodedFrame> &stream);

#endif
