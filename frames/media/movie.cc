// Muxing into Matroska and MP4.
#include "frames/media/movie.h"

#include <algorithm>
#include <limits>

#include "formats/bitstream.h"
#include "formats/matroska_writer.h"
#include "frames/common/progress.h"
#include "frames/common/unusable.h"
#include "frames/media/codec_header.h"
#include "frames/media/mp4_writer.h"
#include "frames/model/statistics.h"

namespace frames {
namespace {

/// The longest duration of a frame in MP4.
constexpr std::int64_t kLongestUs = std::numeric_limits<std::int32_t>::max();

/// A range with all that a muxer needs to know beforehand.
struct Movie {
  const Capture &capture;
  FrameRange range;
  formats::Codec codec;
  FrameReader &reader;
  std::vector<std::uint8_t> header;
  std::int64_t nominal_us;  ///< 0: not known
};

std::string_view container_name(Container container) {
  return container == Container::kMp4 ? "MP4" : "Matroska";
}

[[noreturn]] void refuse(const Capture &capture, std::size_t frame, Container container, std::string_view why) {
  unusable("{}: frame {}: {}, which {} cannot hold", capture.name, frame, why, container_name(container));
}

/// Refuses before a byte is written what could not be written in the end.
void require_fitting_times(const Capture &capture, const FrameRange &range, Container container) {
  const FrameTable &frames = capture.frames;
  if (container == Container::kMatroska && frames.time_us[range.from] < 0) {
    refuse(capture, range.from, container, "its time is below 0");
  }
  for (std::size_t i = range.from + 1; i < range.to; ++i) {
    const std::int64_t before = frames.time_us[i - 1];
    const std::int64_t time = frames.time_us[i];
    if (time < before) refuse(capture, i, container, "its time goes back");
    if (container == Container::kMatroska) continue;
    if (time == before) refuse(capture, i, container, "its time is that of the frame before");
    const std::uint64_t distance = static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(before);
    if (distance > kLongestUs) refuse(capture, i, container, fmt::format("it comes after {} us", distance));
  }
}

/// The bytes of a frame. Who reads a file finds no frame where there are none.
std::span<const std::uint8_t> bytes_of(const Movie &movie, std::size_t frame, Container container) {
  const std::span<const std::uint8_t> bytes = movie.reader.read(frame);
  if (bytes.empty()) refuse(movie.capture, frame, container, "it has no bytes");
  return bytes;
}

bool is_key(formats::Codec codec, std::span<const std::uint8_t> bytes) {
  return formats::frame_key(codec, bytes, true) == formats::KeyState::kKey;
}

std::uint64_t write_mp4(const Movie &movie, OutputFile &file) {
  const FrameTable &frames = movie.capture.frames;
  if (!file.is_seekable()) unusable("{}: MP4 cannot be written to a pipe", file.path());
  // In MP4 the parameter sets of JPEG have no place: each picture has its own.
  const bool has_header = movie.codec != formats::Codec::kJpeg;
  Mp4Writer writer(file, movie.codec, movie.capture.width, movie.capture.height,
                   has_header ? std::span<const std::uint8_t>(movie.header) : std::span<const std::uint8_t>());
  Progress progress(movie.range.count());
  const std::int64_t start = frames.time_us[movie.range.from];
  std::uint64_t written = 0;
  for (std::size_t i = movie.range.from; i < movie.range.to; ++i) {
    const std::span<const std::uint8_t> bytes = bytes_of(movie, i, Container::kMp4);
    const bool is_last = i + 1 == movie.range.to;
    const std::int64_t duration = is_last ? movie.nominal_us : frames.time_us[i + 1] - frames.time_us[i];
    writer.write(bytes, frames.time_us[i] - start, duration, is_key(movie.codec, bytes));
    written += bytes.size();
    progress.at(i - movie.range.from);
  }
  writer.finish();
  return written;
}

/// Tells what the writer could not do; the system's reason where there is one.
void require(const formats::MatroskaWriter &writer, formats::MatroskaFailure failure, const OutputFile &file) {
  if (failure == formats::MatroskaFailure::kNone) return;
  unusable("{}: {}", file.path(),
           writer.av_error() < 0 ? av_error_text(writer.av_error()) : formats::matroska_failure_text(failure));
}

std::uint64_t write_matroska(const Movie &movie, OutputFile &file) {
  const FrameTable &frames = movie.capture.frames;
  formats::MatroskaWriter writer;
  require(writer, writer.open(file.name_to_open().c_str(), movie.codec, movie.capture.width, movie.capture.height),
          file);
  require(writer, writer.write_header(movie.header.data(), movie.header.size()), file);
  Progress progress(movie.range.count());
  const std::int64_t duration_ms = (movie.nominal_us + 500) / 1000;
  std::uint64_t written = 0;
  for (std::size_t i = movie.range.from; i < movie.range.to; ++i) {
    const std::span<const std::uint8_t> bytes = bytes_of(movie, i, Container::kMatroska);
    const std::int64_t time = frames.time_us[i];
    auto *data = const_cast<std::uint8_t *>(bytes.data());  // the muxer only reads
    require(writer, writer.wrap_frame(data, bytes.size()), file);
    require(writer, writer.write_frame(time, duration_ms, is_key(movie.codec, bytes)), file);
    require(writer, writer.write_cue(time, duration_ms), file);
    written += bytes.size();
    progress.at(i - movie.range.from);
  }
  require(writer, writer.close(), file);
  return written;
}

}  // namespace

std::uint64_t write_movie(Capture &capture, const FrameRange &range, Container container, OutputFile &file) {
  require_bytes(capture);
  require_times(capture);
  const formats::Codec codec = require_codec(capture);
  if (formats::is_uncompressed(codec)) {
    refuse(capture, range.from, container, fmt::format("it is uncompressed ({})", formats::codec_name(codec)));
  }
  require_fitting_times(capture, range, container);
  find_picture_size(capture);
  if (capture.width == 0) unusable("{}: the size of its pictures is not known: --size says it", capture.name);
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  const Movie movie{.capture = capture,
                    .range = range,
                    .codec = codec,
                    .reader = *reader,
                    .header = find_codec_header(capture, range, *reader),
                    .nominal_us = std::min(nominal_distance(capture.frames).value_or(0), kLongestUs)};
  return container == Container::kMp4 ? write_mp4(movie, file) : write_matroska(movie, file);
}

}  // namespace frames
