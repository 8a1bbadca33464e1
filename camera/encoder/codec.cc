// H.264, H.265, AV1 and JPEG through libavcodec.
#include "encoder/encoder.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>

#include "common/av_messages.h"
#include "formats/bitstream.h"

namespace camera {
namespace {

/// What differs between the codecs.
struct Codec {
  std::uint32_t format;
  const char *name;  ///< of libavcodec's encoder
  AVPixelFormat pixels;
  std::uint32_t key_type;
  std::uint32_t other_type;
  formats::Codec coding;
};

constexpr Codec kCodecs[] = {
    {kFormatH264, "libx264", AV_PIX_FMT_YUV420P, kFrameIdr, kFrameP, formats::Codec::kH264},
    {kFormatH265, "libx265", AV_PIX_FMT_YUV420P, kFrameIdr, kFrameP, formats::Codec::kH265},
    {kFormatAv1, "libaom-av1", AV_PIX_FMT_YUV420P, kFrameKey, kFrameInter, formats::Codec::kAv1},
    {kFormatJpeg, "mjpeg", AV_PIX_FMT_YUVJ420P, kFrameJpeg, kFrameJpeg, formats::Codec::kJpeg},
};

constexpr std::uint32_t kProfileMain10 = 1;

const Codec &codec_of(std::uint32_t format) {
  const auto *found =
      std::find_if(std::begin(kCodecs), std::end(kCodecs), [&](const Codec &codec) { return codec.format == format; });
  if (found == std::end(kCodecs)) throw AvFailure("format: not available");
  return *found;
}

void set_option(AVCodecContext &context, const char *name, const std::string &value) {
  av_check(av_opt_set(context.priv_data, name, value.c_str(), 0), std::string("Encoder option ") + name);
}

/// The quantiser of a 0..51 scale for "compression" 0..100: 0 gives 10, the default 30 gives 22, 100 gives 50.
unsigned quantiser(const Plan &plan) {
  return 10 + plan.compression * 40 / 100;
}

/// Quantisers of key and other frames under a constant quantiser.
struct Quantisers {
  unsigned key;
  unsigned other;
};

/// 0 would mean coding without loss, which the profiles do not know.
Quantisers quantisers(const Plan &plan) {
  return {std::max(plan.qp_i.value_or(quantiser(plan)), 1U), std::max(plan.qp_p.value_or(quantiser(plan)), 1U)};
}

/// x264 and x265 know one quantiser and by what factor key frames are finer: 6 steps double the step size.
double key_ratio(const Quantisers &qp) {
  return std::exp2((static_cast<double>(qp.other) - qp.key) / 6.0);
}

void set_buffer(AVCodecContext &context, const Plan &plan, bool constant) {
  context.rc_max_rate = plan.bitrate;
  context.rc_buffer_size = static_cast<int>(std::min<std::uint32_t>(plan.bitrate, 1U << 30U));
  if (constant) context.rc_min_rate = plan.bitrate;
}

void set_rate(AVCodecContext &context, const Plan &plan) {
  const Quantisers qp = quantisers(plan);
  switch (plan.rate_control) {
    case kRateConstantQp:
      set_option(context, "qp", std::to_string(qp.other));
      context.i_quant_factor = static_cast<float>(1 / key_ratio(qp));
      break;
    case kRateMaximum:
      set_option(context, "crf", std::to_string(quantiser(plan)));
      set_buffer(context, plan, false);
      break;
    case kRateConstant:
      context.bit_rate = plan.bitrate;
      set_buffer(context, plan, true);
      break;
    default:
      context.bit_rate = plan.bitrate;
      break;
  }
}

void set_h264(AVCodecContext &context, const Plan &plan) {
  set_option(context, "preset", "superfast");
  set_option(context, "tune", "zerolatency");
  set_option(context, "forced-idr", "1");
  set_option(context, "profile", nick_of(kH264Profiles, plan.profile));
  set_option(context, "x264-params", plan.rate_control == kRateConstant ? "scenecut=0:nal-hrd=cbr" : "scenecut=0");
  set_rate(context, plan);
}

void set_h265(AVCodecContext &context, const Plan &plan) {
  const Quantisers qp = quantisers(plan);
  std::string parameters = "log-level=error:scenecut=0:open-gop=0:repeat-headers=1:info=0:pools=1:frame-threads=1";
  if (plan.rate_control == kRateConstantQp) parameters += ":ipratio=" + std::to_string(key_ratio(qp));
  set_option(context, "preset", "ultrafast");
  set_option(context, "tune", "zerolatency");
  set_option(context, "forced-idr", "1");
  set_option(context, "profile", nick_of(kH265Profiles, plan.profile));
  set_option(context, "x265-params", parameters);
  set_rate(context, plan);
}

/// AV1 quantisers run from 0 to 63.
void set_av1(AVCodecContext &context, const Plan &plan) {
  set_option(context, "usage", "realtime");
  set_option(context, "cpu-used", "8");
  set_option(context, "lag-in-frames", "0");
  set_option(context, "row-mt", "0");
  const unsigned scaled = quantisers(plan).other * 63 / 51;
  if (plan.rate_control == kRateConstantQp || plan.rate_control == kRateMaximum) {
    set_option(context, "crf", std::to_string(scaled));
  }
  if (plan.rate_control == kRateConstantQp) {
    context.qmin = static_cast<int>(scaled);
    context.qmax = static_cast<int>(scaled);
  } else {
    context.bit_rate = plan.bitrate;
    if (plan.rate_control == kRateConstant) set_buffer(context, plan, true);
  }
}

/// JPEG's scale runs from 2 (best) to 31. Each picture stands alone, so that a bit rate is not kept.
void set_jpeg(AVCodecContext &context, const Plan &plan) {
  context.flags |= AV_CODEC_FLAG_QSCALE;
  context.global_quality = static_cast<int>(2 + plan.compression * 29 / 100) * FF_QP2LAMBDA;
  context.color_range = AVCOL_RANGE_JPEG;
}

class CodecEncoder : public Encoder {
 public:
  explicit CodecEncoder(const Plan &plan) : codec_(codec_of(plan.format)), packet_(new_packet()) {
    const AVCodec *encoder = avcodec_find_encoder_by_name(codec_.name);
    if (encoder == nullptr) throw AvFailure(std::string("format: libavcodec has no encoder ") + codec_.name);
    context_.reset(avcodec_alloc_context3(encoder));
    if (context_ == nullptr) throw std::bad_alloc();
    set_common(plan);
    switch (plan.format) {
      case kFormatH264:
        set_h264(*context_, plan);
        break;
      case kFormatH265:
        set_h265(*context_, plan);
        break;
      case kFormatAv1:
        set_av1(*context_, plan);
        break;
      default:
        set_jpeg(*context_, plan);
        break;
    }
    av_check(avcodec_open2(context_.get(), encoder, nullptr), std::string("Encoder ") + codec_.name);
  }

