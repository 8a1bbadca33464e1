// Reading files by descriptor.
#include "formats/capture/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "formats/capture/unusable.h"

namespace formats {
namespace {

[[noreturn]] void fail(const std::string &path) {
  unusable("{}: {}", path, std::strerror(errno));
}

struct stat status_of(int descriptor, const std::string &path) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0) fail(path);
  return status;
}

}  // namespace

File::File(std::string path) : path_(std::move(path)), descriptor_(open(path_.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) fail(path_);
  if (S_ISDIR(status_of(descriptor_, path_).st_mode)) {
    close(descriptor_);  // the destructor of a half-made object does not run
    unusable("{}: is a folder", path_);
  }
}

File::~File() {
  if (descriptor_ > STDERR_FILENO) close(descriptor_);
}

File::File(File &&other) noexcept : path_(std::move(other.path_)), descriptor_(std::exchange(other.descriptor_, -1)) {}

File &File::operator=(File &&other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

std::uint64_t File::size() const {
  return static_cast<std::uint64_t>(status_of(descriptor_, path_).st_size);
}

bool File::is_regular() const {
  return S_ISREG(status_of(descriptor_, path_).st_mode);
}

std::size_t File::read_some(std::span<std::uint8_t> bytes) {
  while (true) {
    const ssize_t count = ::read(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail(path_);
  }
}

std::size_t File::read(std::span<std::uint8_t> bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const std::size_t count = read_some(bytes.subspan(done));
    if (count == 0) break;
    done += count;
  }
  return done;
}

std::size_t File::read_at(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const std::span<std::uint8_t> rest = bytes.subspan(done);
    const ssize_t count = pread(descriptor_, rest.data(), rest.size(), static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path_);
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  return done;
}

bool file_exists(const std::string &path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

bool is_stream(const std::string &path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool is_same_file(const std::string &one, const std::string &other) {
  struct stat first = {};
  struct stat second = {};
  if (stat(one.c_str(), &first) != 0 || stat(other.c_str(), &second) != 0) return false;
  return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace formats
