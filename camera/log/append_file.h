// A file that the camera appends to while the client runs. Its failures must not disturb the client.
#ifndef ZEL_CAMERA_APPEND_FILE_H
#define ZEL_CAMERA_APPEND_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace camera {

/// Not safe from several threads.
class AppendFile {
 public:
  /// `use` says in a complaint what the file is for: "log".
  explicit AppendFile(const char *use) : use_(use) {}
  AppendFile(const AppendFile &) = delete;
  AppendFile &operator=(const AppendFile &) = delete;
  ~AppendFile();

  /// Opens the file for appending. Returns false with errno set on failure.
  bool open(const std::string &path);
  bool is_open() const { return descriptor_ >= 0; }

  /// How long the file was when it was opened; 0 when it has no length.
  std::uint64_t initial_size() const;

  /// Appends `bytes`, with one write() unless that is cut short, and returns how many of them were written. Fewer than
  /// all is complained about. A pipe without a reader raises no signal.
  std::size_t append(std::span<const std::uint8_t> bytes) noexcept;

  /// Says once on standard error that something of the file is lost, and why.
  void complain(int error_number) noexcept;

 private:
  const char *use_;
  std::string path_;
  int descriptor_ = -1;
  bool is_regular_ = false;  ///< not a pipe
  bool has_complained_ = false;
};

}  // namespace camera

#endif
