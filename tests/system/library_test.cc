// How the client finds libzel, and what it takes from it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "harness/client_run.h"

using testing::HasSubstr;
using testing::IsSubsetOf;

namespace {

std::set<std::string> matches(const std::string &text, const std::string &pattern) {
  std::set<std::string> found;
  const std::regex expression(pattern);
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
    found.insert((*match)[1].str());
  }
  return found;
}

}  // namespace

// Catches a client that is bound to one file of the library, or to none.
TEST(Library, IsNeededByItsSoname) {
  const RunResult dynamic = run_tool({"readelf", "-dW", client_program()});
  EXPECT_EQ(dynamic.status, 0);
  EXPECT_THAT(dynamic.out, HasSubstr("Shared library: [libzel.so.1]"));
  EXPECT_THAT(dynamic.out, HasSubstr("(RUNPATH)")) << "an RPATH could not be overridden";
  EXPECT_THAT(dynamic.out, testing::Not(HasSubstr("(RPATH)")));
}

// Catches a call of the library that its interface does not declare.
TEST(Library, OnlyTheInterfaceIsUsed) {
  const std::set<std::string> declared = matches(read_file(ZEL_TEST_INTERFACE), "(zel_[a-z0-9_]+)\\s*\\(");
  const RunResult symbols = run_tool({"nm", "-D", "--undefined-only", client_program()});
  const std::set<std::string> used = matches(symbols.out, " U (zel_[A-Za-z0-9_]+)");
  EXPECT_GT(used.size(), 20U);
  EXPECT_THAT(used, IsSubsetOf(declared));
}

// Catches a software camera that lacks a call of the interface, or shows symbols of its own.
TEST(Library, SoftwareCameraExportsExactlyTheInterface) {
  const std::set<std::string> declared =
      matches(read_file(ZEL_TEST_INTERFACE), "\n[a-zA-Z_0-9]+ \\*?(zel_[a-z0-9_]+)\\s*\\(");
  const RunResult symbols = run_tool({"nm", "-D", "--defined-only", camera_library()});
  const std::set<std::string> exported = matches(symbols.out, " [TWVDBiu] ([A-Za-z0-9_]+)");
  EXPECT_EQ(exported, declared);
}

// Catches a client that another library cannot be put under.
TEST(Library, SearchPathReplacesTheCamera) {
  const TempFolder folder;
  write_file(folder.path() / "libzel.so.1", "no library at all");
  ClientRun run;
  run.environment("LD_LIBRARY_PATH", folder.path());
  const RunResult result = run.run({"--help"});
  EXPECT_EQ(result.status, 127);
  EXPECT_THAT(result.err, HasSubstr((folder.path() / "libzel.so.1").string()));

  std::filesystem::copy_file(camera_library(), folder.path() / "libzel.so.1",
                             std::filesystem::copy_options::overwrite_existing);
  ClientRun copied;
  copied.environment("LD_LIBRARY_PATH", folder.path());
  EXPECT_EQ(copied.run({"--help"}).status, 0);
}

// Catches a log that is lost without a message, and a client that behaves differently because of it.
TEST(Library, ACameraWithoutRoomForItsLogGoesOn) {
  const TempFolder folder;
  const std::string key_file = folder.path() / "camera.conf";
  write_file(key_file, "[camera]\npacing = virtual\nproducer = scripted\nlog = /dev/full\n");
  ClientRun run;
  run.environment("ZEL_CAMERA", key_file);
  const RunResult result = run.run({"--quiet", "--frames=3", "--output=" + (folder.path() / "out").string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "Camera log /dev/full: No space left on device; part of it is lost\n");
  EXPECT_EQ(std::filesystem::file_size(folder.path() / "out"), 24000U + 2 * 4000U);
}
