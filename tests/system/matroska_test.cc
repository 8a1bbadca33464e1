// Real streams of every codec in Matroska files, against the camera's account and its record of the bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "coded_units.h"
#include "recording.h"

using testing::HasSubstr;
using testing::Not;

namespace {

struct Codec {
  std::uint32_t format;
  const char *option;
  const char *name;     ///< FFmpeg's
  const char *demuxer;  ///< FFmpeg's, for the elementary stream
};

std::string name_of(const testing::TestParamInfo<Codec> &info) {
  return info.param.option;
}

class Matroska : public testing::TestWithParam<Codec> {
 protected:
  void SetUp() override { run.camera().set("start_us", "3723000001"); }

  std::filesystem::path recording() const { return run.file("out.mkv"); }
  RunResult record(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"--mkv=out.mkv", "--quiet", "--gop_length=8", "--frames=20",
                                         std::string("--format=") + GetParam().option});
    arguments.insert(arguments.end(), {"320", "240"});
    return run.run(arguments);
  }

  ClientRun run;
};

/// Catches tracks, times, key flags or a trailer that are not the frames'.
void expect_frames(const StoredFile &stored, const std::vector<FrameTruth> &frames, std::int64_t duration) {
  ASSERT_EQ(stored.video.size(), frames.size());
  ASSERT_EQ(stored.cues.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(stored.video[i].pts, milliseconds(frames[i].timestamp));
    EXPECT_EQ(stored.video[i].key, frames[i].key) << i;
    EXPECT_EQ(stored.cues[i].pts, milliseconds(frames[i].timestamp));
    EXPECT_EQ(stored.cues[i].duration, duration);
  }
  const double end = static_cast<double>(milliseconds(frames.back().timestamp) + duration) / 1000;
  EXPECT_NEAR(std::stod(stored.duration), end, 0.0005);
}

}  // namespace

// Catches a wrong track, and times, durations, key flags or cue texts that are not the camera's.
TEST_P(Matroska, TracksTimesAndCues) {
  const RunResult result = record();
  ASSERT_EQ(result.status, 0) << result.err;
  const StoredFile stored = probe(recording());
  EXPECT_EQ(stored.codec, GetParam().name);
  EXPECT_EQ(stored.width, 320);
  EXPECT_EQ(stored.height, 240);
  const std::vector<FrameTruth> frames = run.truth().frames();
  expect_frames(stored, frames, 33);

  std::vector<std::string> times;
  times.reserve(frames.size());
  for (const FrameTruth &frame : frames)
    times.push_back(cue_time(frame.timestamp));
  EXPECT_EQ(times.front(), "01:02:03.000001");
  EXPECT_EQ(cue_texts(recording()), times);
}

// Catches picture data that is changed, lost or doubled on its way into the file.
TEST_P(Matroska, PictureDataIsTheCameras) {
  ASSERT_EQ(record().status, 0);
  const std::string raw = run.truth().bytes();
  EXPECT_TRUE(stored_units(GetParam().format, stored_video(recording())) == coded_units(GetParam().format, raw));
  write_file(run.file("raw"), raw);
  const std::vector<std::string> pictures = picture_sums({"-i", recording().string()});
  EXPECT_EQ(pictures.size(), 20u);
  EXPECT_EQ(pictures, picture_sums({"-f", GetParam().demuxer, "-i", run.file("raw").string()}));
}

// Catches chunks that are stored in pieces, out of order or not at all.
TEST_P(Matroska, FramesInSeveralChunks) {
  run.camera().frames({.count = 0, .chunks = 3});
  ASSERT_EQ(record().status, 0);
  EXPECT_TRUE(stored_units(GetParam().format, stored_video(recording())) ==
              coded_units(GetParam().format, run.truth().bytes()));
}

// Catches a file that the other Matroska implementation does not take, or that has CRC-32 elements or no index.
TEST_P(Matroska, OtherImplementation) {
  ASSERT_EQ(record().status, 0);
  const RunResult info = run_tool({"mkvinfo", "-a", "-v", "-v", recording().string()});
  EXPECT_EQ(info.status, 0);
  EXPECT_THAT(info.out, HasSubstr("|+ Cues"));
  EXPECT_THAT(info.out, HasSubstr("+ Duration: 01:02:03."));
  EXPECT_THAT(info.out, Not(HasSubstr("CRC")));
  const RunResult merged = run_tool({"mkvmerge", "-o", run.file("merged.mkv").string(), recording().string()});
  EXPECT_EQ(merged.status, 0) << merged.out;
}

INSTANTIATE_TEST_SUITE_P(All, Matroska,
                         testing::Values(Codec{0, "h264", "h264", "h264"}, Codec{1, "h265", "hevc", "hevc"},
                                         Codec{2, "jpeg", "mjpeg", "mjpeg"}, Codec{10, "av1", "av1", "obu"}),
                         name_of);

namespace {

class MatroskaFile : public testing::Test {
 protected:
  std::filesystem::path recording() const { return run.file("out.mkv"); }
  RunResult record(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--mkv=out.mkv", "--quiet"});
    return run.run(arguments);
  }

  ClientRun run;
};

}  // namespace

