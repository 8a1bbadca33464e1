// The record of all bytes that were handed out.
#ifndef ZEL_CAMERA_RECORDER_H
#define ZEL_CAMERA_RECORDER_H

#include <cstdint>
#include <mutex>
#include <span>
#include <string>

namespace camera {

/// An append-only file of frames. Safe from every thread.
class Recorder {
 public:
  Recorder() = default;
  Recorder(const Recorder &) = delete;
  Recorder &operator=(const Recorder &) = delete;
  ~Recorder();

  /// Opens the file for appending. Returns false with errno set on failure.
  bool open(const std::string &path);
  bool is_open() const { return descriptor_ >= 0; }

  /// Appends the pieces of one frame and returns where in the file they begin.
  std::uint64_t append(std::span<const std::span<const std::uint8_t>> pieces);

 private:
  int descriptor_ = -1;
  std::mutex mutex_;
  std::uint64_t offset_ = 0;
};

}  // namespace camera

#endif
