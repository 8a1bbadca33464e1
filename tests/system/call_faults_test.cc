// Every call of the interface fails once, at every point of a run where it is made: a run with raw output and a
// sidecar, and runs with Matroska.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>

#include "console_text.h"
#include "sweep.h"

using sweep::kFrames;
using sweep::Output;

namespace {

/// How a call fails.
struct Way {
  const char *name;
  std::optional<std::int32_t> code;  ///< none: without an error
  bool expected = false;
  const char *error_number = "EIO";
};

constexpr const char *kInterrupted = "EINTR";

constexpr Way kWays[] = {
    {.name = "with an error", .code = 8},
    {.name = "without an error", .code = std::nullopt},
    {.name = "with nothing to fetch", .code = 13},
    {.name = "as expected", .code = 5, .expected = true},
    {.name = "interrupted without an interrupt", .code = 9, .error_number = kInterrupted},
};

constexpr const char *kMessage = "Something broke";

/// What a run must come to.
struct Outcome {
  int status = 0;
  std::string err;
  std::size_t frames = kFrames;  ///< that are stored
};

/// What a failure ends the run at once with.
Outcome ended(const Way &way, std::size_t frames) {
  if (!way.code) return {.status = 0, .err = "", .frames = frames};
  return {.status = 1, .err = std::string("zel-client: ") + kMessage + "\n", .frames = frames};
}

Outcome failed_fetch(const Way &way, std::size_t nth) {
  if (way.code == 13) return {};
  if (way.expected) return ended(way, nth - 1);
  return {.err = std::string("zel-client: ") + (way.code ? kMessage : "unknown error") + "\n"};
}

/// What the nth call of `name` that fails so must lead to; none where only soundness is asked.
std::optional<Outcome> outcome_of(const std::string &name, std::size_t nth, const Way &way) {
  for (const char *call : {"zel_stream_new", "zel_stream_get_fd", "zel_stream_get_info", "zel_stream_get_settings",
                           "zel_stream_buffer_alloc", "zel_stream_start"}) {
    if (name == call) return ended(way, 0);
  }
  // The first two hand the buffers in, the others hand them back, each behind a frame that is stored by then.
  if (name == "zel_stream_buffer_enqueue") return ended(way, nth <= 2 ? 0 : nth - 2);
  if (name == "zel_stream_get_buffer") return failed_fetch(way, nth);
  for (const char *call : {"zel_stream_get_event_fd", "zel_stream_stop", "zel_stream_buffer_unref"}) {
    if (name == call) return Outcome{};
  }
  return std::nullopt;
}

bool fails_in_ways(const std::string &name) {
  return outcome_of(name, 1, kWays[0]).has_value();
}

/// The calls of an undisturbed run, by name. A type of the library's is made once and cannot fail.
std::map<std::string, std::size_t> calls_of(Output output) {
  ClientRun run;
  sweep::prepare(&run, output);
  EXPECT_EQ(run.run(sweep::arguments(output)).status, 0);
  std::map<std::string, std::size_t> counts;
  const TruthLog truth = run.truth();
  for (const Call &call : truth.calls()) {
    if (!call.name.ends_with("_get_type")) ++counts[call.name];
  }
  return counts;
}

Fault fault_of(const std::string &name, std::size_t nth, const Way &way) {
  return {.call = name,
          .nth = static_cast<std::uint32_t>(nth),
          .code = way.code,
          .message = kMessage,
          .set_error = way.code.has_value(),
          .error_number = way.error_number,
          .expected = way.expected};
}

/// Sidecar, raw and Matroska file of a run that stored `frames` frames.
void expect_files(const ClientRun &run, Output output, std::size_t frames) {
  EXPECT_EQ(sweep::whole_records(run), frames);
  if (output != Output::kRaw && frames != 0) {
    sweep::expect_matroska_prefix(run, frames);
    EXPECT_EQ(read_matroska(run.file("out.mkv")).cues.size(), frames);
  } else if (frames != 0) {
    EXPECT_EQ(read_file(run.file("out")), run.truth().bytes(0, frames));
  }
}

void run_with_fault(Output output, const std::string &name, std::size_t nth, const Way &way) {
  SCOPED_TRACE(testing::Message() << sweep::name_of(output) << ": " << name << " number " << nth << " fails "
                                  << way.name);
  ClientRun run;
  sweep::prepare(&run, output);
  run.camera().fault(fault_of(name, nth, way));
  const RunResult result = run.run(sweep::arguments(output));
  ASSERT_EQ(result.signal, 0) << result.err;
  sweep::expect_released_once(run.truth());
  if (const std::optional<Outcome> outcome = outcome_of(name, nth, way)) {
    EXPECT_EQ(result.status, outcome->status);
    EXPECT_EQ(result.err, outcome->err);
    expect_files(run, output, outcome->frames);
  } else {
    EXPECT_TRUE(result.status == 0 || (result.status == 1 && result.err.find("zel-client: ") != std::string::npos))
        << result.status << result.err;
    const std::size_t records = sweep::whole_records(run);
    EXPECT_TRUE(result.status == 1 || records == kFrames) << records;
    if (output != Output::kRaw && records != 0) {
      EXPECT_EQ(read_matroska(run.file("out.mkv")).cues.size(), records);
    }
  }
}

class StreamCallFaults : public testing::TestWithParam<Output> {};

INSTANTIATE_TEST_SUITE_P(Outputs, StreamCallFaults, testing::Values(Output::kRaw, Output::kMatroska),
                         [](const testing::TestParamInfo<Output> &output) { return sweep::name_of(output.param); });

}  // namespace

