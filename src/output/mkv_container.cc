// The Matroska writer's object: building it, its header and its trailer.
#include "output/mkv_container.h"

#include <malloc.h>

#include <algorithm>
#include <array>
#include <utility>

#include "common/stream_format.h"
#include "output/error_line.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mem.h>
}

namespace {

constexpr AVRational kMilliseconds = {1, 1000};

struct FormatCodec {
  std::uint32_t format;  ///< of zel_format_get_type()
  AVCodecID codec;
};

/// The formats that Matroska takes; all others, such as the uncompressed ones, fail.
constexpr std::array kFormatCodecs = {
    FormatCodec{kFormatH264, AV_CODEC_ID_H264},
    FormatCodec{kFormatH265, AV_CODEC_ID_HEVC},
    FormatCodec{kFormatJpeg, AV_CODEC_ID_MJPEG},
    FormatCodec{kFormatAv1, AV_CODEC_ID_AV1},
};

/// A shorter codec header counts as none.
constexpr gssize kSmallestHeader = 3;

AVCodecID codec_of(std::uint32_t format) {
  const auto *found = std::find_if(kFormatCodecs.begin(), kFormatCodecs.end(),
                                   [format](const FormatCodec &entry) { return entry.format == format; });
  return found != kFormatCodecs.end() ? found->codec : AV_CODEC_ID_NONE;
}

std::nullopt_t fail(const char *reason) {
  print_error_line("{}", reason);
  return std::nullopt;
}

/// Bytes at the start of the frame that configure the codec: its header, or all of a frame without one.
std::size_t extradata_size_of(zel_frame *frame) {
  const gssize header_size = zel_frame_get_header_size(frame);
  const std::size_t frame_size = zel_frame_get_size(frame);
  if (header_size < kSmallestHeader) return frame_size;
  return std::min(static_cast<std::size_t>(header_size), frame_size);  // a header cannot be longer than its frame
}

/// Gives the video stream a copy of the codec configuration.
bool set_extradata(AVStream *video, const std::uint8_t *data, std::size_t size) {
  if (size > kLargestAvBlock) return false;
  auto *extradata = static_cast<std::uint8_t *>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (extradata == nullptr) return false;
  std::copy_n(data, size, extradata);
  video->codecpar->extradata = extradata;  // owned by the stream from here
  video->codecpar->extradata_size = static_cast<int>(size);
  return true;
}

/// FFmpeg aligns everything that it allocates, and a packet with side data is a dozen allocations. glibc cuts the
/// aligned piece out of a larger one and by default keeps the remainders in lists, which nearly every free then merges.
/// Merging each remainder at once makes a small frame a fifth cheaper.
void tune_allocator() {
#ifdef M_MXFAST
  (void)mallopt(M_MXFAST, 0);
#endif
}

}  // namespace

void FreeFormatContext::operator()(AVFormatContext *context) const {
  if ((context->oformat->flags & AVFMT_NOFILE) == 0) (void)avio_closep(&context->pb);
  avformat_free_context(context);
}

std::optional<MkvWriter> MkvWriter::open(const char *file_name, std::uint32_t format, std::uint32_t width,
                                         std::uint32_t height, double framerate) {
  MkvWriter writer;
  writer.framerate = framerate;

  writer.packet.reset(av_packet_alloc());
  if (writer.packet == nullptr) return fail("Could not allocate packet");

  AVFormatContext *context = nullptr;
  const int allocated = avformat_alloc_output_context2(&context, nullptr, "matroska", file_name);
  writer.context.reset(context);
  if (allocated < 0) return fail("Could not create output context");
  // Each cluster goes to the file when it is complete instead of waiting in the I/O buffer: it survives a crash.
  context->flags |= AVFMT_FLAG_FLUSH_PACKETS;

  writer.video = avformat_new_stream(context, nullptr);
  if (writer.video == nullptr) return fail("Could not create video stream");
  writer.video->time_base = kMilliseconds;
  writer.video->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  writer.video->codecpar->codec_id = codec_of(format);
  writer.video->codecpar->width = static_cast<int>(width);
  writer.video->codecpar->height = static_cast<int>(height);
  if (writer.video->codecpar->codec_id == AV_CODEC_ID_NONE) return fail("Unsupported video format for MKV writer");

  writer.subtitle = avformat_new_stream(context, nullptr);
  if (writer.subtitle == nullptr) return fail("Could not create subtitle stream");
  writer.subtitle->codecpar->codec_type = AVMEDIA_TYPE_SUBTITLE;
  writer.subtitle->codecpar->codec_id = AV_CODEC_ID_WEBVTT;
  writer.subtitle->time_base = kMilliseconds;

  if ((context->oformat->flags & AVFMT_NOFILE) == 0 && avio_open(&context->pb, file_name, AVIO_FLAG_WRITE) < 0) {
    print_error_line("Could not open output file '{}'", file_name);
    return std::nullopt;
  }
  tune_allocator();
  return writer;
}

bool mkv_write_header(MkvWriter &writer, zel_frame *frame, const std::uint8_t *data) {
  // Marked before the attempt, so that a header that failed is never tried again; kept as it is.
  if (std::exchange(writer.header_written, true)) return true;
  const std::size_t size = extradata_size_of(frame);
  if (writer.context != nullptr) {  // not finalised yet
    if (!set_extradata(writer.video, data, size)) {
      print_error_line("Could not allocate extradata");
      return false;
    }
    AVDictionary *options = nullptr;
    (void)av_dict_set(&options, "write_crc32", "0", 0);
    writer.muxing = avformat_write_header(writer.context.get(), &options) >= 0;
    av_dict_free(&options);
  }
  if (!writer.muxing) print_error_line("Could not write header: {}", size);  // the extradata's size; kept as it is
  return writer.muxing;
}

bool mkv_write_trailer(MkvWriter &writer) {
  writer.packet.reset();
  const auto context = std::move(writer.context);  // closed and freed at the end, whatever becomes of the trailer
  writer.video = nullptr;
  writer.subtitle = nullptr;
  // After a header that failed, the muxer's state is freed: a trailer would crash it.
  return std::exchange(writer.muxing, false) && av_write_trailer(context.get()) >= 0;
}
