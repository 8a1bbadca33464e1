// Writing files whole or not at all.
#include "frames/common/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "frames/common/file.h"
#include "frames/common/temporary_names.h"
#include "frames/common/unusable.h"

namespace frames {
namespace {

constexpr std::size_t kBuffer = std::size_t{256} * 1024;

[[noreturn]] void fail(const std::string &path) {
  unusable("{}: {}", path, std::strerror(errno));
}

[[noreturn]] void fail_existing(const std::string &path) {
  unusable("{}: exists: --force writes over it", path);
}

/// The file behind symbolic links; the name itself where there is none.
std::string followed(const std::string &path) {
  const std::unique_ptr<char, void (*)(void *)> found(realpath(path.c_str(), nullptr), std::free);
  return found == nullptr ? path : found.get();
}

std::string folder_of(const std::string &path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// The kernel's name for an open file, by which a file without a name can be opened and linked.
std::string name_by_descriptor(int descriptor) {
  return fmt::format("/proc/self/fd/{}", descriptor);
}

/// False where the file system cannot do it.
bool exchange_files(const std::string &one, const std::string &other) noexcept {
  return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

}  // namespace

OutputFile::OutputFile(std::string path, bool force, std::span<const std::string> inputs)
    : path_(std::move(path)), target_(followed(path_)), force_(force) {
  if (path_.empty() || path_.back() == '/') unusable("\"{}\": is no name of a file", path_);
  if (path_ == "-") unusable("-: cannot go to standard output: ./- is a file of that name");
  for (const std::string &input : inputs)
    if (is_same_file(path_, input)) unusable("{}: is a file of the capture, which is never written", path_);
  struct stat status = {};
  const bool exists = stat(target_.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) unusable("{}: is a folder", path_);
  is_device_ = exists && !S_ISREG(status.st_mode);
  if (is_device_) {
    descriptor_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) fail(path_);
    return;
  }
  if (!force_ && file_exists(path_)) fail_existing(path_);
  open_regular();
}

void OutputFile::open_regular() {
  descriptor_ = open(folder_of(target_).c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, kAnyNewFile);
  if (descriptor_ >= 0) {
    if (access(name_by_descriptor(descriptor_).c_str(), F_OK) == 0) return;
    close(descriptor_);  // could not get a name later
  }
  descriptor_ = create_temporary(target_, temporary_);
  if (descriptor_ < 0) {
    temporary_.clear();
    fail(path_);
  }
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) close(descriptor_);
  drop_temporary_name();
}

std::string OutputFile::name_to_open() const {
  if (is_device_) return target_;
  return temporary_.empty() ? name_by_descriptor(descriptor_) : temporary_;
}

bool OutputFile::is_seekable() const {
  return lseek(descriptor_, 0, SEEK_CUR) >= 0;
}

std::optional<std::uint64_t> OutputFile::size() const {
  struct stat status = {};
  if (fstat(descriptor_, &status) != 0) fail(path_);
  return S_ISREG(status.st_mode) ? std::optional(static_cast<std::uint64_t>(status.st_size)) : std::nullopt;
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (buffer_.size() + bytes.size() > kBuffer) flush();
  if (bytes.size() >= kBuffer) return write_out(bytes);
  buffer_.reserve(kBuffer);
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

void OutputFile::flush() {
  write_out(buffer_);
  buffer_.clear();
}

void OutputFile::write_out(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path_);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

/// Network file systems tell of a failed write when a descriptor is closed.
void OutputFile::finish() {
  flush();
  if (is_device_) return;
  const int other = dup(descriptor_);
  if (other < 0 || close(other) != 0) fail(path_);
}

void OutputFile::take_temporary_name() {
  temporary_ = temporary_name(target_);
  if (linkat(AT_FDCWD, name_by_descriptor(descriptor_).c_str(), AT_FDCWD, temporary_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
    return;
  }
  temporary_.clear();
  fail(path_);
}

void OutputFile::drop_temporary_name() noexcept {
  if (temporary_.empty()) return;
  (void)unlink(temporary_.c_str());
  forget_temporary(temporary_);
  temporary_.clear();
}

void OutputFile::appear() {
  if (is_device_) return;
  if (force_) return replace();
  // A link, unlike a rename, never replaces a file that has come in the meantime.
  const std::string now = name_to_open();
  if (linkat(AT_FDCWD, now.c_str(), AT_FDCWD, target_.c_str(), AT_SYMLINK_FOLLOW) == 0) {
    is_published_ = true;
    return drop_temporary_name();
  }
  if (errno == EEXIST) fail_existing(path_);
  // File systems without links have names for files in the making too.
  if (temporary_.empty() || file_exists(target_) || rename(temporary_.c_str(), target_.c_str()) != 0) fail(path_);
  forget_temporary(std::exchange(temporary_, {}));
  is_published_ = true;
}

void OutputFile::replace() {
  if (temporary_.empty()) take_temporary_name();
  struct stat status = {};
  const bool exists = lstat(target_.c_str(), &status) == 0;
  if (exists && S_ISREG(status.st_mode) && exchange_files(temporary_, target_)) {
    holds_old_ = true;
    return;
  }
  if (rename(temporary_.c_str(), target_.c_str()) != 0) fail(path_);
  forget_temporary(std::exchange(temporary_, {}));
  is_published_ = !exists;
  lost_old_ = exists;
}

void OutputFile::withdraw() noexcept {
  if (is_published_) (void)unlink(target_.c_str());
  if (holds_old_ && !exchange_files(temporary_, target_)) lost_old_ = true;
  is_published_ = holds_old_ = false;
}

void OutputFile::settle() noexcept {
  if (std::exchange(holds_old_, false)) drop_temporary_name();
}

void publish(std::initializer_list<OutputFile *> files) {
  for (OutputFile *file : files)
    file->finish();
  const HeldSignals held;
  try {
    for (OutputFile *file : files)
      file->appear();
  } catch (const Unusable &error) {
    std::string replaced;
    for (OutputFile *file : files) {
      file->withdraw();
      if (file->lost_old_) replaced += fmt::format("; {} is replaced already", file->path_);
    }
    unusable("{}{}", error.what(), replaced);
  }
  for (OutputFile *file : files)
    file->settle();
}

}  // namespace frames
