// Runs of the capture loop, and what the camera's log says of its passes.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_CAPTURE_RUN_H
#define ZEL_CLIENT_TESTS_SYSTEM_CAPTURE_RUN_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "harness/client_run.h"

namespace capture_run {

/// Frames of 100 bytes, 25 a second.
inline void script_frames(ClientRun *run) {
  run->camera().scripted().frames({.count = 0, .size = 100});
}

/// One run with 25 frames a second that writes "out".
struct Captured {
  RunResult result;
  TruthLog truth;
  std::string stored;
};

inline Captured capture(ClientRun *run, std::vector<std::string> arguments) {
  for (const char *argument : {"--framerate=25", "-o", "out", "320", "240"}) {
    arguments.emplace_back(argument);
  }
  RunResult result = run->run(arguments);
  TruthLog truth = run->truth();
  const bool has_file = std::filesystem::exists(run->file("out"));
  return {.result = result, .truth = truth, .stored = has_file ? read_file(run->file("out")) : ""};
}

/// How often the loop asked for a frame.
inline std::size_t fetches(const TruthLog &truth) {
  return truth.count("zel_stream_get_buffer");
}

/// Buffers handed back after the provisioned ones.
inline std::size_t handed_back(const TruthLog &truth) {
  return truth.count("zel_stream_buffer_enqueue") - truth.count("zel_stream_buffer_alloc");
}

/// The calls between the nth fetch (0-based) and the next one, or the end of the run.
inline std::vector<std::string> pass(const TruthLog &truth, std::size_t nth) {
  std::vector<std::string> names;
  std::size_t fetch = 0;
  for (const Call &call : truth.calls()) {
    if (call.name == "zel_stream_get_buffer") {
      ++fetch;
    }
    if (fetch == nth + 1) {
      names.push_back(call.name);
    }
  }
  return names;
}

/// `wanted` are among `names` in this order, with anything in between.
inline void expect_order(const std::vector<std::string> &names, const std::vector<std::string> &wanted) {
  std::size_t at = 0;
  for (const std::string &name : names) {
    if (at < wanted.size() && name == wanted[at]) {
      ++at;
    }
  }
  EXPECT_EQ(at, wanted.size()) << (at < wanted.size() ? wanted[at] : "") << " is missing or too early in "
                               << testing::PrintToString(names);
}

inline constexpr std::uint64_t kInputStart = 0x100000000;  ///< a time whose low 32 bits are 0

/// Frames that begin with input frame `first`, the one whose time's low 32 bits are 0.
inline void script_input_at(ClientRun *run, std::uint32_t first) {
  run->camera().scripted().frames({.count = 0, .size = 10});
  for (std::uint32_t i = 0; i < first; ++i) {
    run->camera().frames({.from = i, .size = 10, .timestamp_us = kInputStart - 40000ULL * (first - i)});
  }
  for (std::uint32_t i = 0; i < 100; ++i) {
    run->camera().frames({.from = first + i, .size = 10, .timestamp_us = kInputStart + 40000ULL * i});
  }
}

}  // namespace capture_run

#endif
