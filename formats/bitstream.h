// What a frame's bytes say about it. Nothing here reads beyond the bytes that it is given, whatever they are; the first
// ones of a frame are enough, more are needed only when they do not tell.
//
// H.264 and H.265 frames have start codes, AV1 frames are open bitstream units with sizes.
#ifndef ZEL_FORMATS_BITSTREAM_H
#define ZEL_FORMATS_BITSTREAM_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "formats/video_format.h"

namespace formats {

enum class KeyState : std::uint8_t {
  kUnknown,  ///< the bytes do not tell yet: more are needed
  kKey,
  kOther,
};

/// Whether decoding can begin with the frame that begins with `bytes`: an H.264 IDR picture, an H.265 IDR, CRA or BLA
/// picture, an AV1 key frame; always for JPEG and uncompressed frames. The frame's first picture decides. `whole`: the
/// bytes are all of the frame, so that one without a picture is kOther instead of kUnknown.
KeyState frame_key(Codec codec, std::span<const std::uint8_t> bytes, bool whole);

/// Whether decoding the frame gives a picture to show: false for an AV1 frame that is only kept for later ones. The
/// bytes are all of the frame.
bool frame_is_shown(Codec codec, std::span<const std::uint8_t> bytes);

/// Whether the bytes begin as a frame of the codec does: a start code of 3 or 4 bytes and the header of a unit that
/// exists, JPEG's first marker and the next one's first byte, the header of an AV1 unit that has a size. 10 bytes are
/// enough to tell; a beginning that is cut before that is none. Uncompressed frames begin with any bytes.
bool frame_starts_well(Codec codec, std::span<const std::uint8_t> bytes);

/// Bytes of codec header at the frame's start: its parameter sets up to the first unit that is none; in AV1 the
/// temporal delimiter and the sequence header, 0 without a sequence header; 0 for JPEG and uncompressed frames. None
/// when the bytes end before that is known, which they never do when they are the `whole` frame.
std::optional<std::size_t> header_size(Codec codec, std::span<const std::uint8_t> bytes, bool whole);

/// Whether the frame brings what decoding needs before its first picture: SPS and PPS in H.264, VPS, SPS and PPS in
/// H.265, a sequence header in AV1; always for JPEG and uncompressed frames.
bool has_parameter_sets(Codec codec, std::span<const std::uint8_t> bytes);

}  // namespace formats

#endif
