// Runs of zel-frames in a folder of the test's own.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_FRAMES_FOLDER_H
#define ZEL_CLIENT_TESTS_SYSTEM_FRAMES_FOLDER_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/frames_run.h"
#include "tests/support/files.h"

class FramesFolder : public testing::Test {
 protected:
  RunResult run(const std::vector<std::string> &arguments) const { return run_frames(arguments, folder.path()); }
  void write(const std::string &name, const std::string &bytes) const { write_file(folder.path() / name, bytes); }

  /// What a command that is done well prints.
  std::string output(const std::vector<std::string> &arguments) const {
    const RunResult result = run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  /// What a command that cannot be done says, without the program's name.
  std::string refusal(const std::vector<std::string> &arguments) const {
    const RunResult result = run(arguments);
    const std::string last = arguments.empty() ? "" : arguments.back();
    EXPECT_EQ(result.status, 2) << last;
    EXPECT_EQ(result.out, "") << last;
    EXPECT_THAT(result.err, testing::StartsWith("zel-frames: "));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    return result.err.substr(0, result.err.size() - 1).substr(std::string("zel-frames: ").size());
  }

  TempFolder folder;
};

#endif
