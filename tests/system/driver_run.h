// Runs of the driver.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_DRIVER_RUN_H
#define ZEL_CLIENT_TESTS_SYSTEM_DRIVER_RUN_H

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "harness/client_run.h"

namespace driver_run {

/// A few scripted frames, which need no encoder.
inline void script_small_frames(ClientRun *run) {
  run->camera().scripted().frames({.count = 0, .size = 100}).frames({.from = 0, .count = 1, .size = 100, .key = true});
}

/// Every object that the log shows coming into being is released again.
inline void expect_all_released(const TruthLog &truth) {
  std::map<std::string, std::size_t> released;
  for (const Release &release : truth.releases()) {
    ++released[release.object];
  }
  EXPECT_GE(released["map"], truth.count("zel_map_new"));
  const std::vector<Call> streams = truth.calls_named("zel_stream_new");
  const auto made =
      std::count_if(streams.begin(), streams.end(), [](const Call &call) { return !call.result.is_null(); });
  EXPECT_EQ(released["stream"], static_cast<std::size_t>(made));
  const std::vector<Call> buffers = truth.calls_named("zel_stream_buffer_alloc");
  const auto allocated =
      std::count_if(buffers.begin(), buffers.end(), [](const Call &call) { return !call.result.is_null(); });
  EXPECT_EQ(released["buffer"], static_cast<std::size_t>(allocated));
}

}  // namespace driver_run

#endif
