// The programs that the tests run.
#ifndef ZEL_CLIENT_TESTS_HARNESS_BUILD_UNDER_TEST_H
#define ZEL_CLIENT_TESTS_HARNESS_BUILD_UNDER_TEST_H

#include <filesystem>
#include <string>
#include <vector>

/// A build folder's programs and how to run them.
struct BuildUnderTest {
  std::filesystem::path client;
  std::filesystem::path frames;       ///< zel-frames; empty where it is not built
  std::filesystem::path camera;       ///< the software camera's library
  std::filesystem::path compliance;   ///< zel-compliance
  std::filesystem::path spoiled;      ///< the folder of the libraries of tests/compliance/spoiled
  std::filesystem::path preloads;     ///< the folder of the libraries of tests/system/preload
  std::vector<std::string> emulator;  ///< words before the client's; none for a native build
};

/// The build that the file named by the environment variable ZEL_TEST_BUILD describes; this program's own without it.
/// @throws when the file cannot be read.
const BuildUnderTest &build_under_test();

#endif
