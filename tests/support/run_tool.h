// Runs a command-line tool and reads what it prints.
#ifndef ZEL_CLIENT_TESTS_SUPPORT_RUN_TOOL_H
#define ZEL_CLIENT_TESTS_SUPPORT_RUN_TOOL_H

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

/// Runs a shell command that must end with status 0; gives its standard output.
inline std::string run_tool(const std::string &command) {
  std::string output;
  FILE *pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return output;
  }
  std::array<char, 4096> block{};
  while (const std::size_t length = std::fread(block.data(), 1, block.size(), pipe))
    output.append(block.data(), length);
  const int status = pclose(pipe);
  EXPECT_EQ(status, 0) << command << "\n" << output;
  return output;
}

#endif
