// The driver on the real binary: order of the run, dumps, buffers, teardown and exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "console_text.h"
#include "harness/client_run.h"
#include "harness/pty.h"

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

/// A few scripted frames, which need no encoder.
void script_small_frames(ClientRun *run) {
  run->camera().scripted().frames({.count = 0, .size = 100}).frames({.from = 0, .count = 1, .size = 100, .key = true});
}

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

/// Every object that the log shows coming into being is released again.
void expect_all_released(const TruthLog &truth) {
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

// Catches a Matroska file that is created after the buffers, or whose failure leaves the stream running.
TEST(Driver, MkvIsCreatedBeforeTheBuffers) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--frames=2", "--mkv=no-such-folder/file.mkv", "640", "480"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err, "");
  const TruthLog truth = run.truth();
  EXPECT_EQ(truth.count("zel_stream_get_settings"), 1U);
  EXPECT_EQ(truth.count("zel_stream_buffer_alloc"), 0U);
  EXPECT_EQ(truth.count("zel_stream_stop"), 1U);
  expect_all_released(truth);
}

// Catches a sidecar that is opened after the buffers, or whose failure leaves the stream running.
TEST(Driver, MetaIsOpenedBeforeTheBuffers) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--frames=2", "--meta", "-o", "no-such-folder/file"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err, "");
  const TruthLog truth = run.truth();
  EXPECT_EQ(truth.count("zel_stream_buffer_alloc"), 0U);
  EXPECT_EQ(truth.count("zel_stream_stop"), 1U);
  expect_all_released(truth);
}

// Catches outputs opened, given a frame or finished in another order: Matroska before the sidecar, and with each frame the
// raw file before both.
TEST(Driver, OutputsHaveTheirOrder) {
  ClientRun opening;
  script_small_frames(&opening);
  const RunResult not_opened = opening.run({"--mkv=no-such-folder/m", "--meta", "-o", "out"});
  EXPECT_THAT(not_opened.out, HasSubstr("-----info-----")) << "the dumps come first";
  EXPECT_THAT(not_opened.err, testing::EndsWith("zel-client: Failed to create MKV writer\n"));
  EXPECT_THAT(opening.files(), IsEmpty());

  ClientRun raw;
  script_small_frames(&raw);
  std::filesystem::create_directory(raw.file("out"));
  EXPECT_THAT(raw.run({"--frames=2", "--mkv=/dev/full", "--meta", "-o", "out"}).err,
              StartsWith("zel-client: Failed to open output file: Is a directory\n"));
  EXPECT_EQ(read_file(raw.file("out.meta")), std::string(4, '\0'));

  ClientRun mkv;
  script_small_frames(&mkv);
  EXPECT_THAT(mkv.run({"--frames=2", "--mkv=/dev/full", "--meta", "-o", "out"}).err,
              testing::EndsWith("zel-client: Failed writing MKV frame\n"));
  EXPECT_EQ(read_file(mkv.file("out.meta")), std::string(4, '\0')) << "the frame has no record";

  ClientRun finishing;
  script_small_frames(&finishing);
  finishing.preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", "fwrite-4 1 " + std::to_string(ENOSPC) + ";");
  EXPECT_THAT(finishing.run({"--frames=-1", "--mkv=out.mkv", "--meta", "-o", "out"}).err,
              testing::EndsWith("zel-client: Failed finalizing container\n"));
}

