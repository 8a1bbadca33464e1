// Key frames decoded, scaled down and coded as JPEG.
#include "frames/report/thumbnails.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

#include "frames/common/unusable.h"
#include "frames/media/av.h"
#include "frames/media/picture.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace frames {
namespace {

constexpr int kWidth = 160;       ///< pixels
constexpr int kMostHeight = 320;  ///< of a picture that is higher than wide
constexpr int kQuality = 6;       ///< of 2 (best) to 31

std::vector<std::size_t> key_frames(const FrameTable &frames) {
  std::vector<std::size_t> keys;
  for (std::size_t i = 0; i < frames.count; ++i)
    if (frames.key.known(i) && frames.key[i] != 0) keys.push_back(i);
  return keys;
}

/// So many of them, the first and the last among them.
std::vector<std::size_t> spread_evenly(const std::vector<std::size_t> &all, std::size_t most) {
  if (all.size() <= most) return all;
  std::vector<std::size_t> some;
  for (std::size_t i = 0; i < most; ++i)
    some.push_back(all[i * (all.size() - 1) / (most - 1)]);
  return some;
}

FramePtr scaled_down(const AVFrame &picture) {
  struct FreeScaler {
    void operator()(SwsContext *context) const { sws_freeContext(context); }
  };
  FramePtr small(av_frame_alloc());
  if (small == nullptr) throw std::bad_alloc();
  small->format = AV_PIX_FMT_YUVJ420P;
  small->width = kWidth;
  const std::int64_t height = std::int64_t{picture.height} * kWidth / std::max(picture.width, 1);
  small->height = static_cast<int>(std::clamp<std::int64_t>(height, 2, kMostHeight)) & ~1;
  const std::unique_ptr<SwsContext, FreeScaler> scaler(
      sws_getContext(picture.width, picture.height, static_cast<AVPixelFormat>(picture.format), small->width,
                     small->height, AV_PIX_FMT_YUVJ420P, SWS_AREA, nullptr, nullptr, nullptr));
  if (scaler == nullptr) return nullptr;
  if (av_frame_get_buffer(small.get(), 0) < 0) throw std::bad_alloc();
  sws_scale(scaler.get(), picture.data, picture.linesize, 0, picture.height, small->data, small->linesize);
  return small;
}

std::vector<std::uint8_t> jpeg_of(AVFrame &picture) {
  const AVCodec *codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  if (codec == nullptr) return {};
  const CodecPtr context(avcodec_alloc_context3(codec));
  const PacketPtr packet(av_packet_alloc());
  if (context == nullptr || packet == nullptr) throw std::bad_alloc();
  context->width = picture.width;
  context->height = picture.height;
  context->pix_fmt = AV_PIX_FMT_YUVJ420P;
  context->time_base = {1, 1};
  context->flags |= AV_CODEC_FLAG_QSCALE;
  context->global_quality = kQuality * FF_QP2LAMBDA;
  picture.quality = context->global_quality;
  picture.pts = 0;
  if (avcodec_open2(context.get(), codec, nullptr) < 0 || avcodec_send_frame(context.get(), &picture) < 0 ||
      avcodec_receive_packet(context.get(), packet.get()) < 0) {
    return {};
  }
  return {packet->data, packet->data + packet->size};
}

std::optional<Thumbnail> thumbnail_of(const Capture &capture, std::size_t frame) {
  try {
    const FramePtr picture = picture_of(capture, frame);
    const FramePtr small = scaled_down(*picture);
    if (small == nullptr) return std::nullopt;
    Thumbnail thumbnail{.frame = frame, .width = small->width, .height = small->height, .jpeg = jpeg_of(*small)};
    if (thumbnail.jpeg.empty()) return std::nullopt;
    return thumbnail;
  } catch (const Unusable &) {
    return std::nullopt;  // the check says what is wrong with the frame
  }
}

}  // namespace

std::vector<Thumbnail> make_thumbnails(const Capture &capture, std::size_t most) {
  std::vector<Thumbnail> thumbnails;
  if (!capture.has_bytes() || !capture.codec) return thumbnails;
  for (const std::size_t frame : spread_evenly(key_frames(capture.frames), most))
    if (auto thumbnail = thumbnail_of(capture, frame)) thumbnails.push_back(std::move(*thumbnail));
  return thumbnails;
}

}  // namespace frames
