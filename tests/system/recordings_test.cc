// Recordings of every format, made by the real client.
#include <gtest/gtest.h>

#include "harness/client_run.h"
#include "support/marker_reader.h"
#include "support/picture_decoder.h"

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 192;

struct Recorded {
  const char *nick;
  const char *decoder;     ///< null: uncompressed
  const char *raw_pixels;  ///< of an uncompressed format
};

class RecordingTest : public ::testing::TestWithParam<Recorded> {};

// What the client writes must be what the camera handed out, and decode to the pictures that the log tells of.
TEST_P(RecordingTest, TheRealClientsFileDecodesToTheTruth) {
  ClientRun run;
  const RunResult result = run.run({"--frames=12", "-t", GetParam().nick, "-g", "5", "-q", "-o", "out", "320", "192"});
  ASSERT_EQ(result.status, 0) << result.err;
  const TruthLog truth = run.truth();
  ASSERT_EQ(truth.frames().size(), 12U);
  const std::string written = read_file(run.file("out"));
  std::vector<Seen> frames;
  for (const FrameTruth &frame : truth.frames()) {
    const std::string bytes = written.substr(frame.offset, frame.size);
    EXPECT_EQ(bytes, truth.bytes(frame));
    frames.emplace_back().chunks.emplace_back(bytes.begin(), bytes.end());
  }
  std::vector<DecodedPicture> pictures;
  if (GetParam().decoder != nullptr) {
    pictures = decode(GetParam().decoder, frames);
  } else {
    for (const Seen &frame : frames)
      pictures.push_back(from_raw(frame, GetParam().raw_pixels, kWidth, kHeight));
  }
  ASSERT_EQ(pictures.size(), frames.size());
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    const std::optional<Marker> marker = read_marker(pictures[i]);
    ASSERT_TRUE(marker) << i;
    EXPECT_EQ(marker->sequence, truth.frames()[i].sequence);
    EXPECT_EQ(marker->captured_us, truth.frames()[i].timestamp);
  }
}

INSTANTIATE_TEST_SUITE_P(All, RecordingTest,
                         ::testing::Values(Recorded{"h264", "h264", nullptr}, Recorded{"h265", "hevc", nullptr},
                                           Recorded{"jpeg", "mjpeg", nullptr}, Recorded{"av1", "libdav1d", nullptr},
                                           Recorded{"nv12", nullptr, "nv12"}, Recorded{"i420", nullptr, "yuv420p"},
                                           Recorded{"gray", nullptr, "gray"}, Recorded{"rgb", nullptr, "rgb24"}),
                         [](const auto &one) { return one.param.nick; });

}  // namespace
