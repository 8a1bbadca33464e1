// What is found out about a capture by looking at its bytes.
#include "formats/capture/capture.h"

#include <algorithm>

#include "formats/bitstream.h"
#include "formats/capture/unusable.h"

namespace formats {
namespace {

/// Bytes to look at first: a frame's parameter sets and the start of its first slice.
constexpr std::size_t kFirstLook = 256;

bool is_key(FrameReader &reader, Codec codec, std::size_t frame, std::size_t size) {
  for (std::size_t least = kFirstLook;; least *= 16) {
    const bool whole = least >= size;
    const KeyState state = frame_key(codec, reader.read_start(frame, least), whole);
    if (state != KeyState::kUnknown) return state == KeyState::kKey;
    if (whole) return false;
  }
}

}  // namespace

std::size_t part_at(const std::vector<Part> &parts, std::uint64_t place) {
  const auto behind = std::upper_bound(parts.begin(), parts.end(), place,
                                       [](std::uint64_t wanted, const Part &part) { return wanted < part.start; });
  return static_cast<std::size_t>(behind - parts.begin()) - 1;
}

std::size_t part_of(const Capture &capture, std::size_t frame) {
  return part_at(capture.parts, capture.frames.offset[frame]);
}

Codec require_codec(const Capture &capture) {
  if (capture.codec) return *capture.codec;
  if (capture.kind == SourceKind::kContainer) unusable("{}: its video has another codec than a camera's", capture.name);
  unusable("{}: the codec is not known: --format says it", capture.name);
}

void require_bytes(const Capture &capture) {
  if (!capture.has_bytes()) unusable("{}: tells of frames but does not hold them", capture.name);
}

void require_times(const Capture &capture) {
  if (capture.frames.time_us.all(capture.frames.count)) return;
  unusable("{}: its frames have no times{}", capture.name,
           capture.kind == SourceKind::kRaw ? ": --fps gives them some" : "");
}

bool is_key_frame(const Capture &capture, FrameReader &reader, std::size_t frame) {
  const FrameTable &frames = capture.frames;
  if (frames.key.known(frame)) return frames.key[frame] != 0;
  return is_key(reader, require_codec(capture), frame, frames.size[frame]);
}

std::optional<std::size_t> key_frame_before(const Capture &capture, FrameReader &reader, std::size_t frame) {
  for (std::size_t i = frame;; --i) {
    if (is_key_frame(capture, reader, i)) return i;
    if (i == 0) return std::nullopt;
  }
}

void find_keys(Capture &capture) {
  FrameTable &frames = capture.frames;
  if (!capture.has_bytes() || !capture.codec || frames.key.any()) return;
  if (*capture.codec == Codec::kJpeg || is_uncompressed(*capture.codec)) {
    for (std::size_t i = 0; i < frames.count; ++i)
      frames.key.set(i, 1);
    return;
  }
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  Progress progress(capture.show_progress, frames.count);
  for (std::size_t i = 0; i < frames.count; ++i) {
    frames.key.set(i, is_key(*reader, *capture.codec, i, frames.size[i]) ? 1 : 0);
    progress.at(i);
  }
}

bool needs_picture_size(const Capture &capture) {
  return capture.width == 0 && capture.has_bytes() && capture.frames.count > 0 && capture.codec &&
         !is_uncompressed(*capture.codec);
}

}  // namespace formats
