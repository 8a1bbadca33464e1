// How frames are coded: the library's numbers, libavcodec's, and the names that users know.
#ifndef ZEL_FORMATS_VIDEO_FORMAT_H
#define ZEL_FORMATS_VIDEO_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

extern "C" {
#include <libavcodec/codec_id.h>
#include <libavcodec/defs.h>
}

#include "formats/stream_format.h"

namespace formats {

/// The largest packet of libavcodec: it counts bytes in an int, and the padding comes on top.
constexpr std::size_t kMostPacketBytes = std::numeric_limits<int>::max() - AV_INPUT_BUFFER_PADDING_SIZE;

enum class Codec : std::uint8_t { kH264, kH265, kJpeg, kAv1, kNv12, kI420, kGray, kRgb };

/// The codec of a value of zel_format_get_type(); none for any but the four of StreamFormat.
std::optional<Codec> codec_of_format(std::uint32_t format);

/// "h264", "h265", "jpeg", "av1", "nv12", "i420", "gray" or "rgb".
std::string_view codec_name(Codec codec);
std::optional<Codec> codec_named(std::string_view name);

/// libavcodec's number; AV_CODEC_ID_NONE for uncompressed frames, which it tells apart by their pixels.
AVCodecID codec_id(Codec codec);
std::optional<Codec> codec_of_id(AVCodecID id);

bool is_uncompressed(Codec codec);

/// Bytes of an uncompressed frame of so many pixels, its planes one after the other and its rows without padding; an
/// odd width or height has a chroma sample for its last pixel. 0 for a codec that is none of these, and for more than
/// 2^31 − 1 pixels in one direction.
std::uint64_t frame_bytes(Codec codec, std::uint32_t width, std::uint32_t height);

}  // namespace formats

#endif
