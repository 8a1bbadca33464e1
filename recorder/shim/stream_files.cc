// A small table without locks: signal handlers may poll.
#include "recorder/shim/stream_files.h"

#include <atomic>

namespace recorder {
namespace {

/// A descriptor (upper half), and the stream's number and which of its two it is (lower half). 0: unused.
std::atomic<std::uint64_t> files[32];

constexpr std::uint64_t entry_of(int descriptor, StreamFile file) {
  const std::uint32_t owner = file.stream << 1U | (file.is_event ? 1U : 0U);
  return (static_cast<std::uint64_t>(descriptor) + 1) << 32U | owner;
}

constexpr bool is_of(std::uint64_t entry, int descriptor) {
  return entry >> 32U == static_cast<std::uint64_t>(descriptor) + 1;
}

}  // namespace

void note_stream_file(int descriptor, StreamFile file) {
  if (descriptor < 0) return;
  const std::uint64_t entry = entry_of(descriptor, file);
  for (std::atomic<std::uint64_t> &place : files) {
    std::uint64_t held = place.load();
    if (is_of(held, descriptor)) {
      place = entry;
      return;
    }
  }
  for (std::atomic<std::uint64_t> &place : files) {
    std::uint64_t unused = 0;
    if (place.compare_exchange_strong(unused, entry)) return;
  }
}

StreamFile stream_file(int descriptor) {
  if (descriptor < 0) return {};
  for (const std::atomic<std::uint64_t> &place : files) {
    const std::uint64_t entry = place.load(std::memory_order_relaxed);
    if (is_of(entry, descriptor)) return {static_cast<std::uint32_t>(entry) >> 1U, (entry & 1U) != 0};
  }
  return {};
}

void forget_stream_files(std::uint32_t stream) {
  for (std::atomic<std::uint64_t> &place : files) {
    std::uint64_t entry = place.load();
    if (static_cast<std::uint32_t>(entry) >> 1U == stream && entry != 0) (void)place.compare_exchange_strong(entry, 0);
  }
}

}  // namespace recorder
