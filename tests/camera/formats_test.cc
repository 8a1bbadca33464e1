// Formats: every frame decodes, says the truth about itself, and carries its number.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/camera_fixture.h"
#include "support/marker_reader.h"
#include "support/picture_decoder.h"

namespace {

constexpr guint32 kWidth = 320;
constexpr guint32 kHeight = 192;
constexpr guint32 kGop = 6;
constexpr int kFrames = 20;

struct FormatCase {
  const char *nick;
  guint32 format;
  const char *decoder;     ///< null: uncompressed
  const char *raw_pixels;  ///< of an uncompressed format
  bool all_key;
  guint32 key_type;
  guint32 other_type;
};

class FormatTest : public CameraTest, public ::testing::WithParamInterface<FormatCase> {
 protected:
  std::vector<Seen> run(std::initializer_list<Asked> asked) {
    create(asked);
    start();
    return fetch(kFrames);
  }
  static std::vector<DecodedPicture> pictures(const std::vector<Seen> &frames) {
    if (GetParam().decoder != nullptr) return decode(GetParam().decoder, frames);
    std::vector<DecodedPicture> raw;
    for (const Seen &frame : frames)
      raw.push_back(from_raw(frame, GetParam().raw_pixels, kWidth, kHeight));
    return raw;
  }
};

TEST_P(FormatTest, EveryFrameDecodesAndCarriesItsNumber) {
  const std::vector<Seen> frames =
      run({{"format", GetParam().format}, {"resolution", zel_pair32u{kWidth, kHeight}}, {"gop_length", kGop}});
  const std::vector<DecodedPicture> decoded = pictures(frames);
  ASSERT_EQ(decoded.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(decoded[i].width, static_cast<int>(kWidth));
    EXPECT_EQ(decoded[i].height, static_cast<int>(kHeight));
    const std::optional<Marker> marker = read_marker(decoded[i]);
    ASSERT_TRUE(marker) << "frame " << i;
    EXPECT_EQ(marker->sequence, frames[i].sequence);
    EXPECT_EQ(marker->captured_us, frames[i].timestamp);
  }
}

TEST_P(FormatTest, FramesSayWhatTheyAre) {
  const std::vector<Seen> frames =
      run({{"format", GetParam().format}, {"resolution", zel_pair32u{kWidth, kHeight}}, {"gop_length", kGop}});
  const std::vector<DecodedPicture> decoded = pictures(frames);
  ASSERT_EQ(decoded.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const bool key = GetParam().all_key || i % kGop == 0;
    EXPECT_EQ(frames[i].key, key) << i;
    if (GetParam().decoder != nullptr) {
      EXPECT_EQ(decoded[i].key, key) << i;
    }
    EXPECT_EQ(frames[i].type, key ? GetParam().key_type : GetParam().other_type);
    EXPECT_TRUE(frames[i].shown);
    EXPECT_FALSE(frames[i].empty);
    EXPECT_LE(frames[i].size, frames[i].capacity);
    if (!key || GetParam().all_key) {
      EXPECT_EQ(frames[i].header_size, 0);
    }
  }
}

// Decoding can start at any key frame: it brings its parameter sets.
TEST_P(FormatTest, DecodingCanStartAtAnyKeyFrame) {
  const std::vector<Seen> frames =
      run({{"format", GetParam().format}, {"resolution", zel_pair32u{kWidth, kHeight}}, {"gop_length", kGop}});
  const std::vector<Seen> rest(frames.begin() + kGop, frames.end());
  EXPECT_EQ(pictures(rest).size(), rest.size());
}

// A coder that ran out of step would show it at the second start.
TEST_P(FormatTest, AStoppedStreamStartsWithAKeyFrameAgain) {
  create({{"format", GetParam().format}, {"resolution", zel_pair32u{kWidth, kHeight}}, {"gop_length", kGop}});
  start();
  (void)fetch(4);
  stop();
  start();
  const std::vector<Seen> frames = fetch(8);
  EXPECT_TRUE(frames[0].key);
  EXPECT_EQ(pictures(frames).size(), frames.size());
}

INSTANTIATE_TEST_SUITE_P(All, FormatTest,
                         ::testing::Values(FormatCase{"h264", 0, "h264", nullptr, false, 1, 3},
                                           FormatCase{"h265", 1, "hevc", nullptr, false, 1, 3},
                                           FormatCase{"jpeg", 2, "mjpeg", nullptr, true, 16, 16},
                                           FormatCase{"av1", 10, "libdav1d", nullptr, false, 32, 33},
                                           FormatCase{"nv12", 3, nullptr, "nv12", true, 48, 48},
                                           FormatCase{"i420", 4, nullptr, "yuv420p", true, 48, 48},
                                           FormatCase{"gray", 5, nullptr, "gray", true, 48, 48},
                                           FormatCase{"rgb", 6, nullptr, "rgb24", true, 48, 48}),
                         [](const auto &one) { return one.param.nick; });

using CodecHeaderTest = CameraTest;

/// Types of the units of an H.264 or H.265 frame's first bytes.
std::vector<unsigned> unit_types(const std::vector<std::uint8_t> &bytes, std::size_t size, bool h265) {
  std::vector<unsigned> types;
  for (std::size_t i = 0; i + 3 < size; ++i) {
    if (bytes[i] == 0 && bytes[i + 1] == 0 && bytes[i + 2] == 1) {
      types.push_back(h265 ? (bytes[i + 3] >> 1U) & 0x3FU : bytes[i + 3] & 0x1FU);
    }
  }
  return types;
}

// The header size must end exactly where the parameter sets do: a container takes those bytes as they are.
TEST_F(CodecHeaderTest, TheHeaderIsTheParameterSets) {
  for (const bool h265 : {false, true}) {
    create({{"format", h265 ? guint32{1} : guint32{0}}, {"resolution", zel_pair32u{64, 64}}});
    start();
    const Seen key = fetch();
    const std::vector<std::uint8_t> bytes = key.bytes();
    const auto size = static_cast<std::size_t>(key.header_size);
    EXPECT_EQ(unit_types(bytes, size, h265),
              h265 ? (std::vector<unsigned>{32, 33, 34}) : (std::vector<unsigned>{7, 8}));
    const unsigned next = unit_types({bytes.begin() + key.header_size, bytes.end()}, 16, h265).at(0);
    EXPECT_TRUE(h265 ? next < 32 || next > 34 : next != 7 && next != 8);
  }
}

// An AV1 frame begins with a temporal delimiter; the header goes on to the end of the sequence header.
TEST_F(CodecHeaderTest, TheAv1HeaderIsTheSequenceHeader) {
  create({{"format", guint32{10}}, {"resolution", zel_pair32u{64, 64}}});
  start();
  const Seen key = fetch();
  const std::vector<std::uint8_t> bytes = key.bytes();
  EXPECT_EQ(bytes[0] >> 3U, 2);
  EXPECT_EQ(bytes[2] >> 3U, 1);
  EXPECT_EQ(key.header_size, 4 + bytes[3]);
  EXPECT_EQ(bytes[static_cast<std::size_t>(key.header_size)] >> 3U & 0xFU, 6);
}

// Formats that need even sizes say so; the others deliver odd ones exactly.
TEST_F(CodecHeaderTest, OddSizes) {
  for (const guint32 format : {0U, 1U, 3U, 4U, 10U}) {
    const Failure failure = refusal({{"format", format}, {"resolution", zel_pair32u{65, 64}}});
    EXPECT_EQ(failure.message, "resolution: 65x64 is not accepted (even numbers from 16 to 8192 for this format)");
  }
  create({{"format", guint32{2}}, {"resolution", zel_pair32u{67, 65}}});
  start();
  const std::vector<DecodedPicture> jpeg = decode("mjpeg", {fetch()});
  EXPECT_EQ(jpeg.at(0).width, 67);
  EXPECT_EQ(jpeg.at(0).height, 65);
  create({{"format", guint32{6}}, {"resolution", zel_pair32u{67, 65}}});
  start();
  EXPECT_EQ(fetch().size, 67U * 65 * 3);
}

TEST_F(CodecHeaderTest, TheSmallestPictures) {
  for (const guint32 format : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 10U}) {
    create({{"format", format}, {"resolution", zel_pair32u{16, 16}}});
    start();
    EXPECT_TRUE(fetch().key);
  }
}

}  // namespace
