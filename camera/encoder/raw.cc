// Uncompressed frames: the picture's planes one after the other, rows padded as "simd.align" says.
#include "encoder/encoder.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>

namespace camera {
namespace {

AVPixelFormat raw_pixel_format(std::uint32_t format) {
  switch (format) {
    case kFormatNv12:
      return AV_PIX_FMT_NV12;
    case kFormatI420:
      return AV_PIX_FMT_YUV420P;
    case kFormatGray:
      return AV_PIX_FMT_GRAY8;
    default:
      return AV_PIX_FMT_RGB24;
  }
}

std::size_t raw_size(const Plan &plan) {
  const int size = av_image_get_buffer_size(raw_pixel_format(plan.format), static_cast<int>(plan.width),
                                            static_cast<int>(plan.height), static_cast<int>(plan.alignment));
  return static_cast<std::size_t>(av_check(size, "Raw frame"));
}

class RawEncoder : public Encoder {
 public:
  explicit RawEncoder(const Plan &plan)
      : format_(raw_pixel_format(plan.format)), size_(raw_size(plan)), alignment_(static_cast<int>(plan.alignment)) {}

  AVPixelFormat pixel_format() const override { return format_; }

  Coded encode(AVFrame &picture, bool /*key*/) override {
    Coded coded;
    coded.bytes.resize(size_);
    av_check(av_image_copy_to_buffer(coded.bytes.data(), static_cast<int>(size_), picture.data, picture.linesize,
                                     format_, picture.width, picture.height, alignment_),
             "Raw frame");
    coded.type = kFrameRaw;
    coded.key = true;
    return coded;
  }

 private:
  AVPixelFormat format_;
  std::size_t size_;
  int alignment_;
};

}  // namespace

std::unique_ptr<Encoder> make_raw_encoder(const Plan &plan) {
  return std::make_unique<RawEncoder>(plan);
}

std::unique_ptr<Encoder> make_encoder(const Plan &plan) {
  return is_raw_format(plan.format) ? make_raw_encoder(plan) : make_codec_encoder(plan);
}

std::size_t frame_capacity(const Plan &plan) {
  constexpr std::size_t kLeast = std::size_t{64} * 1024;
  if (is_raw_format(plan.format)) return raw_size(plan);
  return std::max(std::size_t{plan.width} * plan.height, kLeast);
}

}  // namespace camera
