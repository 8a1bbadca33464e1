// The driver on the real binary: order of the run, dumps, buffers, and calls that fail.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "driver_run.h"
#include "harness/client_run.h"
#include "harness/pty.h"

using driver_run::expect_all_released;
using driver_run::script_small_frames;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

/// The calls about the stream, with what they are about left out; runs of the same call are given once.
std::vector<std::string> stream_calls(const TruthLog &truth) {
  std::vector<std::string> names;
  for (const Call &call : truth.calls()) {
    if (call.name.starts_with("zel_stream_") && (names.empty() || names.back() != call.name)) {
      names.push_back(call.name);
    }
  }
  return names;
}

/// The buffers that a run with these arguments provisions, from the line and from the calls.
std::size_t provisioned(const std::vector<std::string> &arguments) {
  ClientRun run;
  script_small_frames(&run);
  run.camera().fault({.call = "zel_stream_start", .message = "not today"});
  const RunResult result = run.run(arguments);
  EXPECT_EQ(result.status, 1);
  const TruthLog truth = run.truth();
  const std::size_t count = truth.count("zel_stream_buffer_alloc");
  EXPECT_EQ(truth.count("zel_stream_buffer_enqueue"), count);
  EXPECT_EQ(truth.count("zel_stream_buffer_unref"), count);
  EXPECT_THAT(result.out, HasSubstr("Adding " + std::to_string(count) + " buffers.\nStarting Stream["));
  return count;
}

}  // namespace

// Catches steps of the run in another order, left out or done twice.
TEST(Driver, RunGoesInItsOrder) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--frames=1", "640", "480"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(stream_calls(run.truth()),
              ElementsAre("zel_stream_new", "zel_stream_get_fd", "zel_stream_get_event_fd", "zel_stream_get_info",
                          "zel_stream_get_settings", "zel_stream_buffer_alloc", "zel_stream_buffer_enqueue",
                          "zel_stream_get_id", "zel_stream_start", "zel_stream_get_buffer", "zel_stream_buffer_enqueue",
                          "zel_stream_stop", "zel_stream_buffer_unref"));
}

// Catches buffers that are all allocated before the first is enqueued.
TEST(Driver, EachBufferIsEnqueuedRightAfterItsAllocation) {
  ClientRun run;
  script_small_frames(&run);
  run.camera().fault({.call = "zel_stream_start", .message = "not today"});
  run.run({"--buffer.count=3"});
  const TruthLog truth = run.truth();
  EXPECT_THAT(truth.order_of({"zel_stream_buffer_alloc", "zel_stream_buffer_enqueue"}),
              ElementsAre("zel_stream_buffer_alloc", "zel_stream_buffer_enqueue", "zel_stream_buffer_alloc",
                          "zel_stream_buffer_enqueue", "zel_stream_buffer_alloc", "zel_stream_buffer_enqueue"));
  const std::vector<Call> made = truth.calls_named("zel_stream_buffer_alloc");
  const std::vector<Call> given = truth.calls_named("zel_stream_buffer_enqueue");
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(made.at(i).result, given.at(i).args.at("buffer"));
  }
}

// Catches dumps of the wrong maps, other headings, or a dump printed before the frames' first line of another step.
TEST(Driver, DumpsRequestSettingsAndInfo) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--frames=1", "640", "480"});
  const TruthLog truth = run.truth();
  const std::vector<Call> dumps = truth.calls_named("zel_map_dump");
  ASSERT_EQ(dumps.size(), 3U);
  EXPECT_EQ(dumps[0].args.at("map"), 2) << "the request record is the second map made";
  EXPECT_EQ(dumps[1].args.at("map"), truth.calls_named("zel_stream_get_settings").at(0).result);
  EXPECT_EQ(dumps[2].args.at("map"), truth.calls_named("zel_stream_get_info").at(0).result);

  const std::string request = "-------------------request--------------------\n";
  const std::string settings = "-------------------settings-------------------\n";
  const std::string info = "--------------------info----------------------\n";
  const std::string end = "----------------------------------------------\n";
  ASSERT_THAT(result.out, StartsWith(request));
  const std::size_t settings_at = result.out.find(settings);
  const std::size_t info_at = result.out.find(info);
  const std::size_t end_at = result.out.find(end);
  ASSERT_NE(settings_at, std::string::npos);
  ASSERT_NE(info_at, std::string::npos);
  ASSERT_NE(end_at, std::string::npos);
  EXPECT_LT(settings_at, info_at);
  EXPECT_LT(info_at, end_at);
  EXPECT_THAT(result.out.substr(0, settings_at), HasSubstr("resolution"));
  EXPECT_THAT(result.out.substr(end_at),
              StartsWith(end + "Adding 1 buffers.\nStarting Stream[" +
                         truth.calls_named("zel_stream_get_id").at(0).result.dump() + "]:\n"));
}

