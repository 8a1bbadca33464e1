// zel-frames cut on streams of the software camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "coded_units.h"
#include "harness/frames_run.h"
#include "recording.h"

using testing::ElementsAre;
using testing::Not;

namespace {

class FramesCut : public testing::Test {
 protected:
  /// Records 24 frames to "cap", a key frame every 8, or to a Matroska file.
  void record(const std::string &format = "h264", const std::string &mkv = "") {
    run.camera().set("start_us", "1000001");
    std::vector<std::string> arguments = {"--quiet", "--gop_length=8", "--frames=24", "--format=" + format};
    const std::vector<std::string> raw = {"--meta", "--output=cap"};
    if (mkv.empty()) arguments.insert(arguments.end(), raw.begin(), raw.end());
    if (!mkv.empty()) arguments.push_back("--mkv=" + mkv);
    arguments.insert(arguments.end(), {"320", "240"});
    const RunResult result = run.run(arguments);
    ASSERT_EQ(result.status, 0) << result.err;
  }

  RunResult cut(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "cut");
    return run_frames(arguments, run.folder());
  }

  void expect_refusal(const std::vector<std::string> &arguments, const std::string &message) {
    const std::vector<std::string> before = run.files();
    const RunResult result = cut(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "zel-frames: " + message + "\n");
    EXPECT_EQ(run.files(), before);
  }

  /// Holds "out" against the capture's frames from `first` to `last`.
  void expect_frames(std::size_t first, std::size_t last) {
    const std::size_t count = last - first + 1;
    EXPECT_EQ(read_file(run.file("out")), run.truth().bytes(first, count));
    const std::vector<SidecarRecord> all = expected_records(run.truth());
    const std::vector<SidecarRecord> wanted(all.begin() + static_cast<std::ptrdiff_t>(first),
                                            all.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    const std::string sidecar = read_file(run.file("out.meta"));
    EXPECT_EQ(sidecar_records(sidecar), wanted);
    EXPECT_EQ(sidecar_count(sidecar), count);
  }

  ClientRun run;
};

struct CutCodec {
  const char *name;      ///< of --format
  std::uint32_t number;  ///< the library's
};

class FramesCutMatroska : public FramesCut, public testing::WithParamInterface<CutCodec> {};

}  // namespace

