// zel-frames frame: pictures bit by bit as ffmpeg decodes and converts them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "harness/frames_run.h"
#include "recording.h"

using testing::ElementsAre;

namespace {

struct PictureSource {
  const char *format;
  const char *option;                  ///< ffmpeg's demuxer
  std::vector<std::string> more = {};  ///< ffmpeg's further arguments
};

/// Whether the pixels are ffmpeg's. An emulated program converts as another processor does, and rounds otherwise.
bool is_ffmpegs(const std::string &pixels, const std::string &ffmpegs) {
  if (!client_is_emulated() || pixels.size() != ffmpegs.size()) return pixels == ffmpegs;
  constexpr int kMostRounding = 4;
  return std::ranges::equal(pixels, ffmpegs, [](char one, char other) {
    return std::abs(static_cast<unsigned char>(one) - static_cast<unsigned char>(other)) <= kMostRounding;
  });
}

class FramesPicture : public testing::TestWithParam<PictureSource> {
 protected:
  void record() {
    const RunResult result = run.run({"--meta", "--output=cap", "--quiet", "--gop_length=8", "--frames=12",
                                      std::string("--format=") + GetParam().format, "322", "242"});
    ASSERT_EQ(result.status, 0) << result.err;
  }

  std::vector<std::string> input() const {
    std::vector<std::string> arguments = {"-f", GetParam().option};
    arguments.insert(arguments.end(), GetParam().more.begin(), GetParam().more.end());
    arguments.insert(arguments.end(), {"-i", run.file("cap").string()});
    return arguments;
  }

  /// zel-frames frame on the capture, which uncompressed frames need to be told about.
  RunResult frame(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "frame");
    if (!GetParam().more.empty()) {
      arguments.insert(arguments.end(), {std::string("--format=") + GetParam().format, "--size=322x242"});
    }
    return run_frames(arguments, run.folder());
  }

  ClientRun run;
};

}  // namespace

// Catches a wrong picture, and colours or rounding that differ from ffmpeg's.
TEST_P(FramesPicture, IsFfmpegs) {
  ASSERT_NO_FATAL_FAILURE(record());
  for (const int number : {0, 7, 11}) {
    const std::string name = std::to_string(number);
    const RunResult result = frame({name, "cap", "-o", name + ".png", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string bytes = read_file(run.file(name + ".png"));
    EXPECT_EQ(result.out, "{\"file\":\"" + name + ".png\",\"frame\":" + name +
                              ",\"bytes\":" + std::to_string(bytes.size()) + "}\n");
    std::vector<std::string> convert = {"ffmpeg", "-v", "error"};
    const std::vector<std::string> source = input();
    convert.insert(convert.end(), source.begin(), source.end());
    convert.insert(convert.end(), {"-vf", "select=eq(n\\," + name + ")", "-frames:v", "1",
                                   run.file("ffmpeg" + name + ".png").string()});
    ASSERT_EQ(run_tool(convert).status, 0);
    const std::string wanted = pixels_of({"-i", run.file("ffmpeg" + name + ".png").string()});
    EXPECT_FALSE(wanted.empty());
    EXPECT_TRUE(is_ffmpegs(pixels_of({"-i", run.file(name + ".png").string()}), wanted)) << number;
  }
}

// Catches a picture in a pipe that differs from that in a file.
TEST_P(FramesPicture, GoesToAPipe) {
  ASSERT_NO_FATAL_FAILURE(record());
  const RunResult piped = frame({"5", "cap", "-o", "-"});
  EXPECT_EQ(piped.status, 0);
  EXPECT_EQ(piped.err, "");
  ASSERT_EQ(frame({"5", "cap", "-o", "5.png"}).status, 0);
  EXPECT_TRUE(piped.out == read_file(run.file("5.png")));
}

TEST_P(FramesPicture, OrItsOwnBytes) {
  ASSERT_NO_FATAL_FAILURE(record());
  const RunResult result = frame({"5", "cap", "-o", "5.bin"});
  const std::string bytes = run.truth().bytes(5, 1);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "5.bin: frame 5, " + std::to_string(bytes.size()) + " bytes\n");
  EXPECT_TRUE(read_file(run.file("5.bin")) == bytes);
}

TEST_P(FramesPicture, OnlyJpegStreamsHoldJpegFiles) {
  ASSERT_NO_FATAL_FAILURE(record());
  const std::string format = GetParam().format;
  const RunResult result = frame({"5", "cap", "-o", "5.jpg"});
  if (format == "jpeg") {
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(read_file(run.file("5.jpg")) == run.truth().bytes(5, 1));
  } else {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "zel-frames: cap: frame 5: is " + format +
                              ", only a JPEG stream's frames are JPEG files: .png makes a picture of any\n");
    EXPECT_THAT(run.files(), ElementsAre("cap", "cap.meta"));
  }
}

