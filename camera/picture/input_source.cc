// Pictures from a video file or a capture device, through libavformat and a decoder.
#include "picture/source.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

#include <chrono>
#include <thread>
#include <utility>
#include <vector>

namespace camera {
namespace {

using Clock = std::chrono::steady_clock;

void pause() {
  std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// Asked by libavformat whether it shall give up; it asks without a pause while a device has nothing.
int is_late(void *give_up) {
  pause();
  return Clock::now() > *static_cast<const Clock::time_point *>(give_up) ? 1 : 0;
}

/// An opened input and its decoder.
class InputSource : public Source {
 public:
  SourceShape shape() const override {
    const AVRational rate = av_guess_frame_rate(input_.get(), stream_, nullptr);
    return {static_cast<std::uint32_t>(decoder_->width), static_cast<std::uint32_t>(decoder_->height),
            rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0};
  }

 protected:
  explicit InputSource(std::string path) : path_(std::move(path)) {}

  /// Opens the input, anew if it is open: what was open stays so when that fails. `format` names the demuxer of a
  /// device, which does not wait for pictures and has until `give_up` for the first; null for a file.
  void open(const char *format, Clock::time_point give_up = {}) {
    const AVInputFormat *demuxer = nullptr;
    AVFormatContext *opened = nullptr;
    if (format != nullptr) {
      avdevice_register_all();
      demuxer = av_find_input_format(format);
      if (demuxer == nullptr) throw AvFailure(path_ + ": libavdevice has no " + format);
      opened = avformat_alloc_context();  // opening it frees it when that fails
      if (opened == nullptr) throw std::bad_alloc();
      opened->flags |= AVFMT_FLAG_NONBLOCK;
      opened->interrupt_callback = {is_late, &give_up};
    }
    av_check(avformat_open_input(&opened, path_.c_str(), demuxer, nullptr), path_);
    AvInput input(opened);
    av_check(avformat_find_stream_info(input.get(), nullptr), path_);
    input->interrupt_callback = {};
    const AVCodec *codec = nullptr;
    const int index = av_check(av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0), path_);
    AvCodecContext decoder(avcodec_alloc_context3(codec));
    if (decoder == nullptr) throw std::bad_alloc();
    av_check(avcodec_parameters_to_context(decoder.get(), input->streams[index]->codecpar), path_);
    decoder->thread_count = 1;
    av_check(avcodec_open2(decoder.get(), codec, nullptr), path_);
    stream_ = input->streams[index];
    input_ = std::move(input);
    decoder_ = std::move(decoder);
  }

  /// The next picture that the decoder has; null when it wants more (`ended` false) or is at its end.
  AvFrame receive(bool &ended) {
    AvFrame picture = new_frame();
    const int status = avcodec_receive_frame(decoder_.get(), picture.get());
    ended = status == AVERROR_EOF;
    if (ended || status == AVERROR(EAGAIN)) return nullptr;
    av_check(status, path_);
    return picture;
  }

  /// Reads a packet of the video. Returns AVERROR_EOF at the end, AVERROR(EAGAIN) when a device has none yet.
  int read(AVPacket &packet) {
    do {
      av_packet_unref(&packet);
      const int status = av_read_frame(input_.get(), &packet);
      if (status == AVERROR_EOF || status == AVERROR(EAGAIN)) return status;
      av_check(status, path_);
    } while (packet.stream_index != stream_->index);
    return 0;
  }

  /// Gives the decoder a packet, or null to say that there are no more. What it cannot decode is passed over.
  void feed(const AVPacket *packet) { (void)avcodec_send_packet(decoder_.get(), packet); }

  bool is_intra_only() const {
    const AVCodecDescriptor *codec = avcodec_descriptor_get(decoder_->codec_id);
    return codec != nullptr && (codec->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
  }

  const std::string &path() const { return path_; }

 private:
  std::string path_;
  AvInput input_;
  AVStream *stream_ = nullptr;  ///< the input's
  AvCodecContext decoder_;
};

class FileSource : public InputSource {
 public:
  explicit FileSource(std::string path) : InputSource(std::move(path)), packet_(new_packet()) { open(nullptr); }

  AvFrame next() override {
    AvFrame picture = decode();
    if (picture != nullptr) return picture;
    open(nullptr);
    picture = decode();
    if (picture == nullptr) throw AvFailure(path() + ": no picture in it");
    return picture;
  }

 private:
  /// The next picture, or null at the end of the file.
  AvFrame decode() {
    bool ended = false;
    while (!ended) {
      AvFrame picture = receive(ended);
      if (picture != nullptr) return picture;
      if (!ended) feed(read(*packet_) == 0 ? packet_.get() : nullptr);
    }
    return nullptr;
  }

  AvPacket packet_;
};

/// A device captures by itself: what it captured before the call is out of date.
class DeviceSource : public InputSource {
 public:
  DeviceSource(std::string path, StopCheck is_stopping, std::chrono::milliseconds patience)
      : InputSource(std::move(path)), is_stopping_(std::move(is_stopping)), patience_(patience) {
    open("video4linux2", Clock::now() + patience);
  }

  bool is_live() const override { return true; }

  /// The newest picture, waiting for one if need be.
  AvFrame next() override {
    AvFrame newest;
    bool ended = false;
    while (newest == nullptr && !ended) {
      for (const AvPacket &packet : captured()) {
        feed(packet.get());
        while (AvFrame picture = receive(ended))
          newest = std::move(picture);
      }
    }
    return newest;
  }

 private:
  /// What was captured since the last time, at least one packet; the last one alone when it needs no others.
  std::vector<AvPacket> captured() {
    constexpr std::size_t kMost = 32;  // as many as a device keeps
    const Clock::time_point give_up = Clock::now() + patience_;
    std::vector<AvPacket> packets;
    AvPacket packet = new_packet();
    for (std::size_t count = 0; count < kMost;) {
      if (is_stopping_()) throw Stopped();
      const int status = read(*packet);
      if (status == 0) {
        if (is_intra_only()) packets.clear();
        packets.push_back(std::exchange(packet, new_packet()));
        ++count;
        continue;
      }
      if (!packets.empty()) break;
      if (status == AVERROR_EOF) throw AvFailure(path() + ": the device has ended");
      if (Clock::now() > give_up) throw AvFailure(path() + ": the device gives no picture");
      pause();
    }
    return packets;
  }

  StopCheck is_stopping_;
  std::chrono::milliseconds patience_;
};

}  // namespace

std::unique_ptr<Source> open_file(const std::string &path) {
  return std::make_unique<FileSource>(path);
}

std::unique_ptr<Source> open_device(const std::string &path, StopCheck is_stopping,
                                    std::chrono::milliseconds patience) {
  return std::make_unique<DeviceSource>(path, std::move(is_stopping), patience);
}

}  // namespace camera
