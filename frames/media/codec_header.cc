// Finding the parameter sets.
#include "frames/media/codec_header.h"

#include <algorithm>
#include <optional>

#include "formats/bitstream.h"
#include "frames/common/unusable.h"

namespace frames {
namespace {

/// Bytes in which the parameter sets of a frame that has any are looked for.
constexpr std::size_t kLook = std::size_t{64} * 1024;
constexpr std::size_t kSmallestHeader = 3;

std::vector<std::uint8_t> header_of(formats::Codec codec, std::span<const std::uint8_t> frame) {
  const std::size_t size = formats::header_size(codec, frame, true).value_or(0);
  const std::span<const std::uint8_t> header = frame.first(size < kSmallestHeader ? frame.size() : size);
  return {header.begin(), header.end()};
}

}  // namespace

std::vector<std::uint8_t> find_codec_header(const Capture &capture, const FrameRange &range, FrameReader &reader) {
  const formats::Codec codec = require_codec(capture);
  if (formats::is_uncompressed(codec)) {
    unusable("{}: frame {}: is uncompressed ({})", capture.name, range.from, formats::codec_name(codec));
  }
  for (std::size_t i = range.from; i < range.to; ++i) {
    if (formats::has_parameter_sets(codec, reader.read_start(i, kLook))) return header_of(codec, reader.read(i));
  }
  unusable("{}: frame {}: neither it nor one behind it has the parameter sets that players need", capture.name,
           range.from);
}

}  // namespace frames
