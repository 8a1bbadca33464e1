// Where the codec header of a coded frame ends.
#ifndef ZEL_CAMERA_BITSTREAM_H
#define ZEL_CAMERA_BITSTREAM_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace camera {

/// Bytes of the parameter sets at the start of an H.264 frame with start codes: up to the first unit that is none.
std::size_t h264_header_size(std::span<const std::uint8_t> frame);

/// The same for H.265.
std::size_t h265_header_size(std::span<const std::uint8_t> frame);

/// Bytes of the temporal delimiter and sequence header at the start of an AV1 frame; 0 without a sequence header.
std::size_t av1_header_size(std::span<const std::uint8_t> frame);

}  // namespace camera

#endif
