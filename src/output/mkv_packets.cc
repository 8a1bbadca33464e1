// The two packets that every frame becomes in the Matroska file.
#include "output/mkv_packets.h"

#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "formats/cue_text.h"
#include "output/error_line.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace {

constexpr AVRational kMicroseconds = {1, 1'000'000};

/// 1% from the top, at the left edge. FFmpeg takes it without a final zero.
constexpr std::string_view kCueSettings = "line:1% position:0% align:start";
static_assert(kCueSettings.size() == 31);

/// For wrapped bytes, which stay the property of the frame's buffer.
void keep_bytes(void *, std::uint8_t *) {}

std::int64_t timestamp_of(zel_frame *frame) {
  return static_cast<std::int64_t>(zel_frame_get_timestamp(frame));
}

/// Puts the packet at a time of the service's clock on a stream of the file.
void place(const MkvWriter &writer, const AVStream *stream, std::int64_t timestamp) {
  AVPacket *packet = writer.packet.get();
  packet->stream_index = stream->index;
  packet->pts = av_rescale_q(timestamp, kMicroseconds, stream->time_base);
  packet->dts = packet->pts;
  packet->duration = mkv_packet_duration(writer.framerate);  // unscaled: the streams keep their milliseconds
}

/// Without interleaving: packets reach the muxer in the order written, and the muxer is done with the bytes on return.
/// After a failure the packet keeps its bytes.
bool write_packet(const MkvWriter &writer) {
  if (av_write_frame(writer.context.get(), writer.packet.get()) < 0) return false;
  av_packet_unref(writer.packet.get());
  return true;
}

/// Empties the packet, which has kept its bytes when writing it failed.
void clear(AVPacket *packet) {
  if (packet->buf != nullptr) av_packet_unref(packet);
}

/// Wraps the frame's bytes in the packet.
bool wrap(AVPacket *packet, std::uint8_t *data, std::size_t size) {
  if (size > kLargestAvBlock) return false;
  packet->buf = av_buffer_create(data, size, keep_bytes, nullptr, 0);
  if (packet->buf == nullptr) return false;
  packet->data = packet->buf->data;
  packet->size = static_cast<int>(packet->buf->size);
  return true;
}

}  // namespace

std::int64_t mkv_packet_duration(double framerate) {
  constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
  const double duration = 1000.0 / framerate + 0.5;
  return duration > 0 && duration < kLongest ? static_cast<std::int64_t>(duration) : 0;
}

bool mkv_write_video(MkvWriter &writer, zel_frame *frame, std::uint8_t *data) {
  if (!writer.muxing) {
    print_error_line("Could not write frame");
    return false;
  }
  AVPacket *packet = writer.packet.get();
  clear(packet);
  if (!wrap(packet, data, zel_frame_get_size(frame))) {
    print_error_line("Could not create AVBufferRef");
    return false;
  }
  place(writer, writer.video, timestamp_of(frame));
  if (zel_frame_is_key(frame)) packet->flags |= AV_PKT_FLAG_KEY;
  if (write_packet(writer)) return true;
  print_error_line("Could not write frame");
  return false;
}

bool mkv_write_subtitle(MkvWriter &writer, zel_frame *frame) {
  if (!writer.muxing) return false;
  const std::int64_t timestamp = timestamp_of(frame);
  std::string text;
  try {
    text = formats::cue_text(timestamp);
  } catch (const std::bad_alloc &) {
    return false;
  }

  AVPacket *packet = writer.packet.get();
  clear(packet);
  if (av_new_packet(packet, static_cast<int>(text.size())) < 0) return false;
  std::memcpy(packet->data, text.data(), text.size());

  // A cue without its settings is still a cue.
  std::uint8_t *settings = av_packet_new_side_data(packet, AV_PKT_DATA_WEBVTT_SETTINGS, kCueSettings.size());
  if (settings != nullptr) std::memcpy(settings, kCueSettings.data(), kCueSettings.size());

  place(writer, writer.subtitle, timestamp);
  return write_packet(writer);
}
