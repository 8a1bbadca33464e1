// A folder for the files of one test.
#ifndef ZEL_CLIENT_TESTS_SCRATCH_DIR_H
#define ZEL_CLIENT_TESTS_SCRATCH_DIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// Made empty, removed with all that is in it.
class ScratchDir {
 public:
  ScratchDir() : path_((std::filesystem::temp_directory_path() / "zel-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDir(const ScratchDir &) = delete;
  ScratchDir &operator=(const ScratchDir &) = delete;

  /// The path of a file in the folder.
  std::string operator/(const std::string &name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// All bytes of a file; none when it cannot be read.
inline std::string bytes_of_file(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

#endif
