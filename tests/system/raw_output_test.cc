// The raw output writer on the real binary: which file gets which bytes, and what happens when it cannot be written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/client_run.h"
#include "raw_run.h"

using raw_run::expect_success;
using raw_run::script_calls;
using raw_run::script_gops;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// The frames that a file holds, one letter a frame by its sequence number; "?" for bytes that are no whole frames.
std::string frames_in(const ClientRun &run, const TruthLog &truth, const std::string &name) {
  const std::string bytes = read_file(run.file(name));
  std::string letters;
  std::size_t at = 0;
  std::size_t next = 0;
  while (at < bytes.size()) {
    std::size_t found = next;
    while (found < truth.frames().size() &&
           bytes.compare(at, truth.frames()[found].size, truth.bytes(truth.frames()[found])) != 0) {
      ++found;
    }
    if (found == truth.frames().size()) {
      return letters + "?";
    }
    letters += static_cast<char>('a' + truth.frames()[found].sequence);
    at += truth.frames()[found].size;
    next = found + 1;
  }
  return letters;
}

/// One "name:frames" a file.
std::vector<std::string> contents(const ClientRun &run) {
  const TruthLog truth = run.truth();
  std::vector<std::string> found;
  for (const std::string &name : run.files()) {
    found.push_back(name + ":" + frames_in(run, truth, name));
  }
  return found;
}

}  // namespace

// Catches bytes of really encoded frames that are lost, added or out of order.
TEST(RawOutput, EncodedStreamIsStoredByteForByte) {
  ClientRun run;
  expect_success(run.run({"--frames=30", "--framerate=25", "-o", "out.h264", "320", "240"}));
  const TruthLog truth = run.truth();
  EXPECT_EQ(truth.frames().size(), 30U);
  EXPECT_EQ(read_file(run.file("out.h264")), truth.bytes(0, 30));
  EXPECT_THAT(run.files(), ElementsAre("out.h264"));
  const RunResult decoded =
      run_tool({"ffmpeg", "-v", "error", "-f", "h264", "-i", "out.h264", "-f", "null", "-"}, run.folder());
  EXPECT_EQ(decoded.status, 0);
  EXPECT_EQ(decoded.err, "");
}

// Catches a stream whose size, rate or count a player would read wrongly.
TEST(RawOutput, EncodedStreamIsWhatWasAskedFor) {
  ClientRun run;
  expect_success(run.run({"--frames=20", "--framerate=25", "--gop_length=10", "-o", "out.h264", "320", "240"}));
  const RunResult probed =
      run_tool({"ffprobe", "-v", "error", "-f", "h264", "-count_frames", "-show_entries",
                "stream=codec_name,width,height,r_frame_rate,nb_read_frames", "-of", "csv=p=0", "out.h264"},
               run.folder());
  EXPECT_EQ(probed.out, "h264,320,240,25/1,20\n");
  EXPECT_EQ(probed.err, "");
}

// Catches a run without an output name that stores nothing, or something in the working directory.
TEST(RawOutput, DefaultIsTheNullDevice) {
  ClientRun run;
  script_gops(&run, 5);
  expect_success(run.run({"--frames=3"}));
  EXPECT_THAT(run.files(), IsEmpty());
  EXPECT_EQ(run.truth().count("zel_frame_take_chunk_ex"), 6U) << "every frame passes through the writer";
}

// Catches names that are only formatted when a split was asked for.
TEST(RawOutput, NameIsFormattedWithoutASplit) {
  ClientRun run;
  script_gops(&run, 2);
  expect_success(run.run({"--frames=3", "-o", "a%d"}));
  EXPECT_THAT(contents(run), ElementsAre("a0:abc"));
  ClientRun percent;
  script_gops(&percent, 2);
  expect_success(percent.run({"--frames=2", "-o", "100%%"}));
  EXPECT_THAT(contents(percent), ElementsAre("100%:ab"));
}