// Catches a failing call of the stream that is overlooked, reported wrongly, ends the run with the wrong status, leaves
// a half-written file behind, or leaks what the run holds at that moment.
TEST_P(StreamCallFaults, AtEveryPoint) {
  for (const auto &[name, count] : calls_of(GetParam())) {
    if (!fails_in_ways(name)) continue;
    for (std::size_t nth = 1; nth <= count; ++nth) {
      for (const Way &way : kWays) {
        if (way.error_number == kInterrupted && name != "zel_stream_get_buffer") continue;
        run_with_fault(GetParam(), name, nth, way);
      }
    }
  }
}

// Catches a crash, a hang, a leak or a broken file when the library answers a question with nothing.
TEST(CallFaults, OfMapsBuffersAndFrames) {
  for (const auto &[name, count] : calls_of(Output::kMatroska)) {
    if (fails_in_ways(name)) continue;
    for (std::size_t nth = 1; nth <= count; ++nth)
      run_with_fault(Output::kMatroska, name, nth, kWays[0]);
  }
}

// Catches the same in a run that takes its frames' bytes for the raw file.
TEST(CallFaults, OfFramesForTheRawFile) {
  for (const auto &[name, count] : calls_of(Output::kRaw)) {
    if (!name.starts_with("zel_frame_") && name != "zel_buffer_get_frame") continue;
    for (std::size_t nth = 1; nth <= count; ++nth)
      run_with_fault(Output::kRaw, name, nth, kWays[0]);
  }
}

// Catches a crash over an enumeration that the library cannot name: it has no choices, and types of frames no names.
TEST(CallFaults, OfEnumerations) {
  for (const char *name :
       {"zel_format_get_type", "zel_h264_profile_get_type", "zel_h265_profile_get_type",
        "zel_rate_control_mode_get_type", "zel_rate_control_priority_get_type", "zel_timestamp_get_type",
        "zel_buffer_access_get_type", "zel_buffer_strategy_get_type", "zel_lumostream_profile_get_type",
        "zel_lumostream_gdr_get_type", "zel_frame_type_get_type"}) {
    ClientRun run;
    run.camera().fault(fault_of(name, 1, kWays[0]));
    EXPECT_EQ(run.run({"--frames=2", "-q", "-o", "out"}).status, 0) << name;
    EXPECT_EQ(std::filesystem::file_size(run.file("out")),
              run.truth().frames().back().offset + run.truth().frames().back().size);
  }
  ClientRun refused;
  refused.camera().fault(fault_of("zel_format_get_type", 1, kWays[0]));
  EXPECT_EQ(refused.run({"--format=h264"}).status, 1);
}

// Catches the same where the Matroska writer gathers the frame's chunks.
TEST(CallFaults, OfChunks) {
  for (const auto &[name, count] : calls_of(Output::kMatroskaOfChunks)) {
    if (!name.starts_with("zel_frame_take_chunk") && name != "zel_buffer_is_contiguous") continue;
    for (std::size_t nth = 1; nth <= count; ++nth)
      run_with_fault(Output::kMatroskaOfChunks, name, nth, kWays[0]);
  }
}

// Catches a chunk that could not be taken and whose failure is lost: the frame must not be stored as if it were whole.
TEST(CallFaults, OfAContiguousChunk) {
  // The raw writer takes no chunks when there is a Matroska file: the nth one is the nth frame's.
  for (std::size_t nth = 1; nth <= kFrames; ++nth) {
    for (const Way &way : kWays) {
      SCOPED_TRACE(testing::Message() << "frame " << nth << " fails " << way.name);
      ClientRun run;
      sweep::prepare(&run, Output::kMatroska);
      run.camera().fault(fault_of("zel_frame_take_chunk", nth, way));
      const RunResult result = run.run(sweep::arguments(Output::kMatroska));
      Outcome outcome = ended(way, nth - 1);
      if (!way.code) outcome = {.status = 1, .err = "zel-client: Failed writing MKV frame\n", .frames = nth - 1};
      EXPECT_EQ(result.status, outcome.status);
      EXPECT_EQ(result.err, outcome.err);
      sweep::expect_released_once(run.truth());
      expect_files(run, Output::kMatroska, outcome.frames);
    }
  }
}
