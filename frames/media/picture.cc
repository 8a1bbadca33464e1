// Decoding up to a frame.
#include "frames/media/picture.h"

#include <new>

#include "formats/capture/decoder.h"
#include "frames/common/progress.h"
#include "frames/common/unusable.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace frames {
namespace {

using formats::Codec;

AVPixelFormat pixels_of(Codec codec) {
  switch (codec) {
    case Codec::kNv12:
      return AV_PIX_FMT_NV12;
    case Codec::kI420:
      return AV_PIX_FMT_YUV420P;
    case Codec::kGray:
      return AV_PIX_FMT_GRAY8;
    case Codec::kRgb:
      return AV_PIX_FMT_RGB24;
    default:
      return AV_PIX_FMT_NONE;
  }
}

/// A copy of the frame's bytes as a picture.
FramePtr uncompressed_picture(const Capture &capture, std::size_t frame) {
  if (capture.width == 0) unusable("{}: the size of its pictures is not known: --size says it", capture.name);
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  const std::span<const std::uint8_t> bytes = reader->read(frame);
  const std::uint64_t wanted = formats::frame_bytes(*capture.codec, capture.width, capture.height);
  if (bytes.size() != wanted) {
    unusable("{}: frame {}: has {} bytes, a picture of {}x{} in {} has {}", capture.name, frame, bytes.size(),
             capture.width, capture.height, formats::codec_name(*capture.codec), wanted);
  }
  FramePtr picture(av_frame_alloc());
  if (picture == nullptr) throw std::bad_alloc();
  const AVPixelFormat pixels = pixels_of(*capture.codec);
  picture->format = pixels;
  picture->width = static_cast<int>(capture.width);
  picture->height = static_cast<int>(capture.height);
  std::uint8_t *planes[4] = {};
  int strides[4] = {};
  if (av_frame_get_buffer(picture.get(), 0) < 0 ||
      av_image_fill_arrays(planes, strides, bytes.data(), pixels, picture->width, picture->height, 1) < 0) {
    throw std::bad_alloc();
  }
  av_image_copy(picture->data, picture->linesize, const_cast<const std::uint8_t **>(planes), strides, pixels,
                picture->width, picture->height);
  return picture;
}

/// Takes what the decoder has finished, until the wanted frame's picture is among it.
FramePtr take_wanted(formats::Decoder &decoder, std::size_t frame) {
  while (const AVFrame *picture = decoder.take())
    if (formats::Decoder::number_of(picture) == frame) return FramePtr(av_frame_clone(picture));
  return nullptr;
}

/// Decodes from a frame on. Null when the wanted frame's picture does not come out.
FramePtr decode(const Capture &capture, FrameReader &reader, std::size_t from, std::size_t frame) {
  formats::Decoder decoder(capture);
  Progress progress(frame - from + 1);
  for (std::size_t i = from; i <= frame; ++i) {
    const bool is_taken = decoder.send(reader.read(i), i);
    if (!is_taken && i == frame) return nullptr;
    if (FramePtr picture = take_wanted(decoder, frame)) return picture;
    progress.at(i - from);
  }
  decoder.end();
  return take_wanted(decoder, frame);
}

}  // namespace

FramePtr picture_of(const Capture &capture, std::size_t frame) {
  require_bytes(capture);
  if (formats::is_uncompressed(require_codec(capture))) return uncompressed_picture(capture, frame);
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  std::size_t from = key_frame_before(capture, *reader, frame).value_or(0);
  FramePtr picture = decode(capture, *reader, from, frame);
  if (picture == nullptr && from > 0) {  // a picture that is shown before its key frame may need the group before
    from = key_frame_before(capture, *reader, from - 1).value_or(0);
    picture = decode(capture, *reader, from, frame);
  }
  if (picture == nullptr) unusable("{}: frame {}: does not decode to a picture", capture.name, frame);
  return picture;
}

}  // namespace frames