// Catches durations that do not follow the stream's frame rate.
TEST_F(MatroskaFile, DurationsAtOtherRates) {
  const struct {
    const char *framerate;
    std::int64_t duration;
  } rates[] = {{"30", 33}, {"25", 40}, {"29.97", 33}, {"0.5", 2000}};
  for (const auto &rate : rates) {
    ClientRun other;
    const RunResult result = other.run(
        {"--mkv=out.mkv", "--quiet", "--frames=3", std::string("--framerate=") + rate.framerate, "320", "240"});
    ASSERT_EQ(result.status, 0) << result.err;
    expect_frames(probe(other.file("out.mkv")), other.truth().frames(), rate.duration);
  }
}

// Catches cues that a player has but does not show: burnt into the picture, every cue changes every frame.
TEST_F(MatroskaFile, CuesShowWhenPlayed) {
  ASSERT_EQ(record({"--frames=5", "640", "480"}).status, 0);
  const std::string file = recording().string();
  const std::vector<std::string> plain = picture_sums({"-i", file});
  const std::vector<std::string> shown = picture_sums({"-copyts", "-i", file, "-vf", "subtitles=" + file});
  ASSERT_EQ(plain.size(), 5u);
  ASSERT_EQ(shown.size(), 5u);
  for (std::size_t i = 0; i < plain.size(); ++i)
    EXPECT_NE(plain[i], shown[i]) << i;
}

// Catches a codec configuration that is not the first JPEG, whole.
TEST_F(MatroskaFile, FirstJpegIsTheCodecConfiguration) {
  ASSERT_EQ(record({"--frames=2", "--format=jpeg", "320", "240"}).status, 0);
  const TruthLog truth = run.truth();
  const std::string first = truth.bytes(truth.frames().at(0));
  const std::string file = read_file(recording());
  const std::size_t configuration = file.find(first);
  ASSERT_NE(configuration, std::string::npos);
  EXPECT_EQ(file.substr(configuration - 4, 2), "\x63\xA2") << "the element CodecPrivate";
  EXPECT_NE(file.find(first, configuration + 1), std::string::npos) << "and the frame itself";
}

// Catches the raw file filled beside the Matroska file, or not made.
TEST_F(MatroskaFile, RawFileStaysEmpty) {
  ASSERT_EQ(record({"--frames=3", "-o", "raw", "320", "240"}).status, 0);
  EXPECT_EQ(run.files(), (std::vector<std::string>{"out.mkv", "raw"}));
  EXPECT_EQ(read_file(run.file("raw")), "");
}

// Catches the first frame's type having a say: a stream of frames that are all not key frames. (Every JPEG is one for
// the muxer, whatever the camera says.)
TEST_F(MatroskaFile, NoKeyFrame) {
  run.camera().scripted().frames({.count = 0, .size = 500, .key = false});
  ASSERT_EQ(record({"--frames=4"}).status, 0);
  const RunResult info = run_tool({"mkvinfo", "-a", "-v", "-v", recording().string()});
  EXPECT_THAT(info.out, HasSubstr("Simple block: track number 1"));
  EXPECT_THAT(info.out, Not(HasSubstr("Simple block: key")));
}

// Catches frames of unusual sizes that are cut, padded or crash the writer: tiny, 12 MiB, in one and in many chunks.
TEST_F(MatroskaFile, FramesOfUnusualSizes) {
  run.camera().scripted().frames({.count = 0, .size = 1000});
  run.camera().frames({.from = 1, .size = 1}).frames({.from = 2, .size = 12'582'912});
  run.camera().frames({.from = 3, .size = 12'582'912, .chunks = 7}).frames({.from = 4, .size = 2, .chunks = 2});
  run.camera().frames({.from = 5, .size = 5000, .chunk_sizes = "10;1;20"});
  ASSERT_EQ(record({"--frames=7", "--format=jpeg"}).status, 0);
  EXPECT_TRUE(stored_video(recording()) == run.truth().bytes());
}

// Catches a wall clock time, or a long uptime, that a cue cannot show.
TEST_F(MatroskaFile, TimesSinceTheEpoch) {
  run.camera().set("start_us", "1700000000123456");
  ASSERT_EQ(record({"--frames=2", "320", "240"}).status, 0);
  EXPECT_THAT(read_file(recording()), HasSubstr("472222:13:20.123456"));
  EXPECT_EQ(probe(recording()).video.front().pts, 1'700'000'000'123);
}

// Catches a name with a colon that no longer is what the pages say: the protocol of a URL, unless a folder stands
// first.
TEST_F(MatroskaFile, NameWithAColon) {
  const RunResult protocol = run.run({"--mkv=12:30.mkv", "--quiet", "--frames=2", "320", "240"});
  EXPECT_EQ(protocol.status, 1);
  EXPECT_EQ(protocol.err, "error: Could not open output file '12:30.mkv'\nzel-client: Failed to create MKV writer\n");
  ClientRun other;
  EXPECT_EQ(other.run({"--mkv=./12:30.mkv", "--quiet", "--frames=2", "320", "240"}).status, 0);
  EXPECT_EQ(probe(other.file("12:30.mkv")).video.size(), 2u);
}

// Catches a recording on standard output that is mixed with other text or cannot be read.
TEST_F(MatroskaFile, OnStandardOutput) {
  const RunResult result = run.run({"--mkv=pipe:1", "--quiet", "--frames=3", "320", "240"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(run.files(), std::vector<std::string>{});
  std::ofstream(run.file("copy.mkv"), std::ios::binary) << result.out;
  const StoredFile stored = probe(run.file("copy.mkv"));
  EXPECT_EQ(stored.video.size(), 3u);
  EXPECT_EQ(stored.cues.size(), 3u);
}
