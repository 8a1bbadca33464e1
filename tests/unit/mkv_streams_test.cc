// Real streams of every codec through the Matroska writer, read back with tools that know nothing of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "coded_units.h"
#include "encoded_stream.h"
#include "formats/cue_text.h"
#include "mkv_fixture.h"
#include "tests/support/run_tool.h"

namespace {

using Json = nlohmann::json;

constexpr int kWidth = 160, kHeight = 96, kFrames = 12, kGop = 5;
constexpr guint64 kStart = 3'723'000'001;  // us, as after an hour on the service's clock

struct Case {
  std::uint32_t format;
  const char *codec;    ///< FFmpeg's name
  const char *track;    ///< Matroska's name
  const char *demuxer;  ///< FFmpeg's name for the elementary stream
  double framerate;
  int duration;    ///< ms of each packet
  guint64 period;  ///< us between frames
  bool contiguous;
};

std::string name_of(const testing::TestParamInfo<Case> &info) {
  return std::string(info.param.codec) + "_" + std::to_string(info.param.period) +
         (info.param.contiguous ? "" : "_chunks");
}

class MkvStreams : public MkvTest, public testing::WithParamInterface<Case> {
 protected:
  void SetUp() override {
    MkvTest::SetUp();
    stream_ = encode_stream(GetParam().format, kWidth, kHeight, kFrames, kGop);
    std::ofstream(scratch_ / "raw", std::ios::binary) << raw_bytes(stream_);
    ASSERT_TRUE(create(GetParam().format, GetParam().framerate, kWidth, kHeight)) << slot_.take();
    for (std::size_t number = 0; number < stream_.size(); ++number) {
      ASSERT_TRUE(write(frame(number))) << slot_.take();
    }
    ASSERT_TRUE(finalize()) << slot_.take();
  }

  guint64 timestamp(std::size_t number) const { return kStart + number * GetParam().period; }
  /// The time in the file: whole milliseconds, rounded.
  std::int64_t milliseconds(std::size_t number) const {
    return static_cast<std::int64_t>((timestamp(number) + 500) / 1000);
  }
  fake::Frame frame(std::size_t number) const {
    const EncodedFrame &encoded = stream_[number];
    fake::Frame frame{.payload = encoded.bytes,
                      .contiguous = GetParam().contiguous,
                      .header_size = encoded.header_size,
                      .key = encoded.key,
                      .timestamp = timestamp(number)};
    if (!frame.contiguous)
      frame.chunks = {1, frame.payload.size() / 2, frame.payload.size() - frame.payload.size() / 2 - 1};
    return frame;
  }
  Json probe(const std::string &arguments) const {
    return Json::parse(run_tool("ffprobe -v error -of json " + arguments + " " + path()));
  }

  std::vector<EncodedFrame> stream_;
};

// Catches tracks of the wrong kind or size, and a trailer without the whole duration.
TEST_P(MkvStreams, TracksAndDuration) {
  const Json probed = probe("-show_streams -show_format");
  ASSERT_EQ(probed["streams"].size(), 2u);
  const Json &video = probed["streams"][0];
  EXPECT_EQ(video["codec_name"], GetParam().codec);
  EXPECT_EQ(video["width"], kWidth);
  EXPECT_EQ(video["height"], kHeight);
  EXPECT_EQ(video["time_base"], "1/1000");
  EXPECT_EQ(probed["streams"][1]["codec_name"], "webvtt");
  EXPECT_EQ(probed["streams"][1]["codec_type"], "subtitle");
  const double end = static_cast<double>(milliseconds(kFrames - 1) + GetParam().duration) / 1000;
  // A player counts the duration from the first frame, the file from zero; ffprobe tells the file's.
  EXPECT_NEAR(std::stod(probed["format"]["duration"].get<std::string>()), end, 0.0005);
}

// Catches times, durations and key flags that are not the frames', on both tracks.
TEST_P(MkvStreams, TimesDurationsAndKeyFlags) {
  const Json packets = probe("-show_packets")["packets"];
  std::size_t videos = 0;
  std::size_t cues = 0;
  for (const Json &packet : packets) {
    const bool is_video = packet["stream_index"] == 0;
    const std::size_t number = is_video ? videos++ : cues++;
    ASSERT_LT(number, stream_.size());
    EXPECT_EQ(packet["pts"], milliseconds(number));
    if (is_video) {
      EXPECT_EQ(packet["flags"].get<std::string>().front() == 'K', stream_[number].key) << number;
    } else {
      EXPECT_EQ(packet["duration"], GetParam().duration);
      EXPECT_EQ(packet["size"], std::to_string(formats::cue_text(static_cast<std::int64_t>(timestamp(number))).size()));
    }
  }
  EXPECT_EQ(videos, stream_.size());
  EXPECT_EQ(cues, stream_.size());
}

// Catches cue texts or settings that a player would not get.
TEST_P(MkvStreams, Cues) {
  std::istringstream lines(run_tool("ffmpeg -v error -copyts -i " + path() + " -map 0:s -c copy -f webvtt -"));
  std::vector<std::string> texts;
  int settings = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with(" line:1% position:0% align:start")) ++settings;
    if (line.starts_with("01:") && line.find("-->") == std::string::npos) texts.push_back(line);
  }
  std::vector<std::string> expected;
  for (std::size_t number = 0; number < stream_.size(); ++number) {
    expected.push_back(formats::cue_text(static_cast<std::int64_t>(timestamp(number))));
  }
  EXPECT_EQ(texts, expected);
  EXPECT_EQ(settings, kFrames);
}

