// The two packets that every frame becomes in the Matroska file.
#include "output/mkv_packets.h"

#include <limits>

#include "output/error_line.h"

using formats::MatroskaFailure;

namespace {

std::int64_t timestamp_of(zel_frame *frame) {
  return static_cast<std::int64_t>(zel_frame_get_timestamp(frame));
}

bool print_failure(MatroskaFailure failure) {
  print_error_line("{}", formats::matroska_failure_text(failure));
  return false;
}

}  // namespace

std::int64_t mkv_packet_duration(double framerate) {
  constexpr double kLongest = std::numeric_limits<std::int32_t>::max();
  const double duration = 1000.0 / framerate + 0.5;
  return duration > 0 && duration < kLongest ? static_cast<std::int64_t>(duration) : 0;
}

bool mkv_write_video(MkvWriter &writer, zel_frame *frame, std::uint8_t *data) {
  if (!writer.file.is_ready()) return print_failure(MatroskaFailure::kFrame);
  MatroskaFailure failure = writer.file.wrap_frame(data, zel_frame_get_size(frame));
  if (failure != MatroskaFailure::kNone) return print_failure(failure);
  const std::int64_t timestamp = timestamp_of(frame);
  const bool key = zel_frame_is_key(frame) != FALSE;
  failure = writer.file.write_frame(timestamp, mkv_packet_duration(writer.framerate), key);
  return failure == MatroskaFailure::kNone || print_failure(failure);
}

bool mkv_write_subtitle(MkvWriter &writer, zel_frame *frame) {
  if (!writer.file.is_ready()) return false;
  const MatroskaFailure failure = writer.file.write_cue(timestamp_of(frame), mkv_packet_duration(writer.framerate));
  return failure == MatroskaFailure::kNone;
}