// Catches GOP files that begin at the wrong frame or have wrong numbers.
TEST(RawOutput, SplitsByGops) {
  ClientRun one;
  script_gops(&one, 3);
  expect_success(one.run({"--frames=9", "--split_ngop=1", "-o", "cap%03d.h264"}));
  EXPECT_THAT(contents(one), ElementsAre("cap000.h264:abc", "cap001.h264:def", "cap002.h264:ghi"));

  ClientRun two;
  script_gops(&two, 2);
  expect_success(two.run({"--frames=10", "-G", "2", "-o", "cap%03d.h264"}));
  EXPECT_THAT(contents(two), ElementsAre("cap000.h264:abcd", "cap002.h264:efgh", "cap004.h264:ij"));
}

// Catches GOP files of a real encoder that do not begin with a key frame, or bytes between two files.
TEST(RawOutput, SplitsRealGops) {
  ClientRun run;
  expect_success(
      run.run({"--frames=12", "--framerate=25", "--gop_length=4", "--split_ngop=1", "-o", "g%d", "320", "240"}));
  EXPECT_THAT(contents(run), ElementsAre("g0:abcd", "g1:efgh", "g2:ijkl"));
}

// Catches leading frames that survive: the first key frame opens their file anew.
TEST(RawOutput, FirstKeyFrameReopensTheFirstFile) {
  ClientRun run;
  script_gops(&run, 3, 2);
  expect_success(run.run({"--frames=8", "--split_ngop=1", "-o", "x%d"}));
  EXPECT_THAT(contents(run), ElementsAre("x0:cde", "x1:fgh"));
}

// Catches frame files that begin at the wrong frame or have wrong numbers.
TEST(RawOutput, SplitsByFrames) {
  ClientRun run;
  script_gops(&run, 4);
  expect_success(run.run({"--frames=7", "--split_nframes=3", "-o", "cap%03d.h264"}));
  EXPECT_THAT(contents(run), ElementsAre("cap000.h264:abc", "cap003.h264:def", "cap006.h264:g"));

  ClientRun every;
  script_gops(&every, 4);
  expect_success(every.run({"--frames=3", "-N", "1", "-o", "x%05d"}));
  EXPECT_THAT(contents(every), ElementsAre("x00000:a", "x00001:b", "x00002:c"));
}

// Catches key frames that follow the frame rule when both splits are on.
TEST(RawOutput, BothSplits) {
  ClientRun run;
  script_gops(&run, 4);
  expect_success(run.run({"--frames=8", "--split_ngop=2", "--split_nframes=3", "-o", "x%d"}));
  // a: GOP 0 opens x0; d: frame 3 opens x3; e: GOP 1 keeps x3; g: frame 6 opens x6.
  EXPECT_THAT(contents(run), ElementsAre("x0:abc", "x3:def", "x6:gh"));
}

// Catches the doubled percent sign taken for a conversion: every split truncates the same file.
TEST(RawOutput, DoubledPercentSplitsIntoOneFile) {
  ClientRun run;
  script_gops(&run, 4);
  expect_success(run.run({"--frames=6", "--split_nframes=2", "-o", "a%%d"}));
  EXPECT_THAT(contents(run), ElementsAre("a%d:ef"));
}

// Catches a file of the wrong number for the frame that ends the skipping.
TEST(RawOutput, FirstFrameAfterSkippingIsMinusOne) {
  constexpr std::uint64_t kInputStart = 0x100000000;
  const auto script = [](ClientRun *run) {
    run->camera().scripted().frames({.count = 0, .size = 50});
    run->camera().frames({.from = 0, .size = 50, .timestamp_us = kInputStart - 40000});
    for (std::uint32_t i = 1; i < 10; ++i) {
      run->camera().frames({.from = i, .size = 50, .timestamp_us = kInputStart + 40000ULL * (i - 1)});
    }
  };
  ClientRun every;
  script(&every);
  expect_success(every.run({"--sync-input", "--frames=2", "--split_nframes=1", "-o", "x%d"}));
  EXPECT_THAT(contents(every), ElementsAre("x-1:b", "x0:c", "x1:d"));

  ClientRun second;
  script(&second);
  expect_success(second.run({"--sync-input", "--frames=3", "--split_nframes=2", "-o", "x%d"}));
  // Frame -1 is not divisible by two: it opens the first file, which frame 0 opens anew.
  EXPECT_THAT(contents(second), ElementsAre("x0:cd", "x2:e"));
}

