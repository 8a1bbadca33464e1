// Appending to a file; a full disk or a pipe without a reader only loses bytes.
#include "log/append_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "common/signal_mask.h"

namespace camera {

AppendFile::~AppendFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool AppendFile::open(const std::string &path) {
  path_ = path;
  descriptor_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  struct stat status {};
  is_regular_ = descriptor_ >= 0 && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
  return descriptor_ >= 0;
}

std::uint64_t AppendFile::initial_size() const {
  const off_t end = lseek(descriptor_, 0, SEEK_END);
  return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

std::size_t AppendFile::append(std::span<const std::uint8_t> bytes) noexcept {
  std::optional<PipeSignalBlocked> blocked;
  if (!is_regular_) blocked.emplace();
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = write(descriptor_, bytes.data() + done, bytes.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      complain(errno);
      break;
    }
    done += static_cast<std::size_t>(written);
  }
  return done;
}

void AppendFile::complain(int error_number) noexcept {
  if (has_complained_) return;
  has_complained_ = true;
  const PipeSignalBlocked blocked;
  (void)std::fprintf(stderr, "Camera %s %s: %s; part of it is lost\n", use_, path_.c_str(),
                     error_number == ENOMEM ? "Out of memory" : std::strerror(error_number));
}

}  // namespace camera
