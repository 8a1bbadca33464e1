// Copying frames and writing their records.
#include "frames/media/raw_stream.h"

#include <limits>

#include "formats/bitstream.h"
#include "formats/sidecar.h"
#include "frames/common/progress.h"
#include "frames/common/unusable.h"

namespace frames {
namespace {

std::uint32_t header_size_of(const Capture &capture, std::size_t frame, std::span<const std::uint8_t> bytes) {
  // A container's frames have got their parameter sets back in another form.
  const bool is_kept = capture.kind != SourceKind::kContainer && capture.frames.header.known(frame);
  if (is_kept) return capture.frames.header[frame];
  if (!capture.codec) return 0;
  return static_cast<std::uint32_t>(formats::header_size(*capture.codec, bytes, true).value_or(0));
}

}  // namespace

std::uint64_t write_raw_stream(const Capture &capture, const FrameRange &range, OutputFile &stream,
                               OutputFile &sidecar) {
  require_bytes(capture);
  require_times(capture);
  if (range.count() > std::numeric_limits<std::uint32_t>::max()) {
    unusable("{}: {} frames are more than a sidecar counts", capture.name, range.count());
  }
  const FrameTable &frames = capture.frames;
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  Progress progress(range.count());
  std::uint64_t written = 0;
  for (std::size_t i = range.from; i < range.to; ++i) {
    const std::span<const std::uint8_t> bytes = reader->read(i);
    stream.write(bytes);
    written += bytes.size();
    sidecar.write(formats::sidecar_record_bytes({.frame_type = frames.type.known(i) ? frames.type[i] : 0,
                                                 .time_us = static_cast<std::uint64_t>(frames.time_us[i]),
                                                 .size = static_cast<std::uint32_t>(bytes.size()),
                                                 .header_size = header_size_of(capture, i, bytes)}));
    progress.at(i - range.from);
  }
  sidecar.write(formats::sidecar_trailer_bytes(static_cast<std::uint32_t>(range.count())));
  return written;
}

}  // namespace frames
