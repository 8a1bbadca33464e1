// The recording's file, and what is given up of it when it may not grow.
#ifndef ZEL_RECORDER_FILE_LIMIT_H
#define ZEL_RECORDER_FILE_LIMIT_H

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>

namespace recorder {

/// Items that are missing from the file.
struct LostItems {
  std::uint64_t items;
  std::uint64_t bytes;
  std::uint64_t at_ns;     ///< when the first of them was lost
  std::uint64_t until_ns;  ///< when the last of them was
};

/// A file that is appended to by one thread. With a limit it keeps the beginning, where the stream is set up, and the
/// newest part: when it is full, a file without the middle replaces it. Both together never take more than the limit.
class LimitedFile {
 public:
  /// Takes the descriptor of the empty file `path`, which must stay. `limit` is in bytes; 0: none.
  void open(int descriptor, const char *path, std::uint64_t limit);

  /// Appends whole items. False when they cannot be written: that is said on standard error, and the file ends with the
  /// item before.
  bool append(const iovec *pieces, unsigned count, std::uint64_t items);

  /// Appends an item that says so.
  bool append_lost(const LostItems &lost);

  void close();

  /// Bytes that one append() should have at most: a limited file must have room for some of them.
  std::uint64_t usual_append() const { return limit_ != 0 ? limit_ / 32 : UINT64_MAX; }

 private:
  /// A place in the file at which an item begins.
  struct Mark {
    std::uint64_t offset;
    std::uint64_t items;  ///< before it
    std::uint64_t at_ns;  ///< when it was written
  };
  static constexpr unsigned kMarks = 128;

  bool write_all(const iovec *pieces, unsigned count);
  bool fail();
  void note_mark();
  bool give_up_the_middle();
  bool copy(int target, std::uint64_t begin, std::uint64_t end);

  int descriptor_ = -1;
  const char *path_ = nullptr;
  std::uint64_t limit_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t items_ = 0;
  Mark beginning_{};    ///< the end of what is always kept
  LostItems middle_{};  ///< what was given up
  Mark marks_[kMarks]{};
  unsigned mark_count_ = 0;
};

}  // namespace recorder

#endif
