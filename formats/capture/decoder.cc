// libavcodec as a decoder.
#include "formats/capture/decoder.h"

#include <algorithm>
#include <new>

#include "formats/capture/unusable.h"

namespace formats {

Decoder::Decoder(const Capture &capture) : packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
  const AVCodec *codec = avcodec_find_decoder(codec_id(require_codec(capture)));
  if (codec == nullptr) unusable("{}: no decoder for {}", capture.name, codec_name(*capture.codec));
  context_.reset(avcodec_alloc_context3(codec));
  if (context_ == nullptr || packet_ == nullptr || frame_ == nullptr) throw std::bad_alloc();
  context_->pkt_timebase = kMicroseconds;
  context_->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER;
  context_->width = static_cast<int>(capture.width);
  context_->height = static_cast<int>(capture.height);
  if (avcodec_open2(context_.get(), codec, nullptr) < 0) {
    unusable("{}: the decoder for {} cannot be opened", capture.name, codec_name(*capture.codec));
  }
}

bool Decoder::send(std::span<const std::uint8_t> bytes, std::size_t number) {
  padded_.assign(bytes.begin(), bytes.end());
  padded_.resize(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  packet_->data = padded_.data();
  packet_->size = static_cast<int>(bytes.size());
  packet_->pts = static_cast<std::int64_t>(number);
  packet_->dts = packet_->pts;
  return avcodec_send_packet(context_.get(), packet_.get()) >= 0;
}

void Decoder::end() {
  (void)avcodec_send_packet(context_.get(), nullptr);
}

const AVFrame *Decoder::take() {
  const int result = avcodec_receive_frame(context_.get(), frame_.get());
  failed_ = result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF;
  return result >= 0 ? frame_.get() : nullptr;
}

bool Decoder::is_faulty(const AVFrame *picture) {
  return picture->decode_error_flags != 0 || (picture->flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

}  // namespace formats