// Catches a second closing that fails or crashes: both outputs are closed once when finishing and again at teardown.
TEST(Driver, OutputsTolerateTheSecondClosing) {
  ClientRun run;
  run.camera().set("producer", "generated");
  const RunResult result =
      run.run({"--frames=3", "--meta", "--mkv=out.mkv", "-o", "out", "--stats", "--framerate=25", "320", "240"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(run.files(), ElementsAre("out", "out.meta", "out.mkv"));
}

// Catches a Matroska file that cannot be finished and goes unnoticed, or statistics printed all the same. Without a frame
// there is nothing to finish.
TEST(Driver, FailedMkvEndMeansStatusOneAndNoStatistics) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--quiet", "--stats", "--frames=-1", "--mkv=out.mkv", "320", "240"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, testing::EndsWith("zel-client: Failed finalizing container\n"));
  EXPECT_EQ(occurrences(result.err, "Failed finalizing container"), 1U) << "not once more at teardown";
  expect_all_released(run.truth());
}

// Catches the error of an interrupted fetch, or one that was printed already, told in place of the output's that could not
// be finished, and GLib's complaint about two errors in one slot.
TEST(Driver, FailedEndIsToldAfterAFailedFetch) {
  for (const char *cause : {"EINTR", "EIO"}) {
    ClientRun run;
    run.camera().scripted().fault(
        {.call = "zel_stream_get_buffer", .message = "a hiccup", .error_number = cause, .signal = "SIGINT"});
    const RunResult result = run.run({"--quiet", "--stats", "--mkv=out.mkv", "320", "240"});
    EXPECT_EQ(result.status, 1) << cause;
    EXPECT_EQ(result.out, "") << cause;
    const std::string printed = std::string(cause) == "EIO" ? "zel-client: a hiccup\n" : "";
    EXPECT_EQ(result.err, printed + "zel-client: Failed finalizing container\n");
  }
}

// Catches a sidecar that cannot be finished and goes unnoticed, or statistics printed all the same.
TEST(Driver, FailedMetaEndMeansStatusOneAndNoStatistics) {
  ClientRun run;
  script_small_frames(&run);
  run.preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", "fwrite-4 1 " + std::to_string(ENOSPC) + ";");
  const RunResult result = run.run({"--quiet", "--stats", "--frames=2", "--meta", "-o", "out"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "zel-client: Failed to write number of frames: No space left on device\n");
  EXPECT_EQ(run.truth().frames().size(), 2U);
  expect_all_released(run.truth());
}

namespace {

/// The files in the run's folder that its client holds open.
std::vector<std::string> open_files(ClientRun *run) {
  std::vector<std::string> names;
  const std::string descriptors = "/proc/" + std::to_string(run->process().pid()) + "/fd";
  for (const auto &entry : std::filesystem::directory_iterator(descriptors)) {
    std::error_code closed_meanwhile;
    const std::filesystem::path file = std::filesystem::read_symlink(entry.path(), closed_meanwhile);
    if (file.parent_path() == run->folder()) {
      names.push_back(file.filename());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool is_suspended(ClientRun *run) {
  const std::string status = read_file("/proc/" + std::to_string(run->process().pid()) + "/status");
  return status.find("\nState:\tT") != std::string::npos;
}

}  // namespace

// Catches outputs that are still open when the stream is stopped. The run fails, so that only teardown closes them, and is
// suspended once with its files open and once in the stop.
TEST(Driver, TeardownClosesTheOutputsBeforeTheStop) {
  ClientRun run;
  run.camera().set("producer", "generated");
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .fail = false, .signal = "SIGSTOP"});
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 3, .message = "the end", .expected = true});
  run.camera().fault({.call = "zel_stream_stop", .fail = false, .signal = "SIGSTOP"});
  run.start({"--meta", "--mkv=out.mkv", "-o", "out", "320", "240"});
  ASSERT_TRUE(run.process().wait_until([&] { return is_suspended(&run); }));
  EXPECT_THAT(open_files(&run), ElementsAre("out", "out.meta", "out.mkv"));
  run.process().send_signal(SIGCONT);
  ASSERT_TRUE(run.process().wait_until([&] { return is_suspended(&run) && open_files(&run).empty(); }));
  EXPECT_EQ(run.truth().releases().size(), 2U) << "the settings and the info";
  run.process().send_signal(SIGCONT);
  const RunResult result = run.wait();
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: the end\n");
}

// Catches objects released in another order than stream stop, buffers, stream, request record, settings map.
TEST(Driver, TeardownReleasesInItsOrder) {
  ClientRun run;
  script_small_frames(&run);
  run.run({"--frames=2"});
  const TruthLog truth = run.truth();
  const std::size_t stop = truth.calls_named("zel_stream_stop").at(0).position;
  const std::vector<Call> unrefs = truth.calls_named("zel_stream_buffer_unref");
  ASSERT_EQ(unrefs.size(), 2U);
  EXPECT_LT(stop, unrefs[0].position);
  EXPECT_EQ(unrefs[0].args.at("buffer"), 1);
  EXPECT_EQ(unrefs[1].args.at("buffer"), 2);
  const std::size_t last_unref = unrefs[1].position;
  std::vector<std::string> released;
  for (const Release &release : truth.releases()) {
    // Each buffer owns a map, which goes with it.
    if (release.position > last_unref && (release.object == "stream" || (release.object == "map" && release.id <= 2))) {
      released.push_back(release.object + " " + std::to_string(release.id));
    }
  }
  EXPECT_THAT(released, ElementsAre("stream 1", "map 2", "map 1"));
  expect_all_released(truth);
}

// Catches a run that is torn down twice or stops a stream that it never had.
TEST(Driver, StopsExactlyOnce) {
  ClientRun run;
  script_small_frames(&run);
  run.run({"--frames=1"});
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
  ClientRun failed;
  failed.camera().fault({.call = "zel_stream_new", .message = "no"});
  failed.run({});
  EXPECT_EQ(failed.truth().count("zel_stream_stop"), 0U);
}

// Catches statistics that are printed after a failure, or more than once.
TEST(Driver, StatisticsOnlyAfterANormalEnd) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult normal = run.run({"--quiet", "--stats", "--frames=2"});
  ClientRun failing;
  script_small_frames(&failing);
  failing.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .message = "the end", .expected = true});
  const RunResult failed = failing.run({"--quiet", "--stats", "--frames=2"});
  EXPECT_EQ(normal.status, 0);
  EXPECT_NE(normal.out, "");
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.out, "");
}

// Catches informational lines that go elsewhere than to standard output.
TEST(Driver, InformationalLinesGoToStandardOutput) {
  ClientRun run;
  script_small_frames(&run);
  const RunResult result = run.run({"--frames=1"});
  EXPECT_EQ(occurrences(result.out, "Adding 1 buffers.\n"), 1U);
  EXPECT_EQ(occurrences(result.out, "Starting Stream["), 1U);
  EXPECT_EQ(result.err, "");
}
