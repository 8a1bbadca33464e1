// Reserving, filling and giving back the ring's room.
#include "recorder/shim/ring.h"

#include <sys/mman.h>

#include <cstring>

namespace recorder {

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "signal handlers write to the ring");

bool Ring::create() {
  void *memory = mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) return false;
  memory_ = static_cast<std::uint8_t *>(memory);
  return true;
}

Ring::Word &Ring::word_at(std::uint64_t position) const {
  return *reinterpret_cast<Word *>(memory_ + position % kCapacity);
}

bool Ring::reserve(std::size_t size, Place &place) {
  const std::uint64_t room = sizeof(Word) + whole_words(size);
  std::uint64_t begin = reserved_.load(std::memory_order_relaxed);
  do {
    const std::uint64_t free = kCapacity - (begin - consumed_.load(std::memory_order_acquire));
    if (room > free) return false;
  } while (!reserved_.compare_exchange_weak(begin, begin + room));
  word_at(begin).store(std::uint64_t{size} << kStateBits | kReserved, std::memory_order_release);
  place = {begin, begin + sizeof(Word), begin + sizeof(Word) + size};
  return true;
}

void Ring::put(Place &place, const void *bytes, std::size_t count) {
  if (count > place.end - place.next) count = static_cast<std::size_t>(place.end - place.next);
  const std::size_t offset = static_cast<std::size_t>(place.next % kCapacity);
  const std::size_t first = count < kCapacity - offset ? count : kCapacity - offset;
  if (first != 0) std::memcpy(memory_ + offset, bytes, first);
  if (count != first) std::memcpy(memory_, static_cast<const std::uint8_t *>(bytes) + first, count - first);
  place.next += count;
}

void Ring::commit(const Place &place) {
  const std::uint64_t size = place.end - place.begin - sizeof(Word);
  word_at(place.begin).store(size << kStateBits | kComplete, std::memory_order_release);
}

unsigned Ring::Reader::next(iovec *pieces) {
  if (position_ == ring_.reserved_.load(std::memory_order_acquire)) return 0;
  const std::uint64_t word = ring_.word_at(position_).load(std::memory_order_acquire);
  if ((word & kComplete) != kComplete) return 0;
  const std::size_t size = static_cast<std::size_t>(word >> kStateBits);
  const std::size_t offset = static_cast<std::size_t>((position_ + sizeof(Word)) % kCapacity);
  const std::size_t first = size < kCapacity - offset ? size : kCapacity - offset;
  pieces[0] = {ring_.memory_ + offset, first};
  pieces[1] = {ring_.memory_, size - first};
  position_ += sizeof(Word) + whole_words(size);
  return first == size ? 1 : 2;
}

/// The room of an item that has not even its word yet is all 0, up to the next item's word.
bool Ring::Reader::skip() {
  const std::uint64_t end = ring_.reserved_.load(std::memory_order_acquire);
  if (position_ == end) return false;
  const std::uint64_t word = ring_.word_at(position_).load(std::memory_order_acquire);
  if (word != 0) {
    position_ += sizeof(Word) + whole_words(word >> kStateBits);
    return true;
  }
  while (position_ != end && ring_.word_at(position_).load(std::memory_order_acquire) == 0)
    position_ += sizeof(Word);
  return true;
}

void Ring::consume(std::uint64_t position) {
  const std::uint64_t begin = consumed_.load(std::memory_order_relaxed);
  const std::size_t count = static_cast<std::size_t>(position - begin);
  const std::size_t offset = static_cast<std::size_t>(begin % kCapacity);
  const std::size_t first = count < kCapacity - offset ? count : kCapacity - offset;
  std::memset(memory_ + offset, 0, first);
  std::memset(memory_, 0, count - first);
  consumed_.store(position, std::memory_order_release);
}

}  // namespace recorder
