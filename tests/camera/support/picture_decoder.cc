// Decoding with libavcodec.
#include "support/picture_decoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libavutil/video_enc_params.h>
}

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct AvFree {
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};

std::vector<std::uint8_t> plane(const AVFrame &frame, int component, int width, int height) {
  const AVPixFmtDescriptor *format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const AVComponentDescriptor &part = format->comp[component];
  std::vector<std::uint8_t> samples;
  samples.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) {
    const std::uint8_t *row = frame.data[part.plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[part.plane];
    for (int x = 0; x < width; ++x) {
      const std::uint8_t *sample = row + static_cast<std::ptrdiff_t>(x) * part.step + part.offset;
      const int value = part.depth > 8 ? (sample[0] | (sample[1] << 8)) >> (part.depth - 8) : sample[0];
      samples.push_back(static_cast<std::uint8_t>(value));
    }
  }
  return samples;
}

DecodedPicture to_picture(const AVFrame &frame) {
  const AVPixFmtDescriptor *format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  DecodedPicture picture;
  picture.width = frame.width;
  picture.height = frame.height;
  picture.depth = format->comp[0].depth;
  picture.pixels = format->name;
  picture.key = frame.key_frame != 0;
  picture.luma = plane(frame, 0, frame.width, frame.height);
  if (format->nb_components >= 3) {
    picture.chroma_width = AV_CEIL_RSHIFT(frame.width, format->log2_chroma_w);
    picture.chroma_height = AV_CEIL_RSHIFT(frame.height, format->log2_chroma_h);
    picture.blue = plane(frame, 1, picture.chroma_width, picture.chroma_height);
    picture.red = plane(frame, 2, picture.chroma_width, picture.chroma_height);
  }
  const AVFrameSideData *side = av_frame_get_side_data(&frame, AV_FRAME_DATA_VIDEO_ENC_PARAMS);
  if (side != nullptr) {
    auto *parameters = reinterpret_cast<AVVideoEncParams *>(side->data);
    double sum = 0;
    for (unsigned i = 0; i < parameters->nb_blocks; ++i) {
      sum += parameters->qp + av_video_enc_params_block(parameters, i)->delta_qp;
    }
    picture.quantiser =
        parameters->nb_blocks == 0 ? parameters->qp : static_cast<int>(std::lround(sum / parameters->nb_blocks));
  }
  return picture;
}

void receive(AVCodecContext &decoder, std::vector<DecodedPicture> &pictures) {
  const std::unique_ptr<AVFrame, AvFree> frame(av_frame_alloc());
  while (avcodec_receive_frame(&decoder, frame.get()) == 0) {
    pictures.push_back(to_picture(*frame));
    pictures.back().profile = decoder.profile;
  }
}

}  // namespace

std::vector<DecodedPicture> decode(const std::string &codec, const std::vector<Seen> &frames) {
  const AVCodec *decoder = avcodec_find_decoder_by_name(codec.c_str());
  const std::unique_ptr<AVCodecContext, AvFree> context(avcodec_alloc_context3(decoder));
  context->thread_count = 1;
  context->flags |= AV_CODEC_FLAG_LOW_DELAY;
  context->export_side_data = AV_CODEC_EXPORT_DATA_VIDEO_ENC_PARAMS;
  context->err_recognition = AV_EF_CAREFUL | AV_EF_EXPLODE;
  EXPECT_EQ(avcodec_open2(context.get(), decoder, nullptr), 0);
  std::vector<DecodedPicture> pictures;
  const std::unique_ptr<AVPacket, AvFree> packet(av_packet_alloc());
  for (const Seen &frame : frames) {
    const std::vector<std::uint8_t> bytes = frame.bytes();
    EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    std::memcpy(packet->data, bytes.data(), bytes.size());
    EXPECT_EQ(avcodec_send_packet(context.get(), packet.get()), 0) << "frame " << frame.sequence;
    av_packet_unref(packet.get());
    receive(*context, pictures);
  }
  (void)avcodec_send_packet(context.get(), nullptr);
  receive(*context, pictures);
  EXPECT_EQ(pictures.size(), frames.size());
  return pictures;
}

DecodedPicture from_raw(const Seen &frame, const std::string &pixels, int width, int height, int alignment) {
  std::vector<std::uint8_t> bytes = frame.bytes();
  const AVPixelFormat format = av_get_pix_fmt(pixels.c_str());
  const int size = av_image_get_buffer_size(format, width, height, alignment);
  EXPECT_EQ(bytes.size(), static_cast<std::size_t>(size));
  if (bytes.size() != static_cast<std::size_t>(size)) return {};
  const std::unique_ptr<AVFrame, AvFree> picture(av_frame_alloc());
  picture->width = width;
  picture->height = height;
  picture->format = format;
  av_image_fill_arrays(picture->data, picture->linesize, bytes.data(), format, width, height, alignment);
  return to_picture(*picture);
}

double difference(const DecodedPicture &one, const DecodedPicture &other) {
  return difference(one, other, 0, 0, one.width, one.height);
}

double difference(const DecodedPicture &one, const DecodedPicture &other, int left, int top, int width, int height) {
  EXPECT_EQ(one.width, other.width);
  EXPECT_EQ(one.height, other.height);
  if (one.width != other.width || one.height != other.height) return 255;
  double sum = 0;
  for (int y = top; y < top + height; ++y) {
    for (int x = left; x < left + width; ++x)
      sum += std::abs(one.at(x, y) - other.at(x, y));
  }
  return sum / (static_cast<double>(width) * height);
}
