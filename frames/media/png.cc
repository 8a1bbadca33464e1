// libswscale and libavcodec make a PNG file of a picture.
#include "frames/media/png.h"

#include <array>
#include <new>

#include "frames/common/unusable.h"
#include "frames/media/picture.h"
#include "frames/media/picture_file.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace frames {
namespace {

struct FreeScaler {
  void operator()(SwsContext *context) const { sws_freeContext(context); }
};
using ScalerPtr = std::unique_ptr<SwsContext, FreeScaler>;

/// Pixels that PNG has.
constexpr std::array kPngPixels = {AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA,   AV_PIX_FMT_RGB48BE,  AV_PIX_FMT_RGBA64BE,
                                   AV_PIX_FMT_GRAY8, AV_PIX_FMT_GRAY8A, AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_YA16BE};

/// The pixels in which the least is lost.
AVPixelFormat best_pixels(AVPixelFormat source) {
  AVPixelFormat best = AV_PIX_FMT_NONE;
  const AVPixFmtDescriptor *description = av_pix_fmt_desc_get(source);
  const bool has_alpha = description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  for (const AVPixelFormat pixels : kPngPixels)
    best = av_find_best_pix_fmt_of_2(best, pixels, source, has_alpha ? 1 : 0, nullptr);
  return best;
}

void require(int result) {
  if (result < 0) unusable("the picture cannot be converted to PNG: {}", av_error_text(result));
}

/// A converter that works as ffmpeg's does: bicubic, chroma where 4:2:0 has it, and the picture's own colours.
ScalerPtr scaler_for(const AVFrame &picture, AVPixelFormat target) {
  ScalerPtr scaler(sws_alloc_context());
  if (scaler == nullptr) throw std::bad_alloc();
  const auto set = [&scaler](const char *name, std::int64_t value) { av_opt_set_int(scaler.get(), name, value, 0); };
  set("sws_flags", SWS_BICUBIC);
  set("srcw", picture.width);
  set("srch", picture.height);
  set("src_format", picture.format);
  set("dstw", picture.width);
  set("dsth", picture.height);
  set("dst_format", target);
  if (picture.format == AV_PIX_FMT_YUV420P) set("src_v_chr_pos", 128);
  if (picture.color_range != AVCOL_RANGE_UNSPECIFIED) set("src_range", picture.color_range == AVCOL_RANGE_JPEG);
  require(sws_init_context(scaler.get(), nullptr, nullptr));

  int *source = nullptr;
  int *target_colours = nullptr;
  int source_range = 0;
  int target_range = 0;
  int brightness = 0;
  int contrast = 0;
  int saturation = 0;
  const int known = sws_getColorspaceDetails(scaler.get(), &source, &source_range, &target_colours, &target_range,
                                             &brightness, &contrast, &saturation);
  if (known < 0) return scaler;  // pixels without colour
  const int *colours = sws_getCoefficients(picture.colorspace);
  (void)sws_setColorspaceDetails(scaler.get(), colours, source_range, colours, target_range, brightness, contrast,
                                 saturation);
  return scaler;
}

FramePtr convert(const AVFrame &picture, AVPixelFormat target) {
  FramePtr converted(av_frame_alloc());
  if (converted == nullptr) throw std::bad_alloc();
  converted->format = target;
  converted->width = picture.width;
  converted->height = picture.height;
  require(av_frame_get_buffer(converted.get(), 0));
  const ScalerPtr scaler = scaler_for(picture, target);
  require(
      sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, converted->data, converted->linesize));
  return converted;
}

}  // namespace

std::vector<std::uint8_t> png_of(const AVFrame &picture) {
  const auto source = static_cast<AVPixelFormat>(picture.format);
  const AVPixelFormat pixels = best_pixels(source);
  const FramePtr converted = convert(picture, pixels);
  const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (codec == nullptr) unusable("this FFmpeg writes no PNG");
  const CodecPtr encoder(avcodec_alloc_context3(codec));
  const PacketPtr packet(av_packet_alloc());
  if (encoder == nullptr || packet == nullptr) throw std::bad_alloc();
  encoder->width = picture.width;
  encoder->height = picture.height;
  encoder->pix_fmt = pixels;
  encoder->sample_aspect_ratio = picture.sample_aspect_ratio;
  encoder->time_base = kMicroseconds;
  require(avcodec_open2(encoder.get(), codec, nullptr));
  require(avcodec_send_frame(encoder.get(), converted.get()));
  require(avcodec_send_frame(encoder.get(), nullptr));
  require(avcodec_receive_packet(encoder.get(), packet.get()));
  return {packet->data, packet->data + packet->size};
}

std::vector<std::uint8_t> png_of_frame(const Capture &capture, std::size_t frame) {
  return png_of(*picture_of(capture, frame));
}

}  // namespace frames
