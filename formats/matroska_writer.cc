// Writing a Matroska file, from creating it to its trailer.
#include "formats/matroska_writer.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "formats/cue_text.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace formats {
namespace {

constexpr AVRational kMilliseconds = {1, 1000};
constexpr AVRational kMicroseconds = {1, 1'000'000};

/// 1% from the top, at the left edge. FFmpeg takes it without a final zero.
constexpr std::string_view kCueSettings = "line:1% position:0% align:start";
static_assert(kCueSettings.size() == 31);

/// For wrapped bytes, which stay the caller's.
void keep_bytes(void *, std::uint8_t *) {}

/// FFmpeg aligns everything that it allocates, and a packet with side data is a dozen allocations. glibc cuts the
/// aligned piece out of a larger one and by default keeps the remainders in lists, which nearly every free then merges.
/// Merging each remainder at once makes a small frame a fifth cheaper.
void tune_allocator() {
#ifdef M_MXFAST
  (void)mallopt(M_MXFAST, 0);
#endif
}

}  // namespace

const char *matroska_failure_text(MatroskaFailure failure) {
  switch (failure) {
    case MatroskaFailure::kNone:
      break;
    case MatroskaFailure::kPacket:
      return "Could not allocate packet";
    case MatroskaFailure::kContext:
      return "Could not create output context";
    case MatroskaFailure::kVideoStream:
      return "Could not create video stream";
    case MatroskaFailure::kCodec:
      return "Unsupported video format for MKV writer";
    case MatroskaFailure::kSubtitleStream:
      return "Could not create subtitle stream";
    case MatroskaFailure::kOpen:
      return "Could not open output file";
    case MatroskaFailure::kExtradata:
      return "Could not allocate extradata";
    case MatroskaFailure::kHeader:
      return "Could not write header";
    case MatroskaFailure::kBuffer:
      return "Could not create AVBufferRef";
    case MatroskaFailure::kFrame:
      return "Could not write frame";
    case MatroskaFailure::kCue:
      return "Could not write cue";
    case MatroskaFailure::kTrailer:
      return "Could not write trailer";
  }
  return "";
}

std::size_t matroska_extradata_size(std::ptrdiff_t header_size, std::size_t frame_size) {
  constexpr std::ptrdiff_t kSmallestHeader = 3;  // a shorter one counts as none
  if (header_size < kSmallestHeader) return frame_size;
  return std::min(static_cast<std::size_t>(header_size), frame_size);  // a header cannot be longer than its frame
}

void MatroskaWriter::FreeContext::operator()(AVFormatContext *context) const {
  if ((context->oformat->flags & AVFMT_NOFILE) == 0) (void)avio_closep(&context->pb);
  avformat_free_context(context);
}

bool MatroskaWriter::succeeds(int result) {
  av_error_ = std::min(result, 0);
  return result >= 0;
}

MatroskaFailure MatroskaWriter::add_streams(std::optional<Codec> codec, std::uint32_t width, std::uint32_t height) {
  video_ = avformat_new_stream(context_.get(), nullptr);
  if (video_ == nullptr) return MatroskaFailure::kVideoStream;
  video_->time_base = kMilliseconds;
  video_->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  video_->codecpar->codec_id = codec ? codec_id(*codec) : AV_CODEC_ID_NONE;
  video_->codecpar->width = static_cast<int>(width);
  video_->codecpar->height = static_cast<int>(height);
  if (video_->codecpar->codec_id == AV_CODEC_ID_NONE) return MatroskaFailure::kCodec;

  subtitle_ = avformat_new_stream(context_.get(), nullptr);
  if (subtitle_ == nullptr) return MatroskaFailure::kSubtitleStream;
  subtitle_->codecpar->codec_type = AVMEDIA_TYPE_SUBTITLE;
  subtitle_->codecpar->codec_id = AV_CODEC_ID_WEBVTT;
  subtitle_->time_base = kMilliseconds;
  return MatroskaFailure::kNone;
}

MatroskaFailure MatroskaWriter::open(const char *file_name, std::optional<Codec> codec, std::uint32_t width,
                                     std::uint32_t height) {
  packet_.reset(av_packet_alloc());
  if (packet_ == nullptr) return MatroskaFailure::kPacket;

  AVFormatContext *context = nullptr;
  const int allocated = avformat_alloc_output_context2(&context, nullptr, "matroska", file_name);
  context_.reset(context);
  if (!succeeds(allocated)) return MatroskaFailure::kContext;
  // Each cluster goes to the file when it is complete instead of waiting in the I/O buffer: it survives a crash.
  context->flags |= AVFMT_FLAG_FLUSH_PACKETS;

  const MatroskaFailure failure = add_streams(codec, width, height);
  if (failure != MatroskaFailure::kNone) return failure;
  if ((context->oformat->flags & AVFMT_NOFILE) == 0 && !succeeds(avio_open(&context->pb, file_name, AVIO_FLAG_WRITE))) {
    return MatroskaFailure::kOpen;
  }
  tune_allocator();
  return MatroskaFailure::kNone;
}

