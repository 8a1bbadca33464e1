// Files that are read: whole offsets on every machine, interrupted reads taken up again.
#ifndef ZEL_FORMATS_CAPTURE_FILE_H
#define ZEL_FORMATS_CAPTURE_FILE_H

#include <cstdint>
#include <span>
#include <string>

namespace formats {

/// An open file. All failures throw Unusable and name the file.
class File {
 public:
  /// Opens a file for reading. A folder is refused.
  explicit File(std::string path);
  /// Takes over an open descriptor under a name for messages, such as that of standard input.
  File(int descriptor, std::string name) : path_(std::move(name)), descriptor_(descriptor) {}
  ~File();
  File(File &&other) noexcept;
  File &operator=(File &&other) noexcept;
  File(const File &) = delete;
  File &operator=(const File &) = delete;

  const std::string &path() const { return path_; }

  /// Bytes in the file now; 0 for what has no size, such as a pipe.
  std::uint64_t size() const;

  /// Whether it is a regular file, which has a size and can be read at any offset.
  bool is_regular() const;

  /// Reads the next bytes, as many as fit; fewer only at the end.
  std::size_t read(std::span<std::uint8_t> bytes);

  /// Reads what is there now, at least a byte unless the file has ended (then 0): for pipes.
  std::size_t read_some(std::span<std::uint8_t> bytes);

  /// Reads the bytes at an offset, as many as fit; fewer only at the end.
  std::size_t read_at(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

 private:
  std::string path_;
  int descriptor_ = -1;
};

/// Whether a file of that name exists, whatever it is.
bool file_exists(const std::string &path);

/// Whether the name is that of a pipe, a terminal or the like, which can be read once and has no size.
bool is_stream(const std::string &path);

/// Whether both names are the same file. False when one does not exist.
bool is_same_file(const std::string &one, const std::string &other);

}  // namespace formats

#endif
