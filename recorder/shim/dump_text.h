// What a call prints on standard output through stdio, collected on its way.
#ifndef ZEL_RECORDER_DUMP_TEXT_H
#define ZEL_RECORDER_DUMP_TEXT_H

#include <cstddef>

namespace recorder {

/// A text that grows. One of them at a time has memory that stays, so that a program that prints a map every frame
/// allocates none for it.
struct DumpText {
 public:
  DumpText();
  ~DumpText();
  DumpText(const DumpText &) = delete;
  DumpText &operator=(const DumpText &) = delete;

  /// Without memory the rest is left out.
  void append(const char *bytes, std::size_t count);

  /// Makes room for so many bytes more and a zero; null without memory. added() says that they are there.
  char *room_for(std::size_t count);
  void added(std::size_t count);

  /// Ends with a zero.
  const char *text() const { return size_ == 0 ? "" : memory_; }

 private:
  char *memory_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool is_shared_ = false;  ///< has the memory that stays
};

}  // namespace recorder

#endif
