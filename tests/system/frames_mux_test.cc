// zel-frames mux on streams of the software camera: packets as ffprobe sees them, pictures as ffmpeg decodes them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "harness/frames_run.h"
#include "recording.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

struct MuxedCodec {
  const char *name;  ///< of --format
  const char *probed;
  const char *tag;  ///< in MP4
};

class FramesMux : public testing::TestWithParam<MuxedCodec> {
 protected:
  /// Records 20 frames to "cap" with a lost frame, a clock step and a start that is no whole millisecond.
  void record(const char *format) {
    run.camera().set("start_us", "3723000001");
    run.camera().frames({.from = 5, .drop = true}).frames({.from = 9, .clock_step_us = 12'345});
    const RunResult result = run.run({"--meta", "--output=cap", "--quiet", "--gop_length=8", "--frames=20",
                                      std::string("--format=") + format, "320", "240"});
    ASSERT_EQ(result.status, 0) << result.err;
  }

  RunResult mux(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "mux");
    return run_frames(arguments, run.folder());
  }

  ClientRun run;
};

/// Packets from 0 on with the frames' own times.
std::vector<VideoPacket> expected_packets(const std::vector<FrameTruth> &frames, std::int64_t last) {
  std::vector<VideoPacket> packets;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto time = static_cast<std::int64_t>(frames[i].timestamp - frames[0].timestamp);
    const auto next =
        i + 1 < frames.size() ? static_cast<std::int64_t>(frames[i + 1].timestamp - frames[0].timestamp) : time + last;
    packets.push_back({.pts = time, .dts = time, .duration = next - time, .key = frames[i].key});
  }
  return packets;
}

class FramesMuxRefusal : public testing::Test {
 protected:
  /// Makes up a stream of H.264 in which each frame is one small unit, at the given times.
  void record(const std::vector<std::uint64_t> &times, const char *format = "h264") {
    run.camera().scripted();
    for (std::size_t i = 0; i < times.size(); ++i)
      run.camera().frames({.from = static_cast<std::uint32_t>(i), .timestamp_us = times[i]});
    run.camera().frames({.count = 0, .size = 100});
    const RunResult result = run.run({"--meta", "--output=cap", "--quiet", "--frames=" + std::to_string(times.size()),
                                      std::string("--format=") + format, "320", "240"});
    ASSERT_EQ(result.status, 0) << result.err;
  }

  void expect_refusal(std::vector<std::string> arguments, const std::string &message) {
    arguments.insert(arguments.begin(), "mux");
    const std::vector<std::string> before = run.files();
    const RunResult result = run_frames(arguments, run.folder());
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "zel-frames: " + message + "\n");
    EXPECT_EQ(run.files(), before);
  }

  ClientRun run;
};

}  // namespace

