// The record of all bytes that were handed out.
#ifndef ZEL_CAMERA_RECORDER_H
#define ZEL_CAMERA_RECORDER_H

#include <cstdint>
#include <mutex>
#include <string>

#include "log/append_file.h"

namespace camera {

/// An append-only file of frames. Safe from every thread.
class Recorder {
 public:
  /// Opens the file for appending. Returns false with errno set on failure.
  bool open(const std::string &path);
  bool is_open() const { return file_.is_open(); }

  /// Appends the `bytes` of every piece of a frame and returns where in the file they begin. A piece that cannot be
  /// written is lost.
  template <typename Pieces>
  std::uint64_t append(const Pieces &pieces) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t begin = end_;
    for (const auto &piece : pieces)
      end_ += file_.append(piece.bytes);
    return begin;
  }

 private:
  AppendFile file_{"record"};
  std::mutex mutex_;
  std::uint64_t end_ = 0;  ///< the file's length
};

}  // namespace camera

#endif
