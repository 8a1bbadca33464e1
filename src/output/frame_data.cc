// A frame's bytes as one block.
#include "output/frame_data.h"

#include <new>
#include <span>
#include <stdexcept>
#include <vector>

#include "common/errors.h"

namespace {

/// Zero bytes behind a gathered frame: one ends it, the rest are for parsers that read whole words past the end, as
/// FFmpeg's may.
constexpr std::size_t kZeroes = 64;

/// Holds the frame that was gathered last and the zero bytes. Lives until the process ends and never shrinks.
std::vector<std::uint8_t> gathered;

/// Copies the frame's chunks behind one another. They are trusted to add up to the frame's size: what is missing stays
/// zero, what is too much is left out. A chunk that cannot be taken counts as the last one and is not reported; kept
/// so.
void gather(zel_frame *frame, std::size_t size) {
  gathered.clear();
  gathered.reserve(size + kZeroes);
  for (;;) {
    const zel_chunk chunk = zel_frame_take_chunk(frame, nullptr);
    if (chunk.size == 0 || chunk.mark == G_MININT32) break;
    const std::size_t room = size - gathered.size();
    const std::size_t length = chunk.size < room ? chunk.size : room;
    if (chunk.data == nullptr) {  // no access to this piece
      gathered.resize(gathered.size() + length);
    } else {
      const std::span bytes(static_cast<const std::uint8_t *>(chunk.data), length);
      gathered.insert(gathered.end(), bytes.begin(), bytes.end());
    }
  }
  gathered.resize(size + kZeroes);
}

}  // namespace

std::uint8_t *frame_data(zel_frame *frame, GError **error) {
  if (zel_buffer_is_contiguous(frame)) {
    const zel_chunk chunk = zel_frame_take_chunk(frame, error);
    return chunk.mark == G_MININT32 ? nullptr : static_cast<std::uint8_t *>(chunk.data);
  }
  try {
    const std::size_t size = zel_frame_get_size(frame);
    if (size > SIZE_MAX - kZeroes) throw std::bad_alloc();
    gather(frame, size);
    return gathered.data();
  } catch (const std::bad_alloc &) {
  } catch (const std::length_error &) {  // more than a vector can address
  }
  gathered.clear();
  set_error(error, kErrorOutOfMemory, "Out of memory");
  return nullptr;
}