// Catches bytes, times, types or a count that are not the capture's, and ends that are left out.
TEST_F(FramesCut, CopiesFramesAndRecords) {
  ASSERT_NO_FATAL_FAILURE(record());
  const RunResult result = cut({"--from=8", "--to=15", "-o", "out", "cap", "--json"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            R"({"from":8,"to":15,"frames":8,"bytes":)" + std::to_string(run.truth().bytes(8, 8).size()) + "}\n");
  expect_frames(8, 15);
}

// Catches a start that cannot be decoded, and one that moves without a word.
TEST_F(FramesCut, MovesTheStartToItsKeyFrame) {
  ASSERT_NO_FATAL_FAILURE(record());
  const RunResult result = cut({"--from=13", "--to=15", "-o", "out", "cap"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "zel-frames: out: begins with frame 8, the key frame before frame 13\n");
  EXPECT_EQ(result.out,
            "out: frames 8 to 15: 8 frames, " + std::to_string(run.truth().bytes(8, 8).size()) + " bytes\n");
  expect_frames(8, 15);
}

TEST_F(FramesCut, ExactlyOrNotAtAll) {
  ASSERT_NO_FATAL_FAILURE(record());
  expect_refusal({"--exact", "--from=13", "--to=15", "-o", "out", "cap"},
                 "cap: frame 13: is no key frame, the one before is frame 8");
  EXPECT_EQ(cut({"--exact", "--from=16", "--to=16", "-o", "out", "cap"}).status, 0);
  expect_frames(16, 16);
}

// Catches times that are rounded the wrong way: the frame that is shown then is the one that begins at or before it.
TEST_F(FramesCut, TakesTimes) {
  ASSERT_NO_FATAL_FAILURE(record());
  const std::vector<FrameTruth> frames = run.truth().frames();
  const std::string before = std::to_string(frames[17].timestamp - frames[0].timestamp - 1) + "us";
  EXPECT_EQ(cut({"--from=0.3s", "--to=" + before, "-o", "out", "cap"}).status, 0);
  expect_frames(8, 16);
  EXPECT_EQ(cut({"--force", "--from=600ms", "--to=1000s", "-o", "out", "cap"}).status, 0);
  expect_frames(16, 23);
}

TEST_F(FramesCut, EndsOutsideTheCapture) {
  ASSERT_NO_FATAL_FAILURE(record());
  expect_refusal({"--from=0", "--to=24", "-o", "out", "cap"}, "cap: frame 24: the last frame is 23");
  expect_refusal({"--from=9", "--to=7", "-o", "out", "cap"}, "cap: --from is frame 9, which is behind --to, frame 7");
}

// Catches a file of the capture that is overwritten while it is read.
TEST_F(FramesCut, NeverWritesInPlace) {
  ASSERT_NO_FATAL_FAILURE(record());
  expect_refusal({"--force", "--from=0", "--to=7", "-o", "cap", "cap"},
                 "cap: is a file of the capture, which is never written");
  expect_refusal({"--from=0", "--to=7", "-o", "cap.meta", "cap"},
                 "cap.meta: is a file of the capture, which is never written");
  write_file(run.file("out.meta"), "mine");
  expect_refusal({"--from=0", "--to=7", "-o", "out", "cap"}, "out.meta: exists: --force writes over it");
}

// Catches times of the container instead of the cues', types that are made up, and start codes that are missing.
TEST_P(FramesCutMatroska, ToARawStream) {
  const auto [format, number] = GetParam();
  ASSERT_NO_FATAL_FAILURE(record(format, "in.mkv"));
  const RunResult result = cut({"--from=8", "--to=20", "-o", "out", "in.mkv"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::string bytes = read_file(run.file("out"));
  EXPECT_TRUE(coded_units(number, bytes) == coded_units(number, run.truth().bytes(8, 13)));
  const std::string sidecar = read_file(run.file("out.meta"));
  EXPECT_EQ(sidecar_count(sidecar), 13u);
  std::size_t sum = 0;
  const std::vector<SidecarRecord> records = sidecar_records(sidecar);
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].type, 0u);
    EXPECT_EQ(records[i].timestamp, run.truth().frames()[8 + i].timestamp);
    EXPECT_EQ(records[i].header_size > 0, run.truth().frames()[8 + i].key) << i;
    sum += records[i].size;
  }
  EXPECT_EQ(sum, bytes.size());
}

INSTANTIATE_TEST_SUITE_P(Codecs, FramesCutMatroska,
                         testing::Values(CutCodec{"h264", 0}, CutCodec{"h265", 1}, CutCodec{"av1", 10}),
                         [](const auto &codec) { return std::string(codec.param.name); });

TEST_F(FramesCut, ToContainers) {
  ASSERT_NO_FATAL_FAILURE(record("h265"));
  ASSERT_EQ(cut({"--from=8", "--to=15", "-o", "out.mp4", "cap"}).status, 0);
  ASSERT_EQ(cut({"--from=8", "--to=15", "-o", "out.mkv", "cap"}).status, 0);
  const VideoTrack track = probe_video(run.file("out.mp4"));
  const std::vector<FrameTruth> frames = run.truth().frames();
  ASSERT_EQ(track.packets.size(), 8u);
  for (std::size_t i = 0; i < 8; ++i)
    EXPECT_EQ(track.packets[i].pts, static_cast<std::int64_t>(frames[8 + i].timestamp - frames[8].timestamp));
  const std::vector<std::string> all = picture_sums({"-i", run.file("cap").string()});
  ASSERT_EQ(all.size(), 24u);
  const std::vector<std::string> wanted(all.begin() + 8, all.begin() + 16);
  EXPECT_EQ(picture_sums({"-i", run.file("out.mp4").string()}), wanted);
  EXPECT_EQ(picture_sums({"-i", run.file("out.mkv").string()}), wanted);
  EXPECT_EQ(cue_texts(run.file("out.mkv")).front(), cue_time(frames[8].timestamp));
}

// Catches a name like a capture's times that are not there.
TEST_F(FramesCut, NeedsTimes) {
  ASSERT_NO_FATAL_FAILURE(record());
  std::filesystem::rename(run.file("cap"), run.file("bare"));
  expect_refusal({"--from=0", "--to=7", "-o", "out", "bare"}, "bare: its frames have no times: --fps gives them some");
  ASSERT_EQ(cut({"--from=0", "--to=7", "-o", "out", "bare", "--fps=25"}).status, 0);
  EXPECT_EQ(sidecar_records(read_file(run.file("out.meta"))).back().timestamp, 280'000u);
}