INSTANTIATE_TEST_SUITE_P(Codecs, FramesPicture,
                         testing::Values(PictureSource{"h264", "h264"}, PictureSource{"h265", "hevc"},
                                         PictureSource{"jpeg", "mjpeg"}, PictureSource{"av1", "obu"},
                                         PictureSource{"nv12", "rawvideo", {"-pix_fmt", "nv12", "-s", "322x242"}},
                                         PictureSource{"i420", "rawvideo", {"-pix_fmt", "yuv420p", "-s", "322x242"}},
                                         PictureSource{"gray", "rawvideo", {"-pix_fmt", "gray", "-s", "322x242"}},
                                         PictureSource{"rgb", "rawvideo", {"-pix_fmt", "rgb24", "-s", "322x242"}}),
                         [](const auto &source) { return std::string(source.param.format); });

namespace {

class FramesOfVideos : public testing::Test {
 protected:
  void make(const std::string &name, std::vector<std::string> options) {
    options.insert(options.begin(), {"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=160x120:d=1:r=12"});
    options.push_back(run.file(name).string());
    const RunResult made = run_tool(options);
    ASSERT_EQ(made.status, 0) << made.err;
  }

  /// Holds frame `number` in file order against ffmpeg's picture number `shown`.
  void expect_picture(const std::string &name, std::size_t number, int shown) {
    const std::string png = std::to_string(number) + ".png";
    const RunResult result = run_frames({"frame", std::to_string(number), name, "-o", png}, run.folder());
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(is_ffmpegs(pixels_of({"-i", run.file(png).string()}, "rgb24"),
                           pixels_of({"-i", run.file(name).string()}, "rgb24", shown)))
        << number;
  }

  ClientRun run;
};

}  // namespace

// Catches the picture that is shown at a frame's place being taken for the one that is coded there.
TEST_F(FramesOfVideos, AreNumberedAsTheyLieInTheFile) {
  ASSERT_NO_FATAL_FAILURE(make("b.mp4", {"-c:v", "libx264", "-preset", "veryfast", "-bf", "3", "-g", "6"}));
  const std::vector<VideoPacket> packets = probe_video(run.file("b.mp4")).packets;
  ASSERT_EQ(packets.size(), 12u);
  bool is_reordered = false;
  for (std::size_t i = 0; i < packets.size(); ++i) {
    int shown = 0;
    for (const VideoPacket &other : packets)
      if (other.pts < packets[i].pts) ++shown;
    is_reordered |= shown != static_cast<int>(i);
    ASSERT_NO_FATAL_FAILURE(expect_picture("b.mp4", i, shown));
  }
  EXPECT_TRUE(is_reordered);
}

// Catches colours that are converted by another matrix or range than the stream says.
TEST_F(FramesOfVideos, HaveTheColoursThatTheStreamSays) {
  ASSERT_NO_FATAL_FAILURE(
      make("c.mkv", {"-vf", "scale=out_color_matrix=bt709:out_range=pc", "-pix_fmt", "yuv420p", "-colorspace", "bt709",
                     "-color_range", "pc", "-c:v", "libx264", "-preset", "veryfast", "-bf", "0"}));
  ASSERT_NO_FATAL_FAILURE(expect_picture("c.mkv", 5, 5));
}

// Catches a picture of wide pixels that is shown as one of square ones.
TEST_F(FramesOfVideos, HaveTheShapeOfTheirPixels) {
  ASSERT_NO_FATAL_FAILURE(make("wide.mkv", {"-vf", "setsar=16/11", "-c:v", "libx264", "-preset", "veryfast"}));
  ASSERT_EQ(run_frames({"frame", "0", "wide.mkv", "-o", "wide.png"}, run.folder()).status, 0);
  EXPECT_EQ(run_tool({"ffprobe", "-v", "error", "-show_entries", "stream=sample_aspect_ratio", "-of", "csv=p=0",
                      run.file("wide.png").string()})
                .out,
            "16:11\n");
}

TEST_F(FramesOfVideos, EndAtTheLast) {
  ASSERT_NO_FATAL_FAILURE(make("a.mkv", {"-c:v", "mjpeg"}));
  const RunResult result = run_frames({"frame", "12", "a.mkv", "-o", "a.png"}, run.folder());
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "zel-frames: a.mkv: frame 12: the last frame is 11\n");
}

// Catches a time, a sign or a word that is taken for a number, or refused in words that do not say which one.
TEST_F(FramesOfVideos, HaveWholeNumbers) {
  for (const std::string number : {"x", "-1", "1.5", "2s", "99999999999999999999"}) {
    const RunResult result = run_frames({"frame", "-o", "a.png", "--", number, "a.mkv"}, run.folder());
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "zel-frames: N: " + number + " is no frame's number\n");
  }
}

// Catches uncompressed frames that are read with another picture's size.
TEST_F(FramesOfVideos, UncompressedOnesNeedTheirSize) {
  write_file(run.file("raw"), std::string(64 * 48 * 3 / 2, 'x'));
  write_file(run.file("raw.meta"), "");
  std::filesystem::remove(run.file("raw.meta"));
  const RunResult none = run_frames({"frame", "0", "raw", "-o", "a.png", "--format=nv12"}, run.folder());
  EXPECT_EQ(none.status, 2);
  EXPECT_EQ(none.err, "zel-frames: raw: uncompressed frames without a sidecar need their size: --size WIDTHxHEIGHT\n");
}
