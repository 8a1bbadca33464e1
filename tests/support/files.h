// Files of a test: a temporary folder, and reading what a run left in it.
#ifndef ZEL_CLIENT_TESTS_SUPPORT_FILES_H
#define ZEL_CLIENT_TESTS_SUPPORT_FILES_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// A folder of its own under the system's temporary folder; removed with all that is in it when the object goes.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;

  const std::filesystem::path &path() const { return path_; }

  /// The path of a file in the folder.
  std::string operator/(const std::string &name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// All bytes of a file. A file that cannot be read fails the test and gives "".
std::string read_file(const std::filesystem::path &path);

/// Creates or replaces a file. Failing to fails the test.
void write_file(const std::filesystem::path &path, std::string_view bytes);

/// Names of all entries of a folder, sorted; no sub-folders are entered.
std::vector<std::string> list_files(const std::filesystem::path &folder);

#endif
