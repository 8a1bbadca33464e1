// Frames of a raw stream that has no sidecar.
#include <cmath>
#include <utility>

#include "formats/bitstream.h"
#include "formats/capture/demuxer.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"

namespace formats {
namespace {

/// FFmpeg's demuxer of the raw stream, whose parser finds the frames.
const char *demuxer_of(Codec codec) {
  switch (codec) {
    case Codec::kH264:
      return "h264";
    case Codec::kH265:
      return "hevc";
    case Codec::kJpeg:
      return "mjpeg";
    case Codec::kAv1:
      return "obu";
    default:
      return nullptr;
  }
}

/// The time of a frame at a steady rate, from 0, rounded to the nearest us.
std::int64_t time_at(const Rate &rate, std::size_t frame) {
  return av_rescale(static_cast<std::int64_t>(frame), rate.denominator * kMicroseconds.den, rate.numerator);
}

void add_frame(Capture &capture, const std::optional<Rate> &rate, std::uint64_t offset, std::uint32_t size,
               bool is_key) {
  FrameTable &frames = capture.frames;
  const std::size_t number = frames.count++;
  frames.offset.set(number, offset);
  frames.size.set(number, size);
  frames.key.set(number, is_key ? 1 : 0);
  if (rate) frames.time_us.set(number, time_at(*rate, number));
}

/// Tells of bytes that belong to no frame, which begin at `offset`.
void note_remainder(Capture &capture, std::uint64_t offset) {
  if (offset >= capture.raw_bytes()) return;
  capture.findings.add({.id = "raw-size",
                        .text = fmt::format("{} bytes at the end are no whole frame", capture.raw_bytes() - offset),
                        .byte = offset});
}

void split_pictures(Capture &capture, const CaptureOptions &options) {
  if (options.width == 0) {
    unusable("{}: uncompressed frames without a sidecar need their size: --size WIDTHxHEIGHT", capture.name);
  }
  const std::uint64_t size = frame_bytes(*capture.codec, options.width, options.height);
  if (size == 0 || size > UINT32_MAX) unusable("{}: no frame is of that size", capture.name);
  std::uint64_t offset = 0;
  for (; offset + size <= capture.raw_bytes(); offset += size)
    add_frame(capture, options.fps, offset, static_cast<std::uint32_t>(size), true);
  note_remainder(capture, offset);
}

void split_coded(Capture &capture, const CaptureOptions &options) {
  Demuxer demuxer(capture.name, capture.parts, demuxer_of(*capture.codec));
  const PacketPtr packet(av_packet_alloc());
  std::uint64_t offset = 0;
  constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20U;
  Progress progress(options.show_progress, capture.raw_bytes() / kMebibyte, "MiB");
  while (demuxer.next(packet.get())) {
    progress.at(offset / kMebibyte);
    const std::span<const std::uint8_t> bytes(packet->data, static_cast<std::size_t>(packet->size));
    const bool is_key = frame_key(*capture.codec, bytes, true) == KeyState::kKey;
    add_frame(capture, options.fps, offset, static_cast<std::uint32_t>(bytes.size()), is_key);
    offset += bytes.size();
  }
  note_remainder(capture, offset);
}

}  // namespace

bool split_raw(Capture &capture, const CaptureOptions &options) {
  if (!capture.codec) return false;
  if (is_uncompressed(*capture.codec)) {
    split_pictures(capture, options);
  } else {
    split_coded(capture, options);
  }
  if (capture.frames.count == 0) unusable("{}: holds no whole frame", capture.name);
  return true;
}

}  // namespace formats