  CodecEncoder(const CodecEncoder &) = delete;
  CodecEncoder &operator=(const CodecEncoder &) = delete;
  /// Some encoders sum up their work in messages when they are closed.
  ~CodecEncoder() override {
    const MessagesSilenced silenced;
    context_.reset();
  }

  AVPixelFormat pixel_format() const override { return context_->pix_fmt; }

  Coded encode(AVFrame &picture, bool key) override {
    picture.pts = next_pts_++;
    picture.pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_P;
    if (codec_.format == kFormatJpeg) picture.quality = context_->global_quality;
    const std::string what = std::string("Encoder ") + codec_.name;
    av_check(avcodec_send_frame(context_.get(), &picture), what);
    av_check(avcodec_receive_packet(context_.get(), packet_.get()), what);
    Coded coded;
    coded.bytes.assign(packet_->data, packet_->data + packet_->size);
    coded.key = codec_.coding == formats::Codec::kJpeg || (packet_->flags & AV_PKT_FLAG_KEY) != 0;
    coded.type = coded.key ? codec_.key_type : codec_.other_type;
    if (coded.key) coded.header_size = formats::header_size(codec_.coding, coded.bytes, true).value_or(0);
    av_packet_unref(packet_.get());
    return coded;
  }

 private:
  void set_common(const Plan &plan) {
    context_->width = static_cast<int>(plan.width);
    context_->height = static_cast<int>(plan.height);
    context_->pix_fmt = codec_.pixels;
    if (plan.format == kFormatH265 && plan.profile == kProfileMain10) context_->pix_fmt = AV_PIX_FMT_YUV420P10;
    context_->time_base = {static_cast<int>(plan.rate_denominator), static_cast<int>(plan.rate_numerator)};
    context_->framerate = {static_cast<int>(plan.rate_numerator), static_cast<int>(plan.rate_denominator)};
    context_->gop_size = kEndlessGop;  // key frames come when they are asked for
    context_->max_b_frames = 0;
    context_->thread_count = 1;  // the same bytes on every machine
  }

  static constexpr int kEndlessGop = 1 << 24;

  const Codec &codec_;
  AvPacket packet_;
  AvCodecContext context_;
  std::int64_t next_pts_ = 0;
};

}  // namespace

std::unique_ptr<Encoder> make_codec_encoder(const Plan &plan) {
  return std::make_unique<CodecEncoder>(plan);
}

}  // namespace camera
