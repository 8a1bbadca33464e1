// One number a frame, of which some may be unknown.
#ifndef ZEL_FRAMES_MODEL_COLUMN_H
#define ZEL_FRAMES_MODEL_COLUMN_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace frames {

/// The numbers of all frames. A column in which nothing was ever set takes no memory. It grows by blocks and never
/// moves what it holds: at its peak it takes what it holds and one block.
template <typename Number>
class Column {
 public:
  /// Sets the number of a frame. Frames are set in rising order; those that are left out are unknown.
  void set(std::size_t frame, Number number) {
    if (frame != size_) skip_to(frame);
    if (frame % kBlock == 0) blocks_.push_back(std::make_unique_for_overwrite<Number[]>(kBlock));
    blocks_[frame / kBlock][frame % kBlock] = number;
    if (!known_.empty()) known_.push_back(true);
    ++size_;
  }

  /// Whether the frame's number is known.
  bool known(std::size_t frame) const { return frame < size_ && (known_.empty() || known_[frame]); }

  /// Whether any number is known.
  bool any() const { return size_ != 0; }

  /// Whether the numbers of the first `count` frames are all known.
  bool all(std::size_t count) const { return count <= size_ && known_.empty(); }

  /// The number of a frame whose number is known.
  Number operator[](std::size_t frame) const { return blocks_[frame / kBlock][frame % kBlock]; }

 private:
  static constexpr std::size_t kBlock = 1U << 15U;  ///< numbers

  void skip_to(std::size_t frame) {
    if (known_.empty()) known_.assign(size_, true);
    known_.resize(frame, false);
    while (blocks_.size() * kBlock < frame)
      blocks_.push_back(std::make_unique<Number[]>(kBlock));
    size_ = frame;
  }

  std::vector<std::unique_ptr<Number[]>> blocks_;
  std::vector<bool> known_;  ///< empty: all are known
  std::size_t size_ = 0;     ///< the frame behind the last one that was set
};

}  // namespace frames

#endif