// Catches info and settings that are held for the whole run instead of being released after the dumps.
TEST(Driver, SettingsAndInfoAreReleasedBeforeTheBuffers) {
  ClientRun run;
  script_small_frames(&run);
  run.run({"--frames=1"});
  const TruthLog truth = run.truth();
  const std::size_t first_buffer = truth.calls_named("zel_stream_buffer_alloc").at(0).position;
  std::vector<std::uint32_t> released;
  for (const Release &release : truth.releases()) {
    if (release.object == "map" && release.position < first_buffer) {
      released.push_back(release.id);
    }
  }
  EXPECT_THAT(released, testing::UnorderedElementsAre(truth.calls_named("zel_stream_get_settings").at(0).result,
                                                      truth.calls_named("zel_stream_get_info").at(0).result));
}

// Catches a quiet run that prints dumps or informational lines, or whose statistics are silenced too.
TEST(Driver, QuietRunPrintsTheStatisticsOnly) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult quiet = run.run({"--quiet", "--frames=2"});
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.out, "");
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(run.truth().count("zel_map_dump"), 0U);
  EXPECT_EQ(run.truth().count("zel_stream_get_id"), 1U) << "the line is made all the same";

  ClientRun with_statistics;
  script_small_frames(&with_statistics);
  const RunResult statistics = with_statistics.run({"-q", "-s", "--frames=2"});
  EXPECT_EQ(statistics.status, 0);
  EXPECT_NE(statistics.out, "");
  EXPECT_THAT(statistics.out, AllOf(Not(HasSubstr("Adding")), Not(HasSubstr("Starting")), Not(HasSubstr("request"))));
}

// Catches errors that "quiet" silences.
TEST(Driver, QuietRunStillPrintsErrors) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "no stream"});
  const RunResult result = run.run({"--quiet"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "zel-client: no stream\n");
}

// Catches limits of the buffer count that are off by one.
TEST(Driver, BufferCountIsLimited) {
  EXPECT_EQ(provisioned({}), 10U);
  EXPECT_EQ(provisioned({"--buffer.count=0"}), 1U);
  EXPECT_EQ(provisioned({"--buffer.count=1"}), 1U);
  EXPECT_EQ(provisioned({"--buffer.count=4"}), 4U);
  EXPECT_EQ(provisioned({"--frames=1"}), 1U);
  EXPECT_EQ(provisioned({"--frames=3"}), 3U);
  EXPECT_EQ(provisioned({"--frames=100"}), 10U);
  EXPECT_EQ(provisioned({"--frames=3", "--buffer.count=2"}), 2U);
  EXPECT_EQ(provisioned({"--frames=-5"}), 10U);
}

// Catches more than ten buffers, where the service lets so many be asked for.
TEST(Driver, NeverMoreThanTenBuffers) {
  for (const char *count : {"--buffer.count=10", "--buffer.count=11", "--buffer.count=50"}) {
    EXPECT_EQ(provisioned({count}), 10U) << count;
  }
}

// Catches buffers of the client's own where the service brings them.
TEST(Driver, ServiceBuffersNeedNoProvisioning) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--buffer.strategy=service", "--frames=3", "-o", "out"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, Not(HasSubstr("Adding")));
  const TruthLog truth = run.truth();
  EXPECT_EQ(truth.count("zel_stream_buffer_alloc"), 0U);
  EXPECT_EQ(truth.count("zel_stream_buffer_unref"), 0U);
  EXPECT_EQ(truth.count("zel_stream_buffer_enqueue"), 3U) << "frames are handed back all the same";
  EXPECT_EQ(read_file(run.file("out")), truth.bytes(0, 3));
}

// Catches another strategy taken for the service's own buffers.
TEST(Driver, OtherStrategiesProvision) {
  EXPECT_EQ(provisioned({"--buffer.strategy=copy"}), 10U);
  EXPECT_EQ(provisioned({"-S", "automatic", "--buffer.count=2"}), 2U);
}

// Catches the debug intent missing from the request, shown in the printed one, or sent without being asked for.
TEST(Driver, DebugIntentIsSentButNotShown) {
  ClientRun run;
  script_small_frames(&run);
  run.run({"--zel_debug", "--frames=1"});
  const TruthLog truth = run.truth();
  EXPECT_EQ(truth.requested_settings().at("intent"), 21);
  EXPECT_FALSE(truth.map_at(2, truth.lines().size()).contains("intent"));
  EXPECT_EQ(truth.calls_named("zel_map_dump").at(0).args.at("map"), 2);

  ClientRun plain;
  script_small_frames(&plain);
  plain.run({"--frames=1"});
  EXPECT_FALSE(plain.truth().requested_settings().contains("intent"));
}