// Catches any change of the coded picture data on its way through the container.
TEST_P(MkvStreams, PayloadIsTheRawStreams) {
  const std::string stored = run_tool("ffmpeg -v error -i " + path() + " -map 0:v -c copy -f data -");
  const std::vector<std::string> units = coded_units(GetParam().format, raw_bytes(stream_));
  EXPECT_GE(units.size(), 1u);
  EXPECT_TRUE(stored_units(GetParam().format, stored) == units);  // too long to print
}

/// The pictures' checksums from FFmpeg's framemd5.
std::vector<std::string> picture_sums(const std::string &input) {
  std::istringstream lines(run_tool("ffmpeg -v error " + input + " -fps_mode passthrough -f framemd5 -"));
  std::vector<std::string> sums;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("#")) sums.push_back(line.substr(line.rfind(' ')));
  }
  return sums;
}

// Catches frames that do not decode, or decode to another picture than the raw stream's.
TEST_P(MkvStreams, PicturesAreTheRawStreams) {
  const std::string errors = scratch_ / "errors";
  const std::vector<std::string> pictures = picture_sums("-i " + path() + " -map 0:v 2>" + errors);
  EXPECT_EQ(read_file(errors), "");
  EXPECT_EQ(pictures.size(), stream_.size());
  EXPECT_EQ(pictures, picture_sums(std::string("-f ") + GetParam().demuxer + " -i " + (scratch_ / "raw")));
}

// Catches a file that the other Matroska implementation reads differently: tracks, index, duration, no CRC-32 elements.
TEST_P(MkvStreams, OtherImplementation) {
  const std::string info = run_tool("mkvinfo -a -v -v " + path());
  EXPECT_NE(info.find(std::string("Codec ID: ") + GetParam().track), std::string::npos) << info;
  EXPECT_NE(info.find("Codec ID: D_WEBVTT/SUBTITLES"), std::string::npos) << info;
  EXPECT_NE(info.find("Cues"), std::string::npos);
  EXPECT_NE(info.find("+ Duration: "), std::string::npos);
  EXPECT_EQ(info.find("CRC"), std::string::npos);

  const Json identified = Json::parse(run_tool("mkvmerge -J " + path()));
  EXPECT_TRUE(identified["container"]["recognized"]);
  EXPECT_TRUE(identified["container"]["supported"]);
  EXPECT_TRUE(identified["errors"].empty());
}

/// The streams that MKVToolNix extracts: all but Motion JPEG.
class ExtractableMkvStreams : public MkvStreams {};

// Catches codec configuration that only FFmpeg can make sense of: the pictures of the track as MKVToolNix extracts it.
TEST_P(ExtractableMkvStreams, PicturesAreTheRawStreams) {
  const std::string extracted = scratch_ / "extracted";
  run_tool("mkvextract -q " + path() + " tracks 0:" + extracted);
  EXPECT_EQ(picture_sums("-i " + extracted),
            picture_sums(std::string("-f ") + GetParam().demuxer + " -i " + (scratch_ / "raw")));
}

constexpr Case h264(double framerate, int duration, guint64 period, bool contiguous = true) {
  return {kH264, "h264", "V_MPEG4/ISO/AVC", "h264", framerate, duration, period, contiguous};
}
constexpr Case h265(bool contiguous) {
  return {kH265, "hevc", "V_MPEGH/ISO/HEVC", "hevc", 25, 40, 40'000, contiguous};
}
constexpr Case jpeg(bool contiguous) {
  return {kJpeg, "mjpeg", "V_MJPEG", "mjpeg", 25, 40, 40'000, contiguous};
}
constexpr Case av1(bool contiguous) {
  return {kAv1, "av1", "V_AV1", "obu", 30, 33, 33'333, contiguous};
}

INSTANTIATE_TEST_SUITE_P(All, MkvStreams,
                         testing::Values(h264(30, 33, 33'333), h264(29.97, 33, 33'367), h264(0.5, 2000, 2'000'000),
                                         h264(25, 40, 40'000, false), h265(true), h265(false), jpeg(true), jpeg(false),
                                         av1(true), av1(false)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(All, ExtractableMkvStreams,
                         testing::Values(h264(30, 33, 33'333), h264(29.97, 33, 33'367), h264(0.5, 2000, 2'000'000),
                                         h264(25, 40, 40'000, false), h265(true), h265(false), av1(true), av1(false)),
                         name_of);

}  // namespace
