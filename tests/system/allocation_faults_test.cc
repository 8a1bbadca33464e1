// Memory runs out at every allocation of FFmpeg and of the client itself. (GLib ends the process by design.)
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

#include "sweep.h"

using sweep::kFrames;
using sweep::Output;

namespace {

/// What the client may say, and at the end what FFmpeg says; FFmpeg's other lines begin with "[".
constexpr std::array<std::string_view, 16> kLines = {
    "error: Could not allocate packet",
    "error: Could not create output context",
    "error: Could not create video stream",
    "error: Could not create subtitle stream",
    "error: Could not open output file 'out.mkv'",
    "error: Could not allocate extradata",
    "error: Could not write header: 20",
    "error: Could not create AVBufferRef",
    "error: Could not write frame",
    "zel-client: Failed to create MKV writer",
    "zel-client: Failed writing MKV header",
    "zel-client: Failed writing MKV frame",
    "zel-client: Failed writing MKV subtitle",
    "zel-client: Failed finalizing container",
    "zel-client: Out of memory",
    "Out of memory",
};

void expect_known_lines(const std::string &err) {
  std::istringstream lines(err);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) continue;
    EXPECT_NE(std::ranges::find(kLines, std::string_view(line)), kLines.end()) << line;
  }
}

/// Whether there was an allocation of this number.
bool run_with_failing_allocation(Output output, std::size_t nth) {
  SCOPED_TRACE(testing::Message() << sweep::name_of(output) << ": allocation number " << nth);
  ClientRun run;
  sweep::prepare(&run, output);
  run.camera().set("start_us", "1700000000000000");  // a cue of so many hours does not fit a small string
  const TempFolder beside;
  const std::filesystem::path struck = beside.path() / "struck";
  run.preload(preload_library("failing_allocations"))
      .environment("ZEL_TEST_FAILING_ALLOCATION", std::to_string(nth))
      .environment("ZEL_TEST_FILE_FAULT_LOG", struck);
  const RunResult result = run.run(sweep::arguments(output));
  EXPECT_EQ(result.signal, 0) << result.err;
  expect_known_lines(result.err);
  const bool failed = result.err.find("zel-client: ") != std::string::npos;
  EXPECT_EQ(result.status, failed ? 1 : 0);
  sweep::expect_released_once(run.truth());
  const std::size_t records = sweep::whole_records(run);
  EXPECT_TRUE(failed || records == kFrames) << records;
  // Only what is lost at the end, when the last cluster is written, was counted before.
  const bool lost = result.err.find("Failed finalizing container") != std::string::npos;
  if (std::filesystem::exists(run.file("out.mkv"))) sweep::expect_matroska_prefix(run, lost ? 0 : records);
  return std::filesystem::exists(struck);
}

}  // namespace

// Catches an allocation whose failure ends the run with a signal, is not told, or gives a file that says it is whole.
TEST(AllocationFaults, OfWholeFrames) {
  std::size_t nth = 1;
  while (run_with_failing_allocation(Output::kMatroska, nth))
    ++nth;
  EXPECT_GT(nth, 20U);
}

// Catches the same where frames come in chunks and are gathered in a buffer of the client's own.
TEST(AllocationFaults, OfFramesInChunks) {
  std::size_t nth = 1;
  while (run_with_failing_allocation(Output::kMatroskaOfChunks, nth))
    ++nth;
  EXPECT_GT(nth, 20U);
}

// Catches a line about a file whose long name takes memory of its own, and ends the run with a signal when there is
// none.
TEST(AllocationFaults, OfALongFileName) {
  std::size_t nth = 1;
  for (bool struck = true; struck; ++nth) {
    SCOPED_TRACE(nth);
    ClientRun run;
    sweep::prepare(&run, Output::kMatroska);
    const TempFolder beside;
    run.preload(preload_library("failing_allocations"))
        .environment("ZEL_TEST_FAILING_ALLOCATION", std::to_string(nth))
        .environment("ZEL_TEST_FILE_FAULT_LOG", beside.path() / "struck");
    const RunResult result = run.run({"--mkv=" + std::string(600, 'x'), "--format=jpeg", "--frames=1", "-q"});
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.err.ends_with("zel-client: Failed to create MKV writer\n")) << result.err;
    sweep::expect_released_once(run.truth());
    struck = std::filesystem::exists(beside.path() / "struck");
  }
  EXPECT_GT(nth, 10U);
}
