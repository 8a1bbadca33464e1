// zel-frames repair on recordings that were cut off, and on those of a client that was killed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <random>

#include "coded_units.h"
#include "harness/frames_run.h"
#include "harness/matroska.h"
#include "recording.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr std::size_t kRecordBytes = 24;

class FramesRepair : public testing::Test {
 protected:
  void record(std::vector<std::string> arguments) {
    run.camera().set("start_us", "1000001");
    arguments.insert(arguments.end(), {"--quiet", "--gop_length=8", "--frames=24", "--format=h264", "320", "240"});
    const RunResult result = run.run(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
  }

  void cut_off(const std::string &name, std::size_t bytes) const {
    std::filesystem::resize_file(run.file(name), std::filesystem::file_size(run.file(name)) - bytes);
  }

  RunResult repair(const std::string &output, const std::string &capture, bool json = false) {
    std::vector<std::string> arguments = {"repair", "-o", output, capture};
    if (json) arguments.emplace_back("--json");
    return run_frames(arguments, run.folder());
  }

  void expect_refusal(const std::string &output, const std::string &capture, const std::string &message) {
    const std::vector<std::string> before = run.files();
    const RunResult result = repair(output, capture);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "zel-frames: " + message + "\n");
    EXPECT_EQ(run.files(), before);
  }

  /// Holds "out" against the first `count` frames of the camera's account.
  void expect_first(std::size_t count) {
    EXPECT_TRUE(read_file(run.file("out")) == run.truth().bytes(0, count));
    const std::vector<SidecarRecord> all = expected_records(run.truth());
    const std::string sidecar = read_file(run.file("out.meta"));
    const std::vector<SidecarRecord> wanted(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
    EXPECT_EQ(sidecar_records(sidecar), wanted);
    EXPECT_EQ(sidecar_count(sidecar), count);
  }

  /// Holds a repaired Matroska file against what is readable in the broken one and against the camera's account.
  void expect_all_readable(const std::string &broken, const std::string &repaired) {
    const MatroskaContents before = read_matroska(run.file(broken));
    const MatroskaContents after = read_matroska(run.file(repaired));
    ASSERT_EQ(after.frames.size(), before.frames.size());
    EXPECT_TRUE(after.frames == before.frames);
    ASSERT_GE(after.cues.size(), before.cues.size());
    const std::vector<FrameTruth> frames = run.truth().frames();
    for (std::size_t i = 0; i < before.cues.size(); ++i)
      EXPECT_EQ(after.cues[i], cue_time(frames[i].timestamp)) << i;
    EXPECT_NE(probe(run.file(repaired)).duration, "");
  }

  ClientRun run;
};

}  // namespace

TEST_F(FramesRepair, LeavesAWholeCaptureAsItIs) {
  ASSERT_NO_FATAL_FAILURE(record({"--meta", "--output=cap"}));
  const RunResult result = repair("out", "cap");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "out: 24 frames\n");
  EXPECT_TRUE(read_file(run.file("out")) == read_file(run.file("cap")));
  EXPECT_TRUE(read_file(run.file("out.meta")) == read_file(run.file("cap.meta")));
}

// Catches a frame that is kept though its bytes are cut off, and a count of what is lost that is wrong.
TEST_F(FramesRepair, StreamThatIsCutOff) {
  ASSERT_NO_FATAL_FAILURE(record({"--meta", "--output=cap"}));
  const std::size_t last = run.truth().bytes(23, 1).size();
  cut_off("cap", last + 1);
  const std::size_t left = run.truth().bytes(22, 1).size() - 1;
  EXPECT_EQ(repair("out", "cap", true).out,
            R"({"frames":22,"dropped_frames":2,"dropped_bytes":)" + std::to_string(left) + "}\n");
  expect_first(22);
  const RunResult again = run_frames({"repair", "--force", "-o", "out", "cap"}, run.folder());
  EXPECT_EQ(again.out, "out: 22 frames\n2 records dropped: the stream ends before their frames do\n" +
                           std::to_string(left) +
                           " bytes of the stream dropped: they are of frames that were dropped\n");
}

// Catches bytes that no record tells of being kept.
TEST_F(FramesRepair, SidecarThatIsCutOff) {
  ASSERT_NO_FATAL_FAILURE(record({"--meta", "--output=cap"}));
  cut_off("cap.meta", 4 + kRecordBytes + 10);
  const std::size_t left = run.truth().bytes(22, 2).size();
  const RunResult result = repair("out", "cap");
  EXPECT_EQ(result.out, "out: 22 frames\n" + std::to_string(left) +
                            " bytes of the stream dropped: no whole record tells of them\n");
  expect_first(22);
}

TEST_F(FramesRepair, PartsBecomeOneFile) {
  ASSERT_NO_FATAL_FAILURE(record({"--meta", "--output=part%03d", "--split_nframes=7"}));
  EXPECT_EQ(repair("out", "part%03d", true).out, "{\"frames\":24,\"dropped_frames\":0,\"dropped_bytes\":0}\n");
  expect_first(24);
}

TEST_F(FramesRepair, NothingIsAWholeCaptureToo) {
  write_file(run.file("cap"), "");
  write_file(run.file("cap.meta"), std::string(4, '\0'));
  EXPECT_EQ(repair("out", "cap", true).out, "{\"frames\":0,\"dropped_frames\":0,\"dropped_bytes\":0}\n");
  EXPECT_EQ(read_file(run.file("out")), "");
  EXPECT_EQ(read_file(run.file("out.meta")), std::string(4, '\0'));
  EXPECT_EQ(run_frames({"check", "--decode", "cap"}, run.folder()).out, "cap: 0 frames, no faults, no notes\n");
}