bool MatroskaWriter::set_extradata(const std::uint8_t *data, std::size_t size) {
  if (size > kMostPacketBytes) return false;
  auto *extradata = static_cast<std::uint8_t *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (extradata == nullptr) return false;
  std::copy_n(data, size, extradata);
  video_->codecpar->extradata = extradata;  // owned by the stream from here
  video_->codecpar->extradata_size = static_cast<int>(size);
  return true;
}

MatroskaFailure MatroskaWriter::write_header(const std::uint8_t *extradata, std::size_t size) {
  av_error_ = 0;
  if (context_ == nullptr) return MatroskaFailure::kHeader;
  if (!set_extradata(extradata, size)) return MatroskaFailure::kExtradata;
  AVDictionary *options = nullptr;
  (void)av_dict_set(&options, "write_crc32", "0", 0);
  ready_ = succeeds(avformat_write_header(context_.get(), &options));
  av_dict_free(&options);
  return ready_ ? MatroskaFailure::kNone : MatroskaFailure::kHeader;
}

/// The packet has kept its bytes when writing it failed.
void MatroskaWriter::empty_packet() {
  av_error_ = 0;
  if (packet_->buf != nullptr) av_packet_unref(packet_.get());
}

void MatroskaWriter::place(const AVStream *stream, std::int64_t time_us, std::int64_t duration_ms) {
  packet_->stream_index = stream->index;
  packet_->pts = av_rescale_q(time_us, kMicroseconds, stream->time_base);
  packet_->dts = packet_->pts;
  packet_->duration = duration_ms;  // unscaled: the streams keep their milliseconds
}

/// Without interleaving: packets reach the muxer in the order written, and the muxer is done with the bytes on return.
/// After a failure the packet keeps its bytes.
bool MatroskaWriter::write_packet() {
  if (!succeeds(av_write_frame(context_.get(), packet_.get()))) return false;
  av_packet_unref(packet_.get());
  return true;
}

MatroskaFailure MatroskaWriter::wrap_frame(std::uint8_t *data, std::size_t size) {
  empty_packet();
  if (size > kMostPacketBytes) return MatroskaFailure::kBuffer;
  packet_->buf = av_buffer_create(data, size, keep_bytes, nullptr, 0);
  if (packet_->buf == nullptr) return MatroskaFailure::kBuffer;
  packet_->data = packet_->buf->data;
  packet_->size = static_cast<int>(packet_->buf->size);
  return MatroskaFailure::kNone;
}

MatroskaFailure MatroskaWriter::write_frame(std::int64_t time_us, std::int64_t duration_ms, bool key) {
  place(video_, time_us, duration_ms);
  if (key) packet_->flags |= AV_PKT_FLAG_KEY;
  return write_packet() ? MatroskaFailure::kNone : MatroskaFailure::kFrame;
}

MatroskaFailure MatroskaWriter::write_cue(std::int64_t time_us, std::int64_t duration_ms) {
  empty_packet();
  std::string text;
  try {
    text = cue_text(time_us);
  } catch (const std::bad_alloc &) {
    return MatroskaFailure::kCue;
  }
  if (!succeeds(av_new_packet(packet_.get(), static_cast<int>(text.size())))) return MatroskaFailure::kCue;
  std::memcpy(packet_->data, text.data(), text.size());

  // A cue without its settings is still a cue.
  std::uint8_t *settings = av_packet_new_side_data(packet_.get(), AV_PKT_DATA_WEBVTT_SETTINGS, kCueSettings.size());
  if (settings != nullptr) std::memcpy(settings, kCueSettings.data(), kCueSettings.size());

  place(subtitle_, time_us, duration_ms);
  return write_packet() ? MatroskaFailure::kNone : MatroskaFailure::kCue;
}

MatroskaFailure MatroskaWriter::close() {
  av_error_ = 0;
  packet_.reset();
  const auto context = std::move(context_);  // closed and freed at the end, whatever becomes of the trailer
  video_ = nullptr;
  subtitle_ = nullptr;
  // After a header that failed, the muxer's state is freed: a trailer would crash it.
  const bool written = std::exchange(ready_, false) && succeeds(av_write_trailer(context.get()));
  return written ? MatroskaFailure::kNone : MatroskaFailure::kTrailer;
}

}  // namespace formats
