// A Matroska file written straight with libavformat.
#include "packet_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "formats/cue_text.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace {

constexpr int kVideo = 0;
constexpr int kCue = 1;
constexpr AVRational kMicroseconds = {1, 1'000'000};
constexpr AVRational kMilliseconds = {1, 1000};
constexpr int kDuration = 33;  // ms
constexpr std::string_view kCueSettings = "line:1% position:0% align:start";

void require(bool worked, const char *what) {
  if (worked) return;
  (void)std::fprintf(stderr, "%s failed\n", what);
  std::exit(1);
}

void keep_bytes(void *, std::uint8_t *) {}

}  // namespace

void PacketFile::Free::operator()(AVFormatContext *context) const {
  (void)avio_closep(&context->pb);
  avformat_free_context(context);
}

void PacketFile::Free::operator()(AVPacket *packet) const {
  av_packet_free(&packet);
}

PacketFile::PacketFile(const char *file_name, guint32 format, const Picture &first) : packet_(av_packet_alloc()) {
  AVFormatContext *context = nullptr;
  require(avformat_alloc_output_context2(&context, nullptr, "matroska", file_name) >= 0, "the muxer");
  context_.reset(context);
  context->flags |= AVFMT_FLAG_FLUSH_PACKETS;
  const AVStream *video = avformat_new_stream(context, nullptr);
  const AVStream *cue = avformat_new_stream(context, nullptr);
  require(packet_ != nullptr && video != nullptr && cue != nullptr, "an allocation");
  context->streams[kVideo]->time_base = kMilliseconds;
  context->streams[kCue]->time_base = kMilliseconds;
  video->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  video->codecpar->codec_id = format == 0 ? AV_CODEC_ID_H264 : AV_CODEC_ID_MJPEG;
  video->codecpar->width = 1920;
  video->codecpar->height = 1080;
  const std::size_t header_size = first.header_size > 0 ? first.header_size : first.size;
  video->codecpar->extradata = static_cast<std::uint8_t *>(av_mallocz(header_size + AV_INPUT_BUFFER_PADDING_SIZE));
  require(video->codecpar->extradata != nullptr, "an allocation");
  video->codecpar->extradata_size = static_cast<int>(header_size);
  std::memcpy(video->codecpar->extradata, first.data, header_size);
  cue->codecpar->codec_type = AVMEDIA_TYPE_SUBTITLE;
  cue->codecpar->codec_id = AV_CODEC_ID_WEBVTT;
  require(avio_open(&context->pb, file_name, AVIO_FLAG_WRITE) >= 0, file_name);
  AVDictionary *options = nullptr;
  (void)av_dict_set(&options, "write_crc32", "0", 0);
  require(avformat_write_header(context, &options) >= 0, "the header");
  av_dict_free(&options);
}

void PacketFile::put(int stream, std::int64_t time) {
  packet_->stream_index = stream;
  packet_->pts = packet_->dts = av_rescale_q(time, kMicroseconds, kMilliseconds);
  packet_->duration = kDuration;
  require(av_write_frame(context_.get(), packet_.get()) >= 0, "a packet");
  av_packet_unref(packet_.get());
}

void PacketFile::write(const Picture &picture, std::int64_t time) {
  // libavutil wants writable memory though the muxer does not write to it.
  packet_->buf = av_buffer_create(const_cast<guint8 *>(picture.data), picture.size, keep_bytes, nullptr, 0);
  require(packet_->buf != nullptr, "an allocation");
  packet_->data = packet_->buf->data;
  packet_->size = static_cast<int>(picture.size);
  packet_->flags = picture.key ? AV_PKT_FLAG_KEY : 0;
  put(kVideo, time);

  const std::string text = formats::cue_text(time);
  require(av_new_packet(packet_.get(), static_cast<int>(text.size())) >= 0, "an allocation");
  std::memcpy(packet_->data, text.data(), text.size());
  std::uint8_t *settings = av_packet_new_side_data(packet_.get(), AV_PKT_DATA_WEBVTT_SETTINGS, kCueSettings.size());
  require(settings != nullptr, "an allocation");
  std::memcpy(settings, kCueSettings.data(), kCueSettings.size());
  put(kCue, time);
}

void PacketFile::finish() {
  require(av_write_trailer(context_.get()) >= 0, "the trailer");
  context_.reset();
}
