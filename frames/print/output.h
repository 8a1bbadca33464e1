// Standard output: results go there, through one large buffer.
#ifndef ZEL_FRAMES_PRINT_OUTPUT_H
#define ZEL_FRAMES_PRINT_OUTPUT_H

#include <string>
#include <string_view>

namespace frames {

/// The reader of standard output has gone. Travels to main(), which ends quietly with status 0.
class ClosedPipe {};

/// The text with a question mark for every control character: what files are called and hold may be anything.
std::string one_line(std::string text);

/// Collects text and writes it in large pieces. Throws ClosedPipe, or Unusable when the system refuses to write.
class Output {
 public:
  void put(std::string_view text) {
    buffer_.append(text);
    if (buffer_.size() >= kFull) flush();
  }

  /// The buffer itself, to append to; done() is called after each row.
  std::string &buffer() { return buffer_; }
  void done() {
    if (buffer_.size() >= kFull) flush();
  }

  /// Writes what is left. To be called at the end: the destructor must not fail, so it writes nothing.
  void flush();

 private:
  static constexpr std::size_t kFull = std::size_t{64} * 1024;
  std::string buffer_;
};

}  // namespace frames

#endif
