// How frames are coded: the table of all that is known about a codec.
#include "formats/video_format.h"

#include <algorithm>
#include <array>
#include <limits>

namespace formats {
namespace {

struct Row {
  Codec codec;
  std::uint32_t format;
  AVCodecID id;
  std::string_view name;
};

/// In the order of Codec.
constexpr std::array kRows = {
    Row{Codec::kH264, kFormatH264, AV_CODEC_ID_H264, "h264"},
    Row{Codec::kH265, kFormatH265, AV_CODEC_ID_HEVC, "h265"},
    Row{Codec::kJpeg, kFormatJpeg, AV_CODEC_ID_MJPEG, "jpeg"},
    Row{Codec::kAv1, kFormatAv1, AV_CODEC_ID_AV1, "av1"},
    Row{Codec::kNv12, kFormatUnknown, AV_CODEC_ID_NONE, "nv12"},
    Row{Codec::kI420, kFormatUnknown, AV_CODEC_ID_NONE, "i420"},
    Row{Codec::kGray, kFormatUnknown, AV_CODEC_ID_NONE, "gray"},
    Row{Codec::kRgb, kFormatUnknown, AV_CODEC_ID_NONE, "rgb"},
};

const Row &row_of(Codec codec) {
  return kRows[static_cast<std::size_t>(codec)];
}

template <typename Value>
std::optional<Codec> find(Value Row::*column, Value value) {
  const auto *row = std::find_if(kRows.begin(), kRows.end(), [&](const Row &entry) { return entry.*column == value; });
  return row != kRows.end() ? std::optional(row->codec) : std::nullopt;
}

}  // namespace

std::optional<Codec> codec_of_format(std::uint32_t format) {
  return format != kFormatUnknown ? find(&Row::format, format) : std::nullopt;
}

std::string_view codec_name(Codec codec) {
  return row_of(codec).name;
}

std::optional<Codec> codec_named(std::string_view name) {
  return find(&Row::name, name);
}

AVCodecID codec_id(Codec codec) {
  return row_of(codec).id;
}

std::optional<Codec> codec_of_id(AVCodecID id) {
  return id != AV_CODEC_ID_NONE ? find(&Row::id, id) : std::nullopt;
}

bool is_uncompressed(Codec codec) {
  return codec_id(codec) == AV_CODEC_ID_NONE;
}

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
