// How far the reading of a capture is, for who wants to show it.
#ifndef ZEL_FORMATS_CAPTURE_PROGRESS_H
#define ZEL_FORMATS_CAPTURE_PROGRESS_H

#include <cstdint>
#include <functional>
#include <memory>

namespace formats {

/// Shows how far one piece of work is, from its making to its destruction.
class ProgressView {
 public:
  ProgressView() = default;
  virtual ~ProgressView() = default;
  ProgressView(const ProgressView &) = delete;
  ProgressView &operator=(const ProgressView &) = delete;

  /// So much is done. Called for every frame.
  virtual void at(std::uint64_t done) = 0;
};

/// Makes the view of work of `total` units, which are "frames" or "MiB". Empty: nothing is shown.
using ShowProgress = std::function<std::unique_ptr<ProgressView>(std::uint64_t total, const char *unit)>;

/// One piece of work, shown if there is who shows it.
class Progress {
 public:
  Progress(const ShowProgress &show, std::uint64_t total, const char *unit = "frames")
      : view_(show ? show(total, unit) : nullptr) {}

  void at(std::uint64_t done) {
    if (view_ != nullptr) view_->at(done);
  }

 private:
  std::unique_ptr<ProgressView> view_;
};

}  // namespace formats

#endif
