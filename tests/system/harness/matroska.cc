// Reads Matroska files with FFmpeg.
#include "harness/matroska.h"

#include <memory>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

struct CloseInput {
  void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
struct FreePacket {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

}  // namespace

MatroskaContents read_matroska(const std::filesystem::path &path) {
  MatroskaContents contents;
  av_log_set_level(AV_LOG_QUIET);
  AVFormatContext *opened = nullptr;
  if (avformat_open_input(&opened, path.c_str(), av_find_input_format("matroska"), nullptr) < 0) return contents;
  const std::unique_ptr<AVFormatContext, CloseInput> context(opened);
  contents.opens = true;
  const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
  while (av_read_frame(context.get(), packet.get()) >= 0) {
    const AVStream *stream = context->streams[packet->stream_index];
    const bool is_video = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    (is_video ? contents.frames : contents.cues)
        .emplace_back(reinterpret_cast<const char *>(packet->data), static_cast<std::size_t>(packet->size));
    av_packet_unref(packet.get());
  }
  return contents;
}
