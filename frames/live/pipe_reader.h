// Takes what comes on standard input at once, so that whoever writes it never waits.
#ifndef ZEL_FRAMES_LIVE_PIPE_READER_H
#define ZEL_FRAMES_LIVE_PIPE_READER_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace frames {

using Clock = std::chrono::steady_clock;

/// What one read gave, and when.
struct Piece {
  std::string text;
  Clock::time_point time;
};

/// A thread that reads standard input into memory until it ends.
class PipeReader {
 public:
  PipeReader();
  /// Ends the thread, also while it waits for input.
  ~PipeReader();
  PipeReader(const PipeReader &) = delete;
  PipeReader &operator=(const PipeReader &) = delete;

  /// Moves what has come into `pieces`, waiting for it until `deadline`. False when the input has ended and all of it
  /// was taken.
  bool take(std::vector<Piece> &pieces, Clock::time_point deadline);

 private:
  void run();

  std::mutex mutex_;  ///< guards the two below
  std::vector<Piece> pieces_;
  bool ended_ = false;
  std::condition_variable came_;
  int stop_;            ///< an event descriptor: readable when the thread is to end
  std::thread thread_;  ///< runs run(); last: it uses all of the above
};

}  // namespace frames

#endif
