// The numbers that libzel and libavcodec give to codecs.
#include "formats/video_format.h"

#include <algorithm>
#include <array>

namespace formats {
namespace {

struct CodecNumbers {
  Codec codec;
  std::uint32_t format;
  AVCodecID id;
};

/// The codecs that have numbers; uncompressed ones have none.
constexpr std::array kCodecs = {
    CodecNumbers{Codec::kH264, kFormatH264, AV_CODEC_ID_H264},
    CodecNumbers{Codec::kH265, kFormatH265, AV_CODEC_ID_HEVC},
    CodecNumbers{Codec::kJpeg, kFormatJpeg, AV_CODEC_ID_MJPEG},
    CodecNumbers{Codec::kAv1, kFormatAv1, AV_CODEC_ID_AV1},
};

/// The row with the value in the column, or null.
template <typename Value>
const CodecNumbers *find(Value CodecNumbers::*column, Value value) {
  const auto *row =
      std::find_if(kCodecs.begin(), kCodecs.end(), [&](const CodecNumbers &entry) { return entry.*column == value; });
  return row != kCodecs.end() ? row : nullptr;
}

std::optional<Codec> codec_in(const CodecNumbers *row) {
  return row != nullptr ? std::optional(row->codec) : std::nullopt;
}

}  // namespace

std::optional<Codec> codec_of_format(std::uint32_t format) {
  return codec_in(find(&CodecNumbers::format, format));
}

AVCodecID codec_id(Codec codec) {
  const CodecNumbers *row = find(&CodecNumbers::codec, codec);
  return row != nullptr ? row->id : AV_CODEC_ID_NONE;
}

std::optional<Codec> codec_of_id(AVCodecID id) {
  return codec_in(find(&CodecNumbers::id, id));
}

bool is_uncompressed(Codec codec) {
  return codec_id(codec) == AV_CODEC_ID_NONE;
}

}  // namespace formats
