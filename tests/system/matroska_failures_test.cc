// The Matroska output goes wrong: what the user reads, the status, and what is left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "recording.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

class MatroskaFailure : public testing::Test {
 protected:
  MatroskaFailure() { run.camera().scripted().frames({.count = 0, .size = 6000}); }

  std::filesystem::path recording() const { return run.file("out.mkv"); }
  RunResult record(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--mkv=out.mkv", "--quiet"});
    RunResult result = run.run(arguments);
    EXPECT_EQ(result.signal, 0);
    return result;
  }

  ClientRun run;
};

}  // namespace

// Catches uncompressed video that is taken, and a run that starts all the same.
TEST_F(MatroskaFailure, UncompressedIsRefused) {
  for (const char *format : {"nv12", "i420", "gray", "rgb"}) {
    ClientRun other;
    const RunResult result =
        other.run({"--mkv=out.mkv", "--quiet", "--frames=2", std::string("--format=") + format, "320", "240"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "error: Unsupported video format for MKV writer\nzel-client: Failed to create MKV writer\n");
    EXPECT_THAT(other.files(), IsEmpty());
    EXPECT_EQ(other.truth().count("zel_stream_start"), 0u);
    EXPECT_EQ(other.truth().count("zel_stream_buffer_alloc"), 0u);
  }
}

// Catches a file that cannot be made, found out only after the start, or without its name.
TEST_F(MatroskaFailure, FileCannotBeOpened) {
  const RunResult result = run.run({"--mkv=missing/out.mkv", "--quiet", "--frames=2"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "error: Could not open output file 'missing/out.mkv'\nzel-client: Failed to create MKV writer\n");
  EXPECT_EQ(run.truth().count("zel_stream_start"), 0u);
}

// Catches a recording of nothing that ends well, statistics after a failure, and anything in the file.
TEST_F(MatroskaFailure, NoFrame) {
  const RunResult result = record({"--frames=-1", "--stats", "--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed finalizing container\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(read_file(recording()), "");
}

// Catches the error of the first fetch covered by that of the file which it left empty.
TEST_F(MatroskaFailure, StreamFailsBeforeTheFirstFrame) {
  run.camera().fault({.call = "zel_stream_get_buffer", .message = "Sensor gone", .expected = true});
  const RunResult result = record({"--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Sensor gone\n");
  EXPECT_EQ(read_file(recording()), "");
}

// Catches the crash of a trailer after a refused header: the first frames bring no parameter sets that H.265 and AV1
// need.
TEST_F(MatroskaFailure, HeaderIsRefused) {
  for (const char *format : {"h265", "av1"}) {
    ClientRun other;
    other.camera().scripted().frames({.count = 0, .size = 6000, .header_size = 77});
    const RunResult result =
        other.run({"--mkv=out.mkv", "--quiet", "--frames=3", "--meta", "-o", "raw", std::string("--format=") + format});
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, EndsWith("error: Could not write header: 77\nzel-client: Failed writing MKV header\n"));
    EXPECT_EQ(read_file(other.file("raw.meta")), std::string(4, '\0')) << "the frame was not stored";
  }
}

// Catches a size below three bytes of header taken as the configuration instead of the whole frame.
TEST_F(MatroskaFailure, WholeFrameIsTheConfiguration) {
  run.camera().frames({.header_size = 2});
  const RunResult result = record({"--frames=1", "--format=h265"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("error: Could not write header: 6000\n"));
}

// Catches a full disk that goes unnoticed at the start.
TEST_F(MatroskaFailure, FullDisk) {
  const RunResult result = run.run({"--mkv=/dev/full", "--quiet", "--frames=3", "--format=jpeg"});
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, EndsWith("error: Could not write frame\nzel-client: Failed writing MKV frame\n"));
}

// Catches a disk that fills up while recording: noticed late, or never, or with a file that no longer opens.
TEST_F(MatroskaFailure, DiskFillsUp) {
  run.preload(preload_library("small_disk")).environment("ZEL_TEST_DISK_BYTES", "100000");
  const RunResult result = record({"--frames=60", "--format=jpeg", "--meta", "-o", "raw"});
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, EndsWith("error: Could not write frame\nzel-client: Failed writing MKV frame\n"));
  EXPECT_EQ(std::filesystem::file_size(recording()), 100'000u);

  const StoredFile stored = probe(recording());
  const std::string meta = read_file(run.file("raw.meta"));
  const std::vector<FrameTruth> frames = run.truth().frames();
  EXPECT_GT(stored.video.size(), 10u);
  EXPECT_LE(stored.video.size(), frames.size());
  EXPECT_EQ(sidecar_count(meta), frames.size() - 1) << "all but the frame that failed";
  for (std::size_t i = 0; i < stored.video.size(); ++i) {
    EXPECT_EQ(stored.video[i].pts, milliseconds(frames[i].timestamp));
  }
}

// Catches a disk that has room for the frames but not for the trailer, reported as a whole recording.
TEST_F(MatroskaFailure, NoRoomForTheTrailer) {
  run.preload(preload_library("small_disk")).environment("ZEL_TEST_DISK_BYTES", "20000");
  const RunResult result = record({"--frames=3", "--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, EndsWith("zel-client: Failed finalizing container\n"));
  EXPECT_THAT(result.err, Not(HasSubstr("error: ")));
}

// Catches the library's error lost when a frame cannot be taken, and a file left without its trailer.
TEST_F(MatroskaFailure, FrameCannotBeTaken) {
  run.camera().frames({.from = 2, .take_fails = true});
  const RunResult result = record({"--frames=5", "--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, StartsWith("zel-client: "));
  EXPECT_THAT(result.err, Not(HasSubstr("MKV")));
  const StoredFile stored = probe(recording());
  EXPECT_EQ(stored.video.size(), 2u);
  EXPECT_NE(stored.duration, "");
}

// Catches a run that ends silently, with status 0, at a frame whose bytes the client does not get: memory that it may
// not read, and an empty frame.
TEST_F(MatroskaFailure, FrameWithoutBytes) {
  for (const FrameRule &rule : {FrameRule{.from = 2, .null_chunk = 0}, FrameRule{.from = 2, .size = 0}}) {
    ClientRun other;
    other.camera().scripted().frames({.count = 0, .size = 6000}).frames(rule);
    const RunResult result =
        other.run({"--mkv=out.mkv", "--meta", "-o", "raw", "--quiet", "--frames=5", "--format=jpeg"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "zel-client: Failed writing MKV frame\n");
    const StoredFile stored = probe(other.file("out.mkv"));
    EXPECT_EQ(stored.video.size(), 2u);
    EXPECT_NE(stored.duration, "");
    EXPECT_EQ(sidecar_count(read_file(other.file("raw.meta"))), 2u);
  }
}

// Catches the same from the first frame on, with the option that takes the right to read.
TEST_F(MatroskaFailure, NoReadAccess) {
  for (const char *access : {"none", "write"}) {
    ClientRun other;
    other.camera().scripted().frames({.count = 0, .size = 6000});
    const RunResult result = other.run(
        {"--mkv=out.mkv", "--quiet", "--frames=5", "--format=jpeg", std::string("--buffer.access=") + access});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "zel-client: Failed writing MKV frame\n");
    EXPECT_EQ(read_file(other.file("out.mkv")), "");
  }
}

// Catches a clock that goes back: the container cannot hold it, the run ends, and what was recorded is whole.
TEST_F(MatroskaFailure, ClockGoesBack) {
  run.camera().frames({.from = 3, .count = 0, .clock_step_us = -10'000'000});
  run.camera().set("start_us", "60000000");
  const RunResult result = record({"--frames=6", "--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, EndsWith("error: Could not write frame\nzel-client: Failed writing MKV frame\n"));
  const StoredFile stored = probe(recording());
  EXPECT_EQ(stored.video.size(), 3u);
  EXPECT_NE(stored.duration, "");
}

// Catches a sidecar that is opened before the Matroska file.
TEST_F(MatroskaFailure, MatroskaFileIsOpenedBeforeTheSidecar) {
  const RunResult refused = run.run({"--mkv=missing/out.mkv", "--meta", "-o", "raw", "--quiet", "--frames=2"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, EndsWith("zel-client: Failed to create MKV writer\n"));
  EXPECT_THAT(run.files(), IsEmpty());

  const RunResult opened = record({"--meta", "-o", "missing/raw", "--frames=2"});
  EXPECT_EQ(opened.status, 1);
  EXPECT_EQ(opened.err, "zel-client: Failed to open meta file 'missing/raw.meta': No such file or directory\n");
  EXPECT_EQ(read_file(recording()), "");
}

// Catches another order at the end: the Matroska file is completed before the sidecar, but after it when the run
// failed.
TEST_F(MatroskaFailure, OrderAtTheEnd) {
  const auto ends = [](bool fails) {
    const TempFolder folder;
    ClientRun other;
    other.camera().scripted().frames({.count = 0, .size = 6000});
    if (fails) other.camera().fault({.call = "zel_stream_get_buffer", .nth = 2, .expected = true});
    other.preload(preload_library("scripted_calls")).environment("ZEL_TEST_CALL_LOG", folder.path() / "calls");
    const RunResult result =
        other.run({"--mkv=out.mkv", "--meta", "-o", "raw", "--quiet", "--frames=2", "--format=jpeg"});
    EXPECT_EQ(result.status, fails ? 1 : 0) << result.err;
    std::vector<std::string> calls;
    std::istringstream lines(read_file(folder.path() / "calls"));
    for (std::string line; std::getline(lines, line);) {
      if (line == "av_write_trailer" || line == "fwrite-4") calls.push_back(line);
    }
    return calls;
  };
  EXPECT_THAT(ends(false), ElementsAre("av_write_trailer", "fwrite-4"));
  EXPECT_THAT(ends(true), ElementsAre("fwrite-4", "av_write_trailer"));
}

// Catches the sidecar's error at the end covering the Matroska file's, which comes first.
TEST_F(MatroskaFailure, FirstErrorAtTheEndIsTold) {
  run.preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", "fwrite-4 1 " + std::to_string(ENOSPC) + ";");
  const RunResult result = record({"--frames=-1", "--meta", "-o", "raw", "--format=jpeg"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed finalizing container\n");
}
