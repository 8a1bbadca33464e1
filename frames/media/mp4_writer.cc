// libavformat's MP4 muxer on a file of ours.
#include "frames/media/mp4_writer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>

#include "frames/common/unusable.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mem.h>
}

namespace frames {
namespace {

constexpr int kIoBytes = 256 * 1024;

/// Between the decoding times of two frames: libavformat takes more for an error, and bends all times behind it.
constexpr std::int64_t kMostUs = std::numeric_limits<std::int32_t>::max() - 1;

template <typename Pointer>
Pointer *required(Pointer *pointer) {
  if (pointer == nullptr) throw std::bad_alloc();
  return pointer;
}

}  // namespace

Mp4Writer::Mp4Writer(OutputFile &file, formats::Codec codec, std::uint32_t width, std::uint32_t height,
                     std::span<const std::uint8_t> extradata)
    : file_(file), packet_(required(av_packet_alloc())) {
  // FFmpeg 7 made the bytes to write const: these take both.
  const auto write = [](void *self, auto *bytes, int count) {
    return static_cast<Mp4Writer *>(self)->put({bytes, static_cast<std::size_t>(count)});
  };
  const auto seek = [](void *self, std::int64_t offset, int whence) {
    return static_cast<Mp4Writer *>(self)->seek(offset, whence);
  };
  auto *buffer = static_cast<std::uint8_t *>(required(av_malloc(kIoBytes)));
  io_.reset(avio_alloc_context(buffer, kIoBytes, 1, this, nullptr, write, seek));
  if (io_ == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  io_->min_packet_size = kIoBytes;  // or each frame were written by itself
  AVFormatContext *context = nullptr;
  require(avformat_alloc_output_context2(&context, nullptr, "mp4", nullptr));
  context_.reset(context);
  context_->pb = io_.get();
  add_track(codec, width, height, extradata);
  write_header();
}

void Mp4Writer::add_track(formats::Codec codec, std::uint32_t width, std::uint32_t height,
                          std::span<const std::uint8_t> extradata) {
  AVStream *track = required(avformat_new_stream(context_.get(), nullptr));
  track->time_base = kMicroseconds;
  AVCodecParameters &parameters = *track->codecpar;
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = formats::codec_id(codec);
  parameters.width = static_cast<int>(width);
  parameters.height = static_cast<int>(height);
  // Players of one maker take H.265 under this name only.
  if (codec == formats::Codec::kH265) parameters.codec_tag = MKTAG('h', 'v', 'c', '1');
  if (extradata.empty()) return;
  parameters.extradata =
      static_cast<std::uint8_t *>(required(av_mallocz(extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE)));
  std::copy(extradata.begin(), extradata.end(), parameters.extradata);
  parameters.extradata_size = static_cast<int>(extradata.size());
}

void Mp4Writer::write_header() {
  AVDictionary *options = nullptr;
  (void)av_dict_set(&options, "video_track_timescale", "1000000", 0);
  (void)av_dict_set(&options, "movie_timescale", "1000000", 0);
  (void)av_dict_set(&options, "use_editlist", "0", 0);
  const int result = avformat_write_header(context_.get(), &options);
  av_dict_free(&options);
  require(result);
}

void Mp4Writer::write(std::span<const std::uint8_t> bytes, std::int64_t time_us, std::int64_t duration_us,
                      bool is_key) {
  if (bytes.size() > formats::kMostPacketBytes) {
    unusable("{}: a frame of {} bytes is too large", file_.path(), bytes.size());
  }
  packet_->data = const_cast<std::uint8_t *>(bytes.data());  // the muxer only reads
  packet_->size = static_cast<int>(bytes.size());
  decoded_us_ = std::min(time_us, decoded_us_ + kMostUs);  // by 1 us before it is shown, after a longer distance
  packet_->pts = time_us;
  packet_->dts = decoded_us_;
  packet_->duration = duration_us;
  packet_->flags = is_key ? AV_PKT_FLAG_KEY : 0;
  require(av_write_frame(context_.get(), packet_.get()));
}

void Mp4Writer::finish() {
  require(av_write_trailer(context_.get()));
  avio_flush(io_.get());
  require(io_->error);
}

void Mp4Writer::require(int result) const {
  if (failure_) std::rethrow_exception(failure_);
  if (result < 0) unusable("{}: {}", file_.path(), av_error_text(result));
}

/// Exceptions must not pass through libavformat.
int Mp4Writer::put(std::span<const std::uint8_t> bytes) try {
  file_.write(bytes);
  file_.flush();
  return static_cast<int>(bytes.size());
} catch (...) {
  failure_ = std::current_exception();
  return AVERROR(EIO);
}

std::int64_t Mp4Writer::seek(std::int64_t offset, int whence) const {
  if ((whence & AVSEEK_SIZE) != 0) return AVERROR(ENOSYS);
  const off_t place = lseek(file_.descriptor(), static_cast<off_t>(offset), whence & ~AVSEEK_FORCE);
  return place < 0 ? AVERROR(errno) : static_cast<std::int64_t>(place);
}

}  // namespace frames