// Catches whole frames of a cut Matroska file that are lost, and times that are the container's milliseconds.
TEST_F(FramesRepair, MatroskaThatIsCutOff) {
  ASSERT_NO_FATAL_FAILURE(record({"--mkv=cap.mkv"}));
  const std::string whole = read_file(run.file("cap.mkv"));
  std::mt19937 chance(1);
  std::uniform_int_distribution<std::size_t> place(whole.size() / 3, whole.size());
  for (int i = 0; i < 12; ++i) {
    write_file(run.file("broken.mkv"), whole.substr(0, place(chance)));
    const RunResult result = run_frames({"repair", "--force", "-o", "out.mkv", "broken.mkv"}, run.folder());
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_NO_FATAL_FAILURE(expect_all_readable("broken.mkv", "out.mkv"));
  }
}

TEST_F(FramesRepair, MatroskaSaysWhatWasDropped) {
  ASSERT_NO_FATAL_FAILURE(record({"--mkv=cap.mkv"}));
  EXPECT_EQ(repair("out.mkv", "cap.mkv", true).out, "{\"frames\":24,\"dropped_frames\":0,\"dropped_bytes\":0}\n");
  // Behind the last cue, which is the text of its time, there is the index: cut off within the last frame's cue.
  const std::string whole = read_file(run.file("cap.mkv"));
  const std::string cue = cue_time(run.truth().frames().back().timestamp);
  const std::size_t at = whole.find(cue);
  ASSERT_NE(at, std::string::npos);
  write_file(run.file("broken.mkv"), whole.substr(0, at + 5));
  const RunResult result = repair("cut.mkv", "broken.mkv");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out,
              testing::MatchesRegex("cut.mkv: 24 frames\n[0-9]+ bytes at the end dropped: they are no whole "
                                    "frame with its time\n1 frame without a cue: times in whole "
                                    "milliseconds\n"));
  EXPECT_THAT(run_frames({"repair", "--force", "--json", "-o", "cut.mkv", "broken.mkv"}, run.folder()).out,
              HasSubstr("{\"frames\":24,\"dropped_frames\":0,"));
}

TEST_F(FramesRepair, KeepsTheKindOfFile) {
  ASSERT_NO_FATAL_FAILURE(record({"--meta", "--output=cap"}));
  expect_refusal("out.mkv", "cap",
                 "out.mkv: a raw stream is repaired to one with its sidecar: mux then makes a playable file");
  expect_refusal("out", "cap.meta", "cap.meta: tells of frames but does not hold them");
  ASSERT_EQ(run_frames({"mux", "-o", "in.mkv", "cap"}, run.folder()).status, 0);
  expect_refusal("out", "in.mkv", "out: a Matroska file is repaired to a .mkv");
  ASSERT_EQ(run_frames({"mux", "-o", "in.mp4", "cap"}, run.folder()).status, 0);
  expect_refusal("out.mkv", "in.mp4", "in.mp4: is neither a raw stream nor a Matroska file");
}

namespace {

class FramesRepairKilled : public FramesRepair, public testing::WithParamInterface<int> {
 protected:
  /// Lets the client run until the sidecar has some records, by chance up to 200, then kills it.
  void record_and_kill(std::vector<std::string> arguments) {
    run.camera().set("producer", "cached").set("pacing", "virtual");
    std::mt19937 chance(static_cast<unsigned>(GetParam()));
    const std::size_t records = std::uniform_int_distribution<std::size_t>(20, 200)(chance);
    arguments.insert(arguments.end(), {"--meta", "--output=cap", "--quiet", "--gop_length=10", "640", "480"});
    run.start(arguments);
    ASSERT_TRUE(run.process().wait_until([this, records] {
      std::error_code absent;
      const auto size = std::filesystem::file_size(run.file("cap.meta"), absent);
      return !absent && size >= records * kRecordBytes;
    }));
    run.process().send_signal(SIGKILL);
    EXPECT_EQ(run.wait().signal, SIGKILL);
  }
};

}  // namespace

// Catches a frame that was whole on both sides and is lost, and a repaired capture that is not good.
TEST_P(FramesRepairKilled, RawStream) {
  ASSERT_NO_FATAL_FAILURE(record_and_kill({}));
  const std::size_t bytes = read_file(run.file("cap")).size();
  const std::size_t records = read_file(run.file("cap.meta")).size() / kRecordBytes;
  std::size_t whole = 0;
  std::size_t sum = 0;
  for (const FrameTruth &frame : run.truth().frames()) {
    if (whole == records || sum + frame.size > bytes) break;
    sum += frame.size;
    ++whole;
  }
  const RunResult result = repair("out", "cap", true);
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "{\"frames\":" + std::to_string(whole) +
                            ",\"dropped_frames\":" + std::to_string(records - whole) +
                            ",\"dropped_bytes\":" + std::to_string(bytes - sum) + "}\n");
  expect_first(whole);
  const RunResult checked = run_frames({"check", "--decode", "out"}, run.folder());
  EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
}

TEST_P(FramesRepairKilled, Matroska) {
  ASSERT_NO_FATAL_FAILURE(record_and_kill({"--mkv=cap.mkv"}));
  const RunResult result = repair("out.mkv", "cap.mkv");
  ASSERT_EQ(result.status, 0) << result.err;
  expect_all_readable("cap.mkv", "out.mkv");
  const RunResult checked = run_frames({"check", "--decode", "out.mkv"}, run.folder());
  EXPECT_EQ(checked.status, 0) << checked.out << checked.err;
}

INSTANTIATE_TEST_SUITE_P(Moments, FramesRepairKilled, testing::Range(0, 5));
