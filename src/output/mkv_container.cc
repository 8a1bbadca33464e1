// The Matroska writer's object: building it, its header and its trailer.
#include "output/mkv_container.h"

#include <cstddef>
#include <utility>

#include "output/error_line.h"

using formats::MatroskaFailure;

std::optional<MkvWriter> MkvWriter::open(const char *file_name, std::uint32_t format, std::uint32_t width,
                                         std::uint32_t height, double framerate) {
  MkvWriter writer;
  writer.framerate = framerate;
  const MatroskaFailure failure = writer.file.open(file_name, formats::codec_of_format(format), width, height);
  if (failure == MatroskaFailure::kNone) return writer;
  const char *text = formats::matroska_failure_text(failure);
  if (failure == MatroskaFailure::kOpen) {
    print_error_line("{} '{}'", text, file_name);
  } else {
    print_error_line("{}", text);
  }
  return std::nullopt;
}

bool mkv_write_header(MkvWriter &writer, zel_frame *frame, const std::uint8_t *data) {
  // Marked before the attempt, so that a header that failed is never tried again; kept as it is.
  if (std::exchange(writer.header_written, true)) return true;
  const gssize header_size = zel_frame_get_header_size(frame);
  const std::size_t size = formats::matroska_extradata_size(header_size, zel_frame_get_size(frame));
  const MatroskaFailure failure = writer.file.write_header(data, size);
  if (failure == MatroskaFailure::kNone) return true;
  const char *text = formats::matroska_failure_text(failure);
  if (failure == MatroskaFailure::kHeader) {
    print_error_line("{}: {}", text, size);  // the extradata's size; kept as it is
  } else {
    print_error_line("{}", text);
  }
  return false;
}

bool mkv_write_trailer(MkvWriter &writer) {
  return writer.file.close() == MatroskaFailure::kNone;
}
