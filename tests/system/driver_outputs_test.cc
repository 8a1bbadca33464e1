// The driver's outputs: when they are opened and closed, the teardown, and the exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "console_text.h"
#include "driver_run.h"
#include "harness/client_run.h"

using driver_run::expect_all_released;
using driver_run::script_small_frames;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

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

// Catches outputs opened, given a frame or finished in another order: Matroska before the sidecar, and with each frame
// the raw file before both.
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

// Catches a Matroska file that cannot be finished and goes unnoticed, or statistics printed all the same. Without a
// frame there is nothing to finish.
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

// Catches the error of an interrupted fetch, or one that was printed already, told in place of the output's that could
// not be finished, and GLib's complaint about two errors in one slot.
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

// Catches outputs that are still open when the stream is stopped. The run fails, so that only teardown closes them, and
// is suspended once with its files open and once in the stop.
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
