// Runs a fuzz target over the files of folders, without an engine: NAME-replay FOLDER...
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "input.h"

int main(int argc, char **argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto &path : files) {
    (void)std::fprintf(stderr, "%s\n", path.c_str());
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    (void)LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
  }
  (void)std::fprintf(stderr, "%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
