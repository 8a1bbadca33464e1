// The bounded buffer between the program's threads, which never wait for it, and the thread that writes the file.
#ifndef ZEL_RECORDER_RING_H
#define ZEL_RECORDER_RING_H

#include <sys/uio.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace recorder {

/// Items of any size, in the order in which their room was reserved. Producers may be any number of threads and, on
/// each, signal handlers that interrupted it: reserving is one compare and swap, and nothing is ever waited for. There
/// is one consumer.
///
/// An item is a word that says how long it is and whether it is complete, then its bytes, rounded up to whole words.
/// The words of room that nobody has reserved are all 0.
class Ring {
 public:
  /// An item that is being written.
  struct Place {
    std::uint64_t begin = 0;  ///< of the word, counted from the ring's first use
    std::uint64_t next = 0;   ///< of the next byte
    std::uint64_t end = 0;    ///< of the item's bytes
  };

  /// Bytes of the ring; a power of two.
  static constexpr std::size_t kCapacity = std::size_t{1} << 24U;

  /// Takes the memory, which the kernel hands out as it is used. False when there is none.
  bool create();

  // ---- for producers ---------------------------------------------------------------------------------------------

  /// Makes room for an item of `size` bytes; false when there is none.
  bool reserve(std::size_t size, Place &place);

  /// Writes the item's next bytes; what is more than was reserved is left out.
  void put(Place &place, const void *bytes, std::size_t count);

  /// The item is complete.
  void commit(const Place &place);

  /// How much of the ring is in use, in bytes.
  std::uint64_t used() const { return reserved_.load() - consumed_.load(); }

  // ---- for the consumer ------------------------------------------------------------------------------------------

  /// Goes from item to item without giving back their room.
  class Reader {
   public:
    explicit Reader(const Ring &ring) : ring_(ring), position_(ring.consumed_.load()) {}

    /// The next item's bytes in one or two pieces; returns how many, 0 when the next item is not complete or there is
    /// none. An item may have no bytes: it has one piece then.
    unsigned next(iovec *pieces);

    /// Leaves out the item at which next() stops, which will never be completed. False when there is none.
    bool skip();

    std::uint64_t position() const { return position_; }

   private:
    const Ring &ring_;
    std::uint64_t position_;
  };

  /// Gives back the room up to there.
  void consume(std::uint64_t position);

 private:
  using Word = std::atomic<std::uint64_t>;
  static constexpr std::uint64_t kReserved = 1;
  static constexpr std::uint64_t kComplete = 3;
  static constexpr unsigned kStateBits = 2;

  static std::uint64_t whole_words(std::uint64_t size) { return (size + sizeof(Word) - 1) & ~std::uint64_t{7}; }
  Word &word_at(std::uint64_t position) const;

  std::uint8_t *memory_ = nullptr;
  std::atomic<std::uint64_t> reserved_ = 0;  ///< where the next item begins; written by producers
  std::atomic<std::uint64_t> consumed_ = 0;  ///< before this the room is free; written by the consumer
};

}  // namespace recorder

#endif
