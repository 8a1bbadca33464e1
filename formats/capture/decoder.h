// Decodes coded frames to pictures.
#ifndef ZEL_FORMATS_CAPTURE_DECODER_H
#define ZEL_FORMATS_CAPTURE_DECODER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/capture/av.h"
#include "formats/capture/capture.h"
#include "formats/video_format.h"

namespace formats {

/// Decodes frames that are given in the order of the stream.
class Decoder {
 public:
  /// Fails (Unusable) for a capture whose codec is not known or has no decoder in this FFmpeg.
  explicit Decoder(const Capture &capture);

  /// Gives the decoder a frame. False when it finds the bytes faulty.
  bool send(std::span<const std::uint8_t> bytes, std::size_t number);

  /// Says that no more frames come: the pictures that the decoder still holds can be taken.
  void end();

  /// Takes the next finished picture; null when none is finished. Valid until the next call.
  const AVFrame *take();

  /// The number of the frame that a picture was coded in.
  static std::size_t number_of(const AVFrame *picture) { return static_cast<std::size_t>(picture->pts); }

  /// Whether a picture has faults that the decoder concealed.
  static bool is_faulty(const AVFrame *picture);

  /// Whether the last take() found bytes faulty instead of a picture.
  bool failed() const { return failed_; }

 private:
  CodecPtr context_;
  PacketPtr packet_;
  FramePtr frame_;
  std::vector<std::uint8_t> padded_;
  bool failed_ = false;
};

}  // namespace formats

#endif
