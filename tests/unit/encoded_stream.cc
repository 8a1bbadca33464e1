// Small elementary streams for tests, made with FFmpeg's encoders.
#include "encoded_stream.h"

#include <array>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>

#include "coded_units.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

namespace {

struct FreeCodecContext {
  void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct FreePacket {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using CodecContext = std::unique_ptr<AVCodecContext, FreeCodecContext>;

struct Encoder {
  std::uint32_t format;
  const char *name;
  AVPixelFormat pixels;
  std::array<const char *, 6> options;  ///< names and values, ended by a null
};

/// Fast settings, no frame held back or reordered, parameter sets at every key frame.
constexpr std::array kEncoders = {
    Encoder{0, "libx264", AV_PIX_FMT_YUV420P, {"preset", "ultrafast", "tune", "zerolatency", nullptr}},
    Encoder{1,
            "libx265",
            AV_PIX_FMT_YUV420P,
            {"preset", "ultrafast", "x265-params",
             "log-level=none:bframes=0:rc-lookahead=0:frame-threads=1:pools=none:repeat-headers=1", nullptr}},
    Encoder{2, "mjpeg", AV_PIX_FMT_YUVJ420P, {nullptr}},
    Encoder{10, "libaom-av1", AV_PIX_FMT_YUV420P, {"usage", "realtime", "cpu-used", "8", "lag-in-frames", "0"}},
};

void check(bool worked, const char *what) {
  if (!worked) throw std::runtime_error(what);
}

const Encoder &encoder_of(std::uint32_t format) {
  for (const Encoder &encoder : kEncoders) {
    if (encoder.format == format) return encoder;
  }
  throw std::runtime_error("no encoder");
}

CodecContext open_encoder(const Encoder &encoder, int width, int height, int gop) {
  const AVCodec *codec = avcodec_find_encoder_by_name(encoder.name);
  check(codec != nullptr, encoder.name);
  CodecContext context(avcodec_alloc_context3(codec));
  context->width = width;
  context->height = height;
  context->pix_fmt = encoder.pixels;
  context->time_base = {1, 30};
  context->framerate = {30, 1};
  context->gop_size = gop;
  context->keyint_min = gop;
  context->max_b_frames = 0;
  context->thread_count = 1;
  context->bit_rate = 400'000;
  for (std::size_t i = 0; i + 1 < encoder.options.size() && encoder.options[i] != nullptr; i += 2) {
    check(av_opt_set(context->priv_data, encoder.options[i], encoder.options[i + 1], 0) >= 0, encoder.options[i]);
  }
  check(avcodec_open2(context.get(), codec, nullptr) >= 0, "avcodec_open2");
  return context;
}

/// A gradient that moves with the frame's number.
void paint(AVFrame *frame, int number) {
  for (int plane = 0; plane < 3; ++plane) {
    const int shift = plane == 0 ? 0 : 1;
    for (int y = 0; y < frame->height >> shift; ++y) {
      std::uint8_t *row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
      for (int x = 0; x < frame->width >> shift; ++x)
        row[x] = static_cast<std::uint8_t>(3 * x + 2 * y + 5 * number);
    }
  }
}

void take_packets(AVCodecContext *context, std::uint32_t format, std::vector<EncodedFrame> &stream) {
  const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
  while (avcodec_receive_packet(context, packet.get()) >= 0) {
    const std::span bytes(packet->data, static_cast<std::size_t>(packet->size));
    const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    stream.push_back(
        {{bytes.begin(), bytes.end()}, key, key && format != 2 ? static_cast<gssize>(header_size(format, text)) : 0});
    av_packet_unref(packet.get());
  }
}

}  // namespace

std::vector<EncodedFrame> encode_stream(std::uint32_t format, int width, int height, int frames, int gop) {
  const Encoder &encoder = encoder_of(format);
  const CodecContext context = open_encoder(encoder, width, height, gop);
  const std::unique_ptr<AVFrame, FreeFrame> picture(av_frame_alloc());
  picture->format = encoder.pixels;
  picture->width = width;
  picture->height = height;
  check(av_frame_get_buffer(picture.get(), 0) >= 0, "av_frame_get_buffer");

  std::vector<EncodedFrame> stream;
  for (int number = 0; number < frames; ++number) {
    check(av_frame_make_writable(picture.get()) >= 0, "av_frame_make_writable");
    paint(picture.get(), number);
    picture->pts = number;
    // Asked for by hand: encoders differ in how exactly they keep the distance.
    picture->pict_type = number % gop == 0 ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    check(avcodec_send_frame(context.get(), picture.get()) >= 0, "avcodec_send_frame");
    take_packets(context.get(), format, stream);
  }
  check(avcodec_send_frame(context.get(), nullptr) >= 0, "avcodec_send_frame");
  take_packets(context.get(), format, stream);
  check(stream.size() == static_cast<std::size_t>(frames), "frames");
  return stream;
}

std::string raw_bytes(const std::vector<EncodedFrame> &stream) {
  std::string raw;
  for (const EncodedFrame &frame : stream)
    raw.append(frame.bytes.begin(), frame.bytes.end());
  return raw;
}

// The H.265 encoder does not give back all that it takes; leak checking is for the client.
extern "C" const char *__lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier): the sanitizer's name
  return "leak:libx265.so\n";
}
