// Pictures from a video file or a capture device, through libavformat and a decoder.
extern "C" {
#include <libavdevice/avdevice.h>
}

#include "picture/source.h"

namespace camera {
namespace {

class InputSource : public Source {
 public:
  /// `format` names the demuxer of a device; null for a file, which is looped.
  InputSource(std::string path, const char *format) : path_(std::move(path)), format_(format), packet_(new_packet()) {
    open();
  }

  SourceShape shape() const override {
    const AVRational rate = av_guess_frame_rate(input_.get(), stream_, nullptr);
    return {static_cast<std::uint32_t>(decoder_->width), static_cast<std::uint32_t>(decoder_->height),
            rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0};
  }

  AvFrame next() override {
    AvFrame picture = decode();
    if (picture != nullptr || format_ != nullptr) return picture;
    open();
    picture = decode();
    if (picture == nullptr) throw AvFailure(path_ + ": no picture in it");
    return picture;
  }

 private:
  void open() {
    const AVInputFormat *demuxer = nullptr;
    if (format_ != nullptr) {
      avdevice_register_all();
      demuxer = av_find_input_format(format_);
      if (demuxer == nullptr) throw AvFailure(path_ + ": libavdevice has no " + format_);
    }
    decoder_.reset();
    AVFormatContext *opened = nullptr;
    av_check(avformat_open_input(&opened, path_.c_str(), demuxer, nullptr), path_);
    input_.reset(opened);
    av_check(avformat_find_stream_info(input_.get(), nullptr), path_);
    const AVCodec *codec = nullptr;
    const int index = av_check(av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), path_);
    stream_ = input_->streams[index];
    decoder_.reset(avcodec_alloc_context3(codec));
    if (decoder_ == nullptr) throw std::bad_alloc();
    av_check(avcodec_parameters_to_context(decoder_.get(), stream_->codecpar), path_);
    decoder_->thread_count = 1;
    av_check(avcodec_open2(decoder_.get(), codec, nullptr), path_);
  }

  /// The next picture, or null at the end of the input.
  AvFrame decode() {
    AvFrame picture = new_frame();
    while (true) {
      const int status = avcodec_receive_frame(decoder_.get(), picture.get());
      if (status == AVERROR_EOF) return nullptr;
      if (status != AVERROR(EAGAIN)) {
        av_check(status, path_);
        return picture;
      }
      feed();
    }
  }

  /// Gives the decoder one packet, or tells it that there are no more. What it cannot decode is passed over.
  void feed() {
    do {
      av_packet_unref(packet_.get());
      const int status = av_read_frame(input_.get(), packet_.get());
      if (status == AVERROR_EOF) {
        (void)avcodec_send_packet(decoder_.get(), nullptr);
        return;
      }
      av_check(status, path_);
    } while (packet_->stream_index != stream_->index);
    (void)avcodec_send_packet(decoder_.get(), packet_.get());
    av_packet_unref(packet_.get());
  }

  std::string path_;
  const char *format_;
  AvPacket packet_;
  AvInput input_;
  AVStream *stream_ = nullptr;  ///< the input's
  AvCodecContext decoder_;
};

}  // namespace

std::unique_ptr<Source> open_file(const std::string &path) {
  return std::make_unique<InputSource>(path, nullptr);
}

std::unique_ptr<Source> open_device(const std::string &path) {
  return std::make_unique<InputSource>(path, "video4linux2");
}

}  // namespace camera