// Catches a file that holds more than the last frame, or rest of a longer frame before it.
TEST(RawOutput, LastKeepsTheLastFrameOnly) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 500}).frames({.from = 4, .size = 20});
  expect_success(run.run({"--frames=5", "--last", "-o", "out"}));
  const TruthLog truth = run.truth();
  EXPECT_EQ(read_file(run.file("out")), truth.bytes(4, 1));
  EXPECT_EQ(read_file(run.file("out")).size(), 20U);
}

// Catches an earlier, longer file of that name that shines through.
TEST(RawOutput, ExistingFilesAreTruncated) {
  ClientRun run;
  script_gops(&run, 5);
  write_file(run.file("out"), std::string(10000, 'x'));
  expect_success(run.run({"--frames=2", "-o", "out"}));
  EXPECT_THAT(contents(run), ElementsAre("out:ab"));
}

// Catches a last frame that is kept for the run instead of for each split file.
TEST(RawOutput, LastWithSplitKeepsOneFramePerFile) {
  ClientRun run;
  script_gops(&run, 3);
  expect_success(run.run({"--frames=7", "--last", "--split_ngop=1", "-o", "x%d"}));
  EXPECT_THAT(contents(run), ElementsAre("x0:c", "x1:f", "x2:g"));
}

// Catches raw data written beside a Matroska file, or a raw file that is not even created.
TEST(RawOutput, StaysEmptyBesideMkv) {
  ClientRun run;
  expect_success(run.run({"--frames=3", "--framerate=25", "--mkv=out.mkv", "-o", "out", "320", "240"}));
  EXPECT_THAT(run.files(), ElementsAre("out", "out.mkv"));
  EXPECT_EQ(read_file(run.file("out")), "");
  // The Matroska writer takes the frame's data with the other call.
  EXPECT_EQ(run.truth().count("zel_frame_take_chunk_ex"), 0U);
}

// Catches split files that are not created beside a Matroska file.
TEST(RawOutput, SplitsAllTheSameBesideMkv) {
  ClientRun run;
  expect_success(run.run(
      {"--frames=4", "--framerate=25", "--mkv=out.mkv", "--split_nframes=2", "--last", "-o", "x%d", "320", "240"}));
  EXPECT_THAT(run.files(), ElementsAre("out.mkv", "x0", "x2"));
  EXPECT_EQ(read_file(run.file("x0")) + read_file(run.file("x2")), "");
}

// Catches chunks lost, taken with other flags, or taken on after the empty one that ends them.
TEST(RawOutput, ChunksAreJoined) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 100, .chunks = 4});
  expect_success(run.run({"--frames=2", "-o", "out"}));
  const TruthLog truth = run.truth();
  EXPECT_EQ(read_file(run.file("out")), truth.bytes(0, 2));
  const std::vector<Call> taken = truth.calls_named("zel_frame_take_chunk_ex");
  EXPECT_EQ(taken.size(), 10U) << "four with data and one without, a frame";
  for (const Call &call : taken) {
    EXPECT_EQ(call.args.at("flags"), 0x80000000U);
  }
}

// Catches a chunk of size 0 that does not end the frame.
TEST(RawOutput, EmptyChunkEndsTheFrame) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 30, .chunk_sizes = "10;0;20"});
  expect_success(run.run({"--frames=1", "-o", "out"}));
  EXPECT_EQ(read_file(run.file("out")), run.truth().bytes(0, 1).substr(0, 10));
  EXPECT_EQ(run.truth().count("zel_frame_take_chunk_ex"), 2U);
}

// Catches a chunk without data that is written, or that ends the frame.
TEST(RawOutput, ChunkWithoutDataIsPassedOver) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 60, .chunk_sizes = "10;20;30", .null_chunk = 1});
  expect_success(run.run({"--frames=1", "-o", "out"}));
  const std::string bytes = run.truth().bytes(0, 1);
  EXPECT_EQ(read_file(run.file("out")), bytes.substr(0, 10) + bytes.substr(30));
  EXPECT_EQ(run.truth().count("zel_frame_take_chunk_ex"), 4U);
}

