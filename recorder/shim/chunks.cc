// Remembering the chunks of the frames that are in the program's hands.
#include "recorder/shim/chunks.h"

#include <atomic>

namespace recorder {
namespace {

constexpr std::size_t kBuffers = 64;
constexpr std::size_t kChunks = 8;  ///< of a frame that are remembered

/// The chunks taken of one buffer's frame. `busy` keeps a second thread or a handler out, which remembers nothing then.
struct Taken {
  std::atomic_flag busy = ATOMIC_FLAG_INIT;
  std::uint32_t buffer = 0;
  std::uint32_t count = 0;
  zel_chunk chunks[kChunks] = {};
};

Taken taken[kBuffers];

}  // namespace

void begin_frame(std::uint32_t buffer) {
  Taken &place = taken[buffer % kBuffers];
  if (place.busy.test_and_set(std::memory_order_acquire)) return;
  place.buffer = buffer;
  place.count = 0;
  place.busy.clear(std::memory_order_release);
}

std::optional<std::uint32_t> earlier_chunk(std::uint32_t buffer, const zel_chunk &chunk) {
  if (chunk.data == nullptr || chunk.size == 0) return std::nullopt;
  Taken &place = taken[buffer % kBuffers];
  if (place.busy.test_and_set(std::memory_order_acquire)) return std::nullopt;
  std::optional<std::uint32_t> found;
  if (place.buffer == buffer) {
    for (std::uint32_t i = 0; i < place.count && i < kChunks && !found; ++i) {
      if (place.chunks[i].data == chunk.data && place.chunks[i].size == chunk.size) found = i;
    }
    if (place.count < kChunks) place.chunks[place.count] = chunk;
    ++place.count;
  }
  place.busy.clear(std::memory_order_release);
  return found;
}

ShownChunk shown_chunk(std::uint32_t buffer, const zel_chunk &chunk) {
  ShownChunk shown{chunk, earlier_chunk(buffer, chunk), 0};
  const bool has_hash = !keep_pictures && !shown.again && chunk.data != nullptr;
  if (has_hash) shown.hash = formats::xxh64(static_cast<const std::uint8_t *>(chunk.data), chunk.size);
  return shown;
}

}  // namespace recorder
