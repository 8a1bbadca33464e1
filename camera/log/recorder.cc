// Writing the record.
#include "log/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace camera {

Recorder::~Recorder() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool Recorder::open(const std::string &path) {
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ < 0) return false;
  const off_t end = lseek(descriptor_, 0, SEEK_END);
  offset_ = end < 0 ? 0 : static_cast<std::uint64_t>(end);
  return true;
}

std::uint64_t Recorder::append(std::span<const std::span<const std::uint8_t>> pieces) {
  const std::lock_guard lock(mutex_);
  const std::uint64_t begin = offset_;
  for (std::span<const std::uint8_t> rest : pieces) {
    while (!rest.empty()) {
      const ssize_t written = write(descriptor_, rest.data(), rest.size());
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) return begin;  // a full disk must not disturb the stream
      offset_ += static_cast<std::uint64_t>(written);
      rest = rest.subspan(static_cast<std::size_t>(written));
    }
  }
  return begin;
}

}  // namespace camera
