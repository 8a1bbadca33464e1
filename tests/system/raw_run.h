// Runs that write the raw file.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_RAW_RUN_H
#define ZEL_CLIENT_TESTS_SYSTEM_RAW_RUN_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "harness/client_run.h"

namespace raw_run {

/// Scripted frames of 50 bytes with a key frame every `gop`, from frame `first_key` on.
inline void script_gops(ClientRun *run, std::uint32_t gop, std::uint32_t first_key = 0) {
  run->camera().scripted().frames({.count = 0, .size = 50, .key = false});
  run->camera().frames({.from = first_key, .count = 0, .every = gop, .size = 50, .key = true});
}

inline void expect_success(const RunResult &result) {
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

/// A run whose own calls fail as the script says.
inline void script_calls(ClientRun *run, const std::string &script) {
  run->preload(preload_library("scripted_calls")).environment("ZEL_TEST_CALL_SCRIPT", script);
}

}  // namespace raw_run

#endif
