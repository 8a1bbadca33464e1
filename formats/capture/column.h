// One number a frame, of which some may be unknown.
#ifndef ZEL_FORMATS_CAPTURE_COLUMN_H
#define ZEL_FORMATS_CAPTURE_COLUMN_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace formats {

/// The numbers of all frames. A column in which nothing was ever set takes no memory. It grows by blocks and never
/// moves what it holds: at its peak it takes what it holds and one block.
template <typename Number>
class Column {
 public:
  /// Sets the number of a frame. Frames are set in rising order; those that are left out are unknown.
  void set(std::size_t frame, Number number) {
    if (frame != size_ || frame % kBlock == 0 || !known_.empty()) [[unlikely]]
      make_room(frame);
    last_[frame % kBlock] = number;
    size_ = frame + 1;
  }

  /// Whether the frame's number is known.
  bool known(std::size_t frame) const { return frame < size_ && (known_.empty() || known_[frame]); }

  /// Whether any number is known.
  bool any() const { return size_ != 0; }

  /// Whether the numbers of the first `count` frames are all known.
  bool all(std::size_t count) const { return count <= size_ && known_.empty(); }

  /// Calls `visit` with every known number of the frames from `from` to before `to`.
  template <typename Visit>
  void visit(std::size_t from, std::size_t to, Visit &&visit) const {
    const std::size_t end = std::min(to, size_);
    while (from < end) {
      const Number *block = blocks_[from / kBlock].get();
      const std::size_t stop = std::min(end, (from / kBlock + 1) * kBlock);
      for (; from < stop; ++from)
        if (known_.empty() || known_[from]) visit(block[from % kBlock]);
    }
  }

  /// The number of a frame whose number is known.
  Number operator[](std::size_t frame) const { return blocks_[frame / kBlock][frame % kBlock]; }

 private:
  static constexpr std::size_t kBlock = 1U << 15U;  ///< numbers

  /// For a frame that begins a block, comes after others that are left out, or after one that has done so.
  void make_room(std::size_t frame) {
    const bool all_known = frame == size_ && known_.empty();
    if (!all_known && known_.empty()) known_.assign(size_, true);
    while (blocks_.size() * kBlock < frame)
      blocks_.push_back(std::make_unique<Number[]>(kBlock));
    if (frame % kBlock == 0) blocks_.push_back(std::make_unique_for_overwrite<Number[]>(kBlock));
    last_ = blocks_.back().get();
    if (all_known) return;
    known_.resize(frame, false);
    known_.push_back(true);
  }

  std::vector<std::unique_ptr<Number[]>> blocks_;
  Number *last_ = nullptr;   ///< the last block
  std::vector<bool> known_;  ///< empty: all are known
  std::size_t size_ = 0;     ///< the frame behind the last one that was set
};

}  // namespace formats

#endif
