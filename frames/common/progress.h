// How far a command is, for who waits at a terminal.
#ifndef ZEL_FRAMES_COMMON_PROGRESS_H
#define ZEL_FRAMES_COMMON_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "formats/capture/progress.h"

namespace frames {

/// What progress is shown on, and the clock that it goes by.
struct ProgressTerminal {
  using Time = std::chrono::steady_clock::time_point;

  bool is_one = false;                           ///< false: a file or a pipe, which gets nothing
  std::function<Time()> now;                     ///< the time
  std::function<void(const std::string &)> put;  ///< prints it
};

/// Standard error and the system's clock.
ProgressTerminal standard_error_terminal();

/// One line on standard error, "1200 of 90000 frames" or "12 of 4096 MiB", that is rewritten as the work goes on and
/// removed at its end. Nothing is printed where standard error is no terminal, nor in the first half second.
class Progress final : public formats::ProgressView {
 public:
  /// `total`: of what `unit` names.
  explicit Progress(std::uint64_t total, const char *unit = "frames",
                    ProgressTerminal terminal = standard_error_terminal());
  ~Progress() override;

  /// So much is done. Cheap enough for every frame.
  void at(std::uint64_t done) override {
    if (terminal_.is_one && calls_++ % kStep == 0) show(done);
  }

 private:
  static constexpr unsigned kStep = 16;  ///< calls between two looks at the clock

  void show(std::uint64_t done);

  std::uint64_t total_;
  const char *unit_;
  unsigned calls_ = 0;
  ProgressTerminal terminal_;
  ProgressTerminal::Time due_;  ///< of the next line
  bool is_printed_ = false;
};

/// For formats::CaptureOptions: shows in that way how far reading is.
inline std::unique_ptr<formats::ProgressView> show_progress(std::uint64_t total, const char *unit) {
  return std::make_unique<Progress>(total, unit);
}

}  // namespace frames

#endif
