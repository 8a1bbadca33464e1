// Files that are written: they appear under their names when they are complete, and only then.
#ifndef ZEL_FRAMES_COMMON_OUTPUT_FILE_H
#define ZEL_FRAMES_COMMON_OUTPUT_FILE_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace frames {

/// A file in the making. Until publish() it has no name, or on file systems that know no such files a hidden one in the
/// same folder; destroying it, SIGHUP, SIGINT and SIGTERM then leave nothing of it. A device or a pipe is written to at
/// once. All failures throw Unusable and name the file.
class OutputFile {
 public:
  /// Refuses a folder, "-", the name of any of the files `inputs`, and without `force` the name of a file that exists.
  OutputFile(std::string path, bool force, std::span<const std::string> inputs);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  /// The name as it was given.
  const std::string &path() const { return path_; }
  /// Stays the object's; at the start of the file until something is written.
  int descriptor() const { return descriptor_; }
  /// A name under which this process can open the same file for writing.
  std::string name_to_open() const;
  /// Whether bytes that were written can be gone back to.
  bool is_seekable() const;
  /// Bytes in the file now; nothing for what has no size, such as a pipe. What write() still holds is not counted.
  std::optional<std::uint64_t> size() const;

  /// Appends bytes through a buffer.
  void write(std::span<const std::uint8_t> bytes);
  /// Writes what the buffer holds.
  void flush();

 private:
  friend void publish(std::initializer_list<OutputFile *> files);

  void open_regular();
  void write_out(std::span<const std::uint8_t> bytes);
  void finish();
  void appear();
  void replace();
  void withdraw() noexcept;
  void settle() noexcept;
  void take_temporary_name();
  void drop_temporary_name() noexcept;

  std::string path_;
  std::string target_;  ///< path_ with symbolic links followed
  bool force_ = false;
  bool is_device_ = false;
  bool is_published_ = false;  ///< under a name that was free
  bool holds_old_ = false;     ///< the hidden name is that of the file that was replaced
  bool lost_old_ = false;      ///< the file that was replaced is gone
  int descriptor_ = -1;
  std::string temporary_;  ///< the hidden name; empty: none
  std::vector<std::uint8_t> buffer_;
};

/// Gives complete files their names, all of them or none: when one cannot get its name, those that were replaced come
/// back. Where the file system cannot exchange two files, the message says which were replaced.
void publish(std::initializer_list<OutputFile *> files);

}  // namespace frames

#endif