// Catches a frame whose data cannot be taken ending the run: the writer sees a chunk of size 0.
TEST(RawOutput, FailingChunkEndsTheFrameOnly) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 30}).frames({.from = 1, .size = 30, .take_fails = true});
  expect_success(run.run({"--frames=3", "-o", "out"}));
  const TruthLog truth = run.truth();
  EXPECT_EQ(read_file(run.file("out")), truth.bytes(0, 1) + truth.bytes(2, 1));
}

// Catches empty and huge frames that are lost or cut.
TEST(RawOutput, FramesOfAnySize) {
  constexpr std::uint64_t kLarge = 12ULL * 1024 * 1024;
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 1});
  run.camera().frames({.from = 1, .size = 0}).frames({.from = 2, .size = kLarge}).frames({.from = 3, .size = 65537});
  expect_success(run.run({"--frames=5", "--quiet", "-o", "out"}));
  const std::string stored = read_file(run.file("out"));
  EXPECT_EQ(stored.size(), 1 + 0 + kLarge + 65537 + 1);
  EXPECT_TRUE(stored == run.truth().bytes());
}

// Catches data written without access to it, or frames that are not drained then.
TEST(RawOutput, WithoutAccessFramesAreDrainedButNotWritten) {
  ClientRun run;
  run.camera().scripted().frames({.count = 0, .size = 100, .chunks = 3});
  expect_success(run.run({"--buffer.access=none", "--frames=2", "-o", "out"}));
  EXPECT_EQ(read_file(run.file("out")), "");
  EXPECT_EQ(run.truth().count("zel_frame_take_chunk_ex"), 8U);

  ClientRun write_only;
  write_only.camera().scripted().frames({.count = 0, .size = 100});
  expect_success(write_only.run({"--buffer.access=write", "--frames=2", "-o", "out"}));
  EXPECT_EQ(read_file(write_only.file("out")), "");

  ClientRun read_write;
  read_write.camera().scripted().frames({.count = 0, .size = 100});
  expect_success(read_write.run({"--buffer.access=read-write", "--frames=2", "-o", "out"}));
  EXPECT_EQ(read_file(read_write.file("out")), read_write.truth().bytes(0, 2));
}

// Catches a full disk that is not told, another text, or a status of 0. The program's name stands in it twice.
TEST(RawOutput, FullDiskEndsTheRun) {
  ClientRun run;
  script_gops(&run, 5);
  const RunResult result = run.run({"--frames=3", "--stats", "--quiet", "-o", "/dev/full"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: zel-client: Failed to write frame: No space left on device\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(run.truth().count("zel_stream_stop"), 1U);
}

// Catches a file that cannot be opened, first or later, and goes unnoticed.
TEST(RawOutput, UnopenableFileEndsTheRun) {
  ClientRun run;
  script_gops(&run, 5);
  const RunResult result = run.run({"--frames=3", "-o", "no-such-folder/out"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to open output file: No such file or directory\n");

  ClientRun later;
  script_gops(&later, 5);
  std::filesystem::create_directory(later.file("x2"));
  const RunResult later_result = later.run({"--frames=5", "--split_nframes=2", "-o", "x%d"});
  EXPECT_EQ(later_result.status, 1);
  EXPECT_EQ(later_result.err, "zel-client: Failed to open output file: Is a directory\n");
  EXPECT_EQ(later.truth().count("zel_stream_get_buffer"), 3U);
}

// Catches a file that cannot be truncated and goes on growing.
TEST(RawOutput, FailingTruncationEndsTheRun) {
  ClientRun run;
  script_gops(&run, 5);
  script_calls(&run, "ftruncate 3 5;");
  const RunResult result = run.run({"--frames=5", "--last", "-o", "out"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to truncate output file: Input/output error\n");
  EXPECT_EQ(run.truth().count("zel_stream_get_buffer"), 3U);
}

// Catches a device that cannot be truncated taken for a file; seeking on it is not examined.
TEST(RawOutput, DevicesCannotKeepTheLastFrame) {
  ClientRun run;
  script_gops(&run, 5);
  const RunResult result = run.run({"--frames=2", "--last"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to truncate output file: Invalid argument\n");
}