// Catches properties read from the wrong map or with other defaults and types.
TEST(Driver, ReadsTheInfosProperties) {
  ClientRun run;
  script_small_frames(&run);
  run.run({"--frames=1"});
  const TruthLog truth = run.truth();
  const json info = truth.calls_named("zel_stream_get_info").at(0).result;
  std::vector<std::string> reads;
  for (const Call &call : truth.calls()) {
    if (call.name.starts_with("zel_map_get_") && call.args.at("map") == info) {
      reads.push_back(call.name + " " + call.args.at("key").get<std::string>() + " " + call.args.at("default").dump());
    }
  }
  EXPECT_THAT(reads, ElementsAre("zel_map_get_uint32 width 0", "zel_map_get_uint32 height 0",
                                 "zel_map_get_double framerate 0.0", "zel_map_get_uint32 format 4294967295"));
}

// Catches an interactive run that starts by itself. Its first wait for a key is scripted to fail, which ends the run.
TEST(Driver, InteractiveRunWaitsForAKey) {
  const Terminal terminal;
  ClientRun run;
  script_small_frames(&run);
  run.stdin_from_descriptor(terminal.descriptor())
      .preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", "poll 1 " + std::to_string(EINTR) + ";");
  const RunResult result = run.run({"--interactive=1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, testing::EndsWith("Starting Stream[" +
                                            run.truth().calls_named("zel_stream_get_id").at(0).result.dump() + "]:\n"));
  EXPECT_EQ(run.truth().count("zel_stream_start"), 0U);
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U) << "stopped whether or not it was started";
}

namespace {

struct Failure {
  std::string call;
  std::uint32_t nth;
  std::vector<std::string> later_calls;  ///< about the stream, after the failed one
};

/// Keeps the tests' names to the point.
void PrintTo(const Failure &failure, std::ostream *stream) {
  *stream << failure.call << ' ' << failure.nth;
}

const std::vector<Failure> kFailures = {
    {"zel_stream_new", 1, {}},
    {"zel_stream_get_fd", 1, {"zel_stream_stop"}},
    {"zel_stream_get_info", 1, {"zel_stream_stop"}},
    {"zel_stream_get_settings", 1, {"zel_stream_stop"}},
    {"zel_stream_buffer_alloc", 1, {"zel_stream_stop"}},
    {"zel_stream_buffer_alloc", 3, {"zel_stream_stop", "zel_stream_buffer_unref"}},
    {"zel_stream_buffer_enqueue", 1, {"zel_stream_stop", "zel_stream_buffer_unref"}},
    {"zel_stream_buffer_enqueue", 3, {"zel_stream_stop", "zel_stream_buffer_unref"}},
    {"zel_stream_start", 1, {"zel_stream_stop", "zel_stream_buffer_unref"}},
};

class DriverFailure : public testing::TestWithParam<Failure> {};

std::string name_of_failure(const testing::TestParamInfo<Failure> &info) {
  return info.param.call + std::to_string(info.param.nth);
}

}  // namespace

// Catches a failed step after which the run goes on, that is not told, or whose objects stay.
TEST_P(DriverFailure, EndsTheRunWithItsMessage) {
  const Failure &failure = GetParam();
  ClientRun run;
  script_small_frames(&run);
  run.camera().fault({.call = failure.call, .nth = failure.nth, .message = "it failed on purpose"});
  const RunResult result = run.run({"--buffer.count=4", "--stats", "-o", "out"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: it failed on purpose\n");
  const TruthLog truth = run.truth();
  std::vector<std::string> later;
  std::uint32_t seen = 0;
  for (const Call &call : truth.calls()) {
    if (seen >= failure.nth && call.name.starts_with("zel_stream_") && (later.empty() || later.back() != call.name)) {
      later.push_back(call.name);
    }
    seen += call.name == failure.call ? 1U : 0U;
  }
  EXPECT_THAT(later, ElementsAreArray(failure.later_calls));
  expect_all_released(truth);
  EXPECT_THAT(run.files(), IsEmpty()) << "no frame, no file";
}

// Catches a status that hangs on anything but the held error: a failure that says nothing ends the run with 0.
TEST_P(DriverFailure, WithoutAnErrorEndsTheRunSilently) {
  const Failure &failure = GetParam();
  ClientRun run;
  script_small_frames(&run);
  run.camera().fault({.call = failure.call, .nth = failure.nth, .set_error = false});
  const RunResult result = run.run({"--buffer.count=4"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), 0U);
  expect_all_released(run.truth());
}

INSTANTIATE_TEST_SUITE_P(Calls, DriverFailure, testing::ValuesIn(kFailures), name_of_failure);

// Catches a run that cannot do without events.
TEST(Driver, GoesOnWithoutAnEventDescriptor) {
  ClientRun run;
  script_small_frames(&run);
  run.camera().fault({.call = "zel_stream_get_event_fd", .message = "no events here"});
  const RunResult result = run.run({"--frames=2"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(run.truth().frames().size(), 2U);

  // A debug run asks for events all the same.
  ClientRun debug;
  script_small_frames(&debug);
  debug.camera().fault({.call = "zel_stream_get_event_fd", .message = "no events here"});
  EXPECT_EQ(debug.run({"--frames=2", "--zel_debug"}).status, 0);
  EXPECT_EQ(debug.truth().count("zel_stream_get_event"), 2U);
}
