// A capture as the camera's frames: runs, key frames and chunks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <string_view>

#include "formats/sidecar.h"
#include "support/camera_fixture.h"

namespace {

using testing::ElementsAre;

/// Three frames of a stream of no codec, 40 ms apart, with a frame missing behind the second.
class CapturedTest : public CameraTest {
 protected:
  CapturedTest() {
    std::ofstream(path("cap")) << "first"
                               << "2nd"
                               << "third!";
    std::ofstream sidecar(path("cap.meta"));
    const auto write = [&sidecar](const auto &bytes) {
      sidecar.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    };
    write(formats::sidecar_record_bytes({.frame_type = 1, .time_us = 500'000, .size = 5, .header_size = 2}));
    write(formats::sidecar_record_bytes({.frame_type = 3, .time_us = 540'000, .size = 3}));
    write(formats::sidecar_record_bytes({.frame_type = 3, .time_us = 620'000, .size = 6}));
    write(formats::sidecar_trailer_bytes(3));
  }

  void play(std::string_view lines) { configure("capture=" + path("cap") + "\n" + std::string(lines)); }
};

std::string text_of(const Seen &seen) {
  const std::vector<std::uint8_t> bytes = seen.bytes();
  return {bytes.begin(), bytes.end()};
}

// Catches a run that goes on where the one before stopped, numbers or times that begin again, and an end that stays.
TEST_F(CapturedTest, EveryRunBeginsWithTheFirstFrame) {
  play("pacing=virtual");
  create({});
  for (const guint32 first : {0U, 4U, 8U}) {
    start();
    const guint64 begin = 500'000 + guint64{first} * 40'000;
    const std::vector<Seen> frames = fetch(3);
    EXPECT_EQ(text_of(frames[0]) + text_of(frames[1]) + text_of(frames[2]), "first2ndthird!");
    EXPECT_THAT((std::vector{frames[0].sequence, frames[1].sequence, frames[2].sequence}),
                ElementsAre(first, first + 1, first + 3));
    EXPECT_THAT((std::vector{frames[0].timestamp, frames[1].timestamp, frames[2].timestamp}),
                ElementsAre(begin, begin + 40'000, begin + 120'000));
    const Failure end = fetch_failure();
    EXPECT_EQ(end.code, 5);
    EXPECT_TRUE(end.expected);
    EXPECT_EQ(end.message, "The stream has ended");
    stop();
  }
  EXPECT_EQ(log("drop").size(), 3U);
  for (const auto &line : log("drop"))
    EXPECT_EQ(line["reason"], "gap");
}

// Catches a header that stays with its frame, and one that is cut off although nobody asked for chunks.
TEST_F(CapturedTest, HeadersAreChunksWhenAskedFor) {
  play("pacing=virtual");
  create({{"frame.chunks", true}});
  start();
  EXPECT_EQ(fetch().chunks.size(), 2U);
  EXPECT_EQ(fetch().chunks.size(), 1U);
  create({});
  start();
  EXPECT_EQ(fetch().chunks.size(), 1U);
}

// Catches a key frame that is asked for and moves the frames.
TEST_F(CapturedTest, ForcedKeyFramesChangeNothing) {
  play("pacing=virtual\nloop=true");
  create({});
  start();
  std::string all;
  for (int i = 0; i < 6; ++i) {
    ASSERT_TRUE(zel_stream_force_key_frame(stream_.get(), nullptr));
    all += text_of(fetch());
  }
  EXPECT_EQ(all, "first2ndthird!first2ndthird!");
}

// Catches settings that are granted or told as something else than the capture is.
TEST_F(CapturedTest, GrantsWhatTheCaptureIs) {
  play("pacing=virtual");
  create({{"resolution", zel_pair32u{160, 96}}});
  const MapRef info(zel_stream_get_info(stream_.get(), nullptr));
  EXPECT_EQ(zel_map_get_uint32(info.get(), "width", 0), 160U);
  EXPECT_EQ(zel_map_get_uint32(info.get(), "height", 0), 96U);
  EXPECT_EQ(zel_map_get_uint32(info.get(), "format", 9), 0U);
  EXPECT_EQ(zel_map_get_double(info.get(), "framerate", 0), 25.0);
}

// Catches a scene of the camera's own that the capture takes the place of.
TEST_F(CapturedTest, OtherInputsAreDrawn) {
  play("pacing=virtual");
  create({{"input", guint32{1}}, {"resolution", zel_pair32u{64, 64}}});
  start();
  EXPECT_GT(fetch().size, 6U);
}

}  // namespace
