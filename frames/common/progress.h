// How far a command is, for who waits at a terminal.
#ifndef ZEL_FRAMES_COMMON_PROGRESS_H
#define ZEL_FRAMES_COMMON_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace frames {

/// One line on standard error, "1200 of 90000 frames", that is rewritten as the work goes on and removed at its end.
/// Nothing is printed where standard error is no terminal, nor in the first half second.
class Progress {
 public:
  explicit Progress(std::size_t total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  /// So many frames are done. Cheap enough for every frame.
  void at(std::size_t done) {
    if (is_shown_ && done % kStep == 0) show(done);
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kStep = 16;  ///< frames between two looks at the clock

  void show(std::size_t done);

  std::size_t total_;
  bool is_shown_;          ///< standard error is a terminal
  Clock::time_point due_;  ///< of the next line
  bool is_printed_ = false;
};

}  // namespace frames

#endif