// Catches times, durations or key flags that are not the capture's, another time scale, and edit lists.
TEST_P(FramesMux, Mp4HoldsEveryMicrosecond) {
  ASSERT_NO_FATAL_FAILURE(record(GetParam().name));
  const RunResult result = mux({"-o", "out.mp4", "cap", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const std::string file = read_file(run.file("out.mp4"));
  EXPECT_EQ(result.out, R"({"file":"out.mp4","frames":20,"bytes":)" + std::to_string(file.size()) + "}\n");

  const VideoTrack track = probe_video(run.file("out.mp4"));
  EXPECT_EQ(track.codec, GetParam().probed);
  EXPECT_EQ(track.tag, GetParam().tag);
  EXPECT_EQ(track.time_base, "1/1000000");
  EXPECT_EQ(track.width, 320);
  EXPECT_EQ(track.height, 240);
  EXPECT_EQ(track.packets, expected_packets(run.truth().frames(), 33'333));
  EXPECT_THAT(file, Not(HasSubstr("elst")));
  const std::size_t header = file.find("mvhd");
  ASSERT_NE(header, std::string::npos);
  EXPECT_EQ(file.substr(header + 16, 4), std::string("\x00\x0F\x42\x40", 4));  // 1 000 000 a second
}

// Catches pictures that are lost or changed, and parameter sets with which a player cannot begin.
TEST_P(FramesMux, Mp4HasThePicturesOfTheStream) {
  ASSERT_NO_FATAL_FAILURE(record(GetParam().name));
  ASSERT_EQ(mux({"-o", "out.mp4", "cap"}).status, 0);
  const std::vector<std::string> pictures = picture_sums({"-i", run.file("out.mp4").string()});
  EXPECT_EQ(pictures.size(), 20u);
  EXPECT_EQ(pictures, picture_sums({"-i", run.file("cap").string()}));
}

// Catches a Matroska file that differs from the client's in tracks, times, durations, key flags or cues.
TEST_P(FramesMux, MatroskaIsAsTheClientMakesIt) {
  ASSERT_NO_FATAL_FAILURE(record(GetParam().name));
  const RunResult result = mux({"-o", "out.mkv", "cap"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "out.mkv: 20 frames, " + std::to_string(read_file(run.file("out.mkv")).size()) + " bytes\n");
  const StoredFile stored = probe(run.file("out.mkv"));
  const std::vector<FrameTruth> frames = run.truth().frames();
  EXPECT_EQ(stored.codec, GetParam().probed);
  ASSERT_EQ(stored.video.size(), frames.size());
  ASSERT_EQ(stored.cues.size(), frames.size());
  std::vector<std::string> times;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(stored.video[i].pts, milliseconds(frames[i].timestamp));
    EXPECT_EQ(stored.video[i].key, frames[i].key) << i;
    EXPECT_EQ(stored.cues[i].pts, milliseconds(frames[i].timestamp));
    EXPECT_EQ(stored.cues[i].duration, 33);
    times.push_back(cue_time(frames[i].timestamp));
  }
  EXPECT_EQ(cue_texts(run.file("out.mkv")), times);
  EXPECT_EQ(picture_sums({"-i", run.file("out.mkv").string()}), picture_sums({"-i", run.file("cap").string()}));
}

// Catches a Matroska recording whose µs are lost on the way to MP4.
TEST_P(FramesMux, Mp4OfAMatroskaRecording) {
  ASSERT_NO_FATAL_FAILURE(record(GetParam().name));
  ASSERT_EQ(mux({"-o", "out.mkv", "cap"}).status, 0);
  const RunResult result = mux({"-o", "out.mp4", "out.mkv"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(probe_video(run.file("out.mp4")).packets, expected_packets(run.truth().frames(), 33'333));
  EXPECT_EQ(picture_sums({"-i", run.file("out.mp4").string()}), picture_sums({"-i", run.file("cap").string()}));
}

INSTANTIATE_TEST_SUITE_P(Codecs, FramesMux,
                         testing::Values(MuxedCodec{"h264", "h264", "avc1"}, MuxedCodec{"h265", "hevc", "hvc1"},
                                         MuxedCodec{"jpeg", "mjpeg", "mp4v"}, MuxedCodec{"av1", "av1", "av01"}),
                         [](const auto &codec) { return std::string(codec.param.name); });

// Catches times that a container would bend, and files left behind.
TEST_F(FramesMuxRefusal, TimesThatGoBack) {
  ASSERT_NO_FATAL_FAILURE(record({100, 200, 150}));
  expect_refusal({"-o", "out.mp4", "cap", "--format=h264"}, "cap: frame 2: its time goes back, which MP4 cannot hold");
  expect_refusal({"-o", "out.mkv", "cap", "--format=h264"},
                 "cap: frame 2: its time goes back, which Matroska cannot hold");
}

TEST_F(FramesMuxRefusal, RepeatedTimesInMp4) {
  ASSERT_NO_FATAL_FAILURE(record({100, 100}));
  expect_refusal({"-o", "out.mp4", "cap", "--format=h264"},
                 "cap: frame 1: its time is that of the frame before, which MP4 cannot hold");
}

// Catches the limit of 2^31 - 1 us being off by one.
TEST_F(FramesMuxRefusal, GapsBeyondMp4sDurations) {
  ASSERT_NO_FATAL_FAILURE(record({0, 2'147'483'648}));
  expect_refusal({"-o", "out.mp4", "cap", "--format=h264"},
                 "cap: frame 1: it comes after 2147483648 us, which MP4 cannot hold");
}

// Catches times that the muxer bends because it takes the longest distance for an error.
TEST_F(FramesMuxRefusal, NotOfTheLongestGap) {
  const std::vector<std::int64_t> times = {0, 2'147'483'647, 4'294'967'294, 4'295'000'627, 6'442'484'273};
  for (std::size_t i = 0; i < times.size(); ++i)
    run.camera().frames({.from = static_cast<std::uint32_t>(i), .timestamp_us = static_cast<std::uint64_t>(times[i])});
  ASSERT_EQ(run.run({"--meta", "--output=cap", "--quiet", "--frames=5", "320", "240"}).status, 0);
  const RunResult muxed = run_frames({"mux", "-o", "out.mp4", "cap"}, run.folder());
  ASSERT_EQ(muxed.status, 0) << muxed.err;
  std::vector<std::int64_t> shown;
  for (const VideoPacket &packet : probe_video(run.file("out.mp4")).packets)
    shown.push_back(packet.pts);
  EXPECT_EQ(shown, times);
}

// Catches frames that are counted as written and that no reader of the file finds.
TEST_F(FramesMuxRefusal, FramesWithoutBytes) {
  run.camera().frames({.from = 2, .size = 0});
  const RunResult recorded = run.run({"--meta", "--output=cap", "--quiet", "--frames=4", "320", "240"});
  ASSERT_EQ(recorded.status, 0) << recorded.err;
  expect_refusal({"-o", "out.mp4", "cap"}, "cap: frame 2: it has no bytes, which MP4 cannot hold");
  expect_refusal({"-o", "out.mkv", "cap"}, "cap: frame 2: it has no bytes, which Matroska cannot hold");
}

TEST_F(FramesMuxRefusal, UncompressedFrames) {
  ASSERT_NO_FATAL_FAILURE(record({0, 1000}, "h264"));
  expect_refusal({"-o", "out.mp4", "cap", "--format=nv12"},
                 "cap: frame 0: it is uncompressed (nv12), which MP4 cannot hold");
}

TEST_F(FramesMuxRefusal, FramesThatAreNotThere) {
  ASSERT_NO_FATAL_FAILURE(record({0, 1000}));
  expect_refusal({"-o", "out.mp4", "cap.meta"}, "cap.meta: tells of frames but does not hold them");
}

TEST_F(FramesMuxRefusal, OtherNames) {
  ASSERT_NO_FATAL_FAILURE(record({0, 1000}));
  expect_refusal({"-o", "out.avi", "cap"}, "out.avi: is neither a .mkv nor a .mp4");
}

// Catches the end of a name in large letters that is not seen.
TEST_F(FramesMuxRefusal, NotOfLargeLetters) {
  ASSERT_EQ(run.run({"--meta", "--output=cap", "--quiet", "--frames=3", "320", "240"}).status, 0);
  ASSERT_EQ(run_frames({"mux", "-o", "OUT.MP4", "cap"}, run.folder()).status, 0);
  ASSERT_EQ(run_frames({"cut", "--from=0", "--to=2", "-o", "OUT.MKV", "cap"}, run.folder()).status, 0);
  EXPECT_EQ(probe_video(run.file("OUT.MP4")).packets.size(), 3u);
  EXPECT_EQ(probe(run.file("OUT.MKV")).video.size(), 3u);
}

// Catches reordered pictures whose times would be lost.
TEST_F(FramesMuxRefusal, ReorderedPictures) {
  const RunResult made = run_tool({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=64x64:d=1", "-c:v",
                                   "libx264", "-bf", "2", "-preset", "veryfast", run.file("in.mp4").string()});
  ASSERT_EQ(made.status, 0) << made.err;
  const RunResult result = run_frames({"mux", "-o", "out.mp4", "in.mp4"}, run.folder());
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, testing::MatchesRegex("zel-frames: in.mp4: frame [0-9]+: its time goes back, which MP4 "
                                                "cannot hold\n"));
  EXPECT_THAT(run.files(), ElementsAre("in.mp4"));
}

// Catches a full disk that goes unnoticed.
TEST_F(FramesMuxRefusal, FullDisk) {
  run.camera().frames({.count = 0});
  ASSERT_EQ(run.run({"--meta", "--output=cap", "--quiet", "--frames=20", "--format=jpeg", "320", "240"}).status, 0);
  std::filesystem::create_symlink("/dev/full", run.file("full.mp4"));
  std::filesystem::create_symlink("/dev/full", run.file("full.mkv"));
  expect_refusal({"-o", "full.mp4", "cap"}, "full.mp4: No space left on device");
  expect_refusal({"-o", "full.mkv", "cap"}, "full.mkv: No space left on device");
}
