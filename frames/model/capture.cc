// What is found out about a capture by looking at its bytes.
#include "frames/model/capture.h"

#include "formats/bitstream.h"

namespace frames {
namespace {

/// Bytes to look at first: a frame's parameter sets and the start of its first slice.
constexpr std::size_t kFirstLook = 256;

bool is_key(FrameReader &reader, formats::Codec codec, std::size_t frame, std::size_t size) {
  for (std::size_t least = kFirstLook;; least *= 16) {
    const bool whole = least >= size;
    const formats::KeyState state = formats::frame_key(codec, reader.read_start(frame, least), whole);
    if (state != formats::KeyState::kUnknown) return state == formats::KeyState::kKey;
    if (whole) return false;
  }
}

}  // namespace

void find_keys(Capture &capture) {
  FrameTable &frames = capture.frames;
  if (!capture.has_bytes() || !capture.codec || frames.key.any()) return;
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  for (std::size_t i = 0; i < frames.count; ++i)
    frames.key.set(i, is_key(*reader, *capture.codec, i, frames.size[i]) ? 1 : 0);
}

}  // namespace frames
