// A container's packets as the frames of a raw stream.
#ifndef ZEL_FORMATS_CAPTURE_RAW_FRAMES_H
#define ZEL_FORMATS_CAPTURE_RAW_FRAMES_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "formats/capture/av.h"
#include "formats/video_format.h"

namespace formats {

/// Turns packets into frames as a raw stream has them: NAL units with start codes in place of lengths, AV1 with
/// temporal delimiters. A key frame without parameter sets gets those of the container before it.
class RawFrames {
 public:
  RawFrames(std::optional<Codec> codec, const AVCodecParameters &parameters);

  /// The packet's frame, valid until the next call. A packet whose lengths are wrong gives the units before the fault.
  std::span<const std::uint8_t> convert(std::span<const std::uint8_t> packet);

  /// The container's parameter sets as a raw stream has them; may be empty.
  const std::vector<std::uint8_t> &parameter_sets() const { return parameter_sets_; }

 private:
  std::span<const std::uint8_t> convert_units(std::span<const std::uint8_t> packet);
  std::span<const std::uint8_t> convert_av1(std::span<const std::uint8_t> packet);

  std::optional<Codec> codec_;
  std::size_t length_size_ = 0;  ///< bytes of each NAL unit's length; 0: the packets have start codes
  std::vector<std::uint8_t> parameter_sets_;
  std::vector<std::uint8_t> frame_;
};

}  // namespace formats

#endif
