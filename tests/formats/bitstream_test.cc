// What a frame's bytes say: key, parameter sets, a good beginning.
#include "formats/bitstream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace {

using formats::Codec;
using formats::KeyState;

using Bytes = std::vector<std::uint8_t>;

/// One after the other.
Bytes joined(const std::vector<Bytes> &parts) {
  Bytes all;
  for (const Bytes &part : parts)
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

/// A unit of H.264 behind a start code of four bytes, or of three.
Bytes h264(unsigned type, bool short_code = false) {
  Bytes unit = {0, 0, 0, 1, static_cast<std::uint8_t>(0x60 | type), 0x42, 0x99};
  if (short_code) unit.erase(unit.begin());
  return unit;
}

Bytes h265(unsigned type) {
  return {0, 0, 0, 1, static_cast<std::uint8_t>(type << 1), 1, 0x99, 0x77};
}

/// An AV1 unit with a size.
Bytes obu(unsigned type, const Bytes &payload) {
  return joined({{static_cast<std::uint8_t>(type << 3 | 2), static_cast<std::uint8_t>(payload.size())}, payload});
}

const Bytes kDelimiter = obu(2, {});
const Bytes kSequence = obu(1, {0x00, 0x11});
const Bytes kStillSequence = obu(1, {0x18, 0x11});
const Bytes kKeyFrame = obu(6, {0x10, 0x22});         // type 0, shown
const Bytes kInterFrame = obu(6, {0x30, 0x22});       // type 1
const Bytes kIntraOnlyFrame = obu(6, {0x50, 0x22});   // type 2
const Bytes kShownAgainFrame = obu(3, {0x80, 0x22});  // shows an earlier frame

const Bytes kH264Sets = joined({h264(7), h264(8)});
const Bytes kH265Sets = joined({h265(32), h265(33), h265(34)});

KeyState key(Codec codec, const Bytes &bytes) {
  return formats::frame_key(codec, bytes, true);
}

// Catches another picture than an IDR one taken for key, units before it taken for pictures, and a later one that
// decides.
TEST(FrameKey, H264) {
  for (unsigned type = 0; type < 32; ++type) {
    const KeyState expected = type == 5 ? KeyState::kKey : KeyState::kOther;
    EXPECT_EQ(key(Codec::kH264, h264(type)), expected) << type;
  }
  EXPECT_EQ(key(Codec::kH264, joined({h264(9), kH264Sets, h264(6, true), h264(5, true)})), KeyState::kKey);
  EXPECT_EQ(key(Codec::kH264, joined({kH264Sets, h264(1), h264(5)})), KeyState::kOther);
}

TEST(FrameKey, H265) {
  for (unsigned type = 0; type < 64; ++type) {
    const KeyState expected = type >= 16 && type <= 21 ? KeyState::kKey : KeyState::kOther;
    EXPECT_EQ(key(Codec::kH265, h265(type)), expected) << type;
  }
  EXPECT_EQ(key(Codec::kH265, joined({h265(35), kH265Sets, h265(39), h265(20)})), KeyState::kKey);
  EXPECT_EQ(key(Codec::kH265, joined({kH265Sets, h265(1), h265(19)})), KeyState::kOther);
}

// Catches a frame type read from the wrong bits, and a still picture's sequence, whose frames have no type.
TEST(FrameKey, Av1) {
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, kSequence, kKeyFrame})), KeyState::kKey);
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, obu(3, {0x10}), obu(4, {1})})), KeyState::kKey);
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, kInterFrame, kKeyFrame})), KeyState::kOther);
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, kIntraOnlyFrame})), KeyState::kOther);
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, kShownAgainFrame})), KeyState::kOther);
  EXPECT_EQ(key(Codec::kAv1, joined({kDelimiter, kStillSequence, kInterFrame})), KeyState::kKey);
  EXPECT_EQ(key(Codec::kAv1, {0x30, 0x10}), KeyState::kKey) << "a frame without a size";
  EXPECT_EQ(key(Codec::kAv1, {0x36, 0x00, 0x01, 0x10}), KeyState::kKey) << "a frame with an extension";
}

TEST(FrameKey, EveryOtherFrameIsKey) {
  for (const Codec codec : {Codec::kJpeg, Codec::kNv12, Codec::kI420, Codec::kGray, Codec::kRgb}) {
    EXPECT_EQ(formats::frame_key(codec, {}, false), KeyState::kKey);
    EXPECT_EQ(key(codec, {1, 2, 3}), KeyState::kKey);
  }
}

// Catches an answer from bytes that do not tell, in which the whole frame is asked for, and one that changes with more.
TEST(FrameKey, OfTheFirstBytes) {
  const struct {
    Codec codec;
    Bytes frame;
    std::size_t needed;
    KeyState state;
  } cases[] = {
      {Codec::kH264, joined({kH264Sets, h264(5)}), 19, KeyState::kKey},
      {Codec::kH264, joined({h264(6), h264(1)}), 12, KeyState::kOther},
      {Codec::kH265, joined({kH265Sets, h265(21)}), 29, KeyState::kKey},
      {Codec::kAv1, joined({kDelimiter, kSequence, kKeyFrame}), 9, KeyState::kKey},
      {Codec::kAv1, joined({kDelimiter, kInterFrame}), 5, KeyState::kOther},
  };
  for (const auto &[codec, frame, needed, state] : cases) {
    for (std::size_t length = 0; length <= frame.size(); ++length) {
      const Bytes cut(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
      EXPECT_EQ(formats::frame_key(codec, cut, false), length < needed ? KeyState::kUnknown : state) << length;
      EXPECT_EQ(formats::frame_key(codec, cut, true), length < needed ? KeyState::kOther : state) << length;
    }
  }
}

// Catches bytes without any unit taken for a key frame, or read for ever.
TEST(FrameKey, NoUnits) {
  for (const Codec codec : {Codec::kH264, Codec::kH265, Codec::kAv1}) {
    for (const Bytes &bytes : {Bytes{}, Bytes{0}, Bytes{0, 0, 1}, Bytes(1000, 0), Bytes(1000, 0xFF)}) {
      EXPECT_EQ(formats::frame_key(codec, bytes, true), KeyState::kOther);
      EXPECT_EQ(formats::has_parameter_sets(codec, bytes), false);
      EXPECT_EQ(formats::header_size(codec, bytes, true), 0u);
    }
  }
}

// Catches headers that are taken to end elsewhere than where the camera says: before the first unit that is no
// parameter set.
TEST(HeaderSize, NalUnits) {
  EXPECT_EQ(formats::header_size(Codec::kH264, joined({kH264Sets, h264(5)}), true), 14u);
  EXPECT_EQ(formats::header_size(Codec::kH264, joined({kH264Sets, h264(6, true), h264(5)}), true), 14u);
  EXPECT_EQ(formats::header_size(Codec::kH264, kH264Sets, true), 14u);
  EXPECT_EQ(formats::header_size(Codec::kH264, joined({h264(9), kH264Sets, h264(5)}), true), 0u);
  EXPECT_EQ(formats::header_size(Codec::kH264, h264(1), true), 0u);
  EXPECT_EQ(formats::header_size(Codec::kH265, joined({kH265Sets, h265(39), h265(19)}), true), 24u);
  EXPECT_EQ(formats::header_size(Codec::kH265, h265(1), true), 0u);
}

TEST(HeaderSize, Av1) {
  EXPECT_EQ(formats::header_size(Codec::kAv1, joined({kDelimiter, kSequence, kKeyFrame}), true), 6u);
  EXPECT_EQ(formats::header_size(Codec::kAv1, joined({kSequence, kKeyFrame}), true), 4u);
  EXPECT_EQ(formats::header_size(Codec::kAv1, joined({kDelimiter, kInterFrame}), true), 0u);
  EXPECT_EQ(formats::header_size(Codec::kAv1, kDelimiter, true), 0u);
  EXPECT_EQ(formats::header_size(Codec::kAv1, Bytes{0x0A, 0x05, 0x00}, true), 0u) << "cut";
  EXPECT_EQ(formats::header_size(Codec::kAv1, Bytes{0x08, 0x00, 0x11}, true), 0u) << "without a size";
}

TEST(HeaderSize, NoneInOtherFrames) {
  EXPECT_EQ(formats::header_size(Codec::kJpeg, {}, false), 0u);
  EXPECT_EQ(formats::header_size(Codec::kNv12, {}, false), 0u);
}

// Catches a size from bytes that do not tell, and one that changes with more.
TEST(HeaderSize, OfTheFirstBytes) {
  const struct {
    Codec codec;
    Bytes frame;
    std::size_t needed;
    std::size_t size;
  } cases[] = {
      {Codec::kH264, joined({kH264Sets, h264(5)}), 19, 14},
      {Codec::kH264, h264(1, true), 4, 0},
      {Codec::kH265, joined({kH265Sets, h265(21)}), 29, 24},
      {Codec::kAv1, joined({kDelimiter, kSequence, kKeyFrame}), 6, 6},
      {Codec::kAv1, joined({kDelimiter, kInterFrame}), 4, 0},
  };
  for (const auto &[codec, frame, needed, size] : cases) {
    for (std::size_t length = 0; length <= frame.size(); ++length) {
      const Bytes cut(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
      const std::optional<std::size_t> expected = length < needed ? std::nullopt : std::optional(size);
      EXPECT_EQ(formats::header_size(codec, cut, false), expected) << length;
    }
  }
}

// Catches a set that is not asked for, and sets behind the first picture, which come too late for it.
TEST(ParameterSets, AllOfThem) {
  EXPECT_TRUE(formats::has_parameter_sets(Codec::kH264, joined({h264(9), kH264Sets, h264(5)})));
  EXPECT_FALSE(formats::has_parameter_sets(Codec::kH264, joined({h264(7), h264(5)})));
  EXPECT_FALSE(formats::has_parameter_sets(Codec::kH264, joined({h264(8), h264(5)})));
  EXPECT_FALSE(formats::has_parameter_sets(Codec::kH264, joined({h264(5), kH264Sets})));
  EXPECT_TRUE(formats::has_parameter_sets(Codec::kH265, joined({kH265Sets, h265(19)})));
  for (const unsigned missing : {32u, 33u, 34u}) {
    Bytes frame;
    for (unsigned type = 32; type <= 34; ++type)
      if (type != missing) frame = joined({frame, h265(type)});
    EXPECT_FALSE(formats::has_parameter_sets(Codec::kH265, joined({frame, h265(19)}))) << missing;
  }
  EXPECT_TRUE(formats::has_parameter_sets(Codec::kAv1, joined({kDelimiter, kSequence, kKeyFrame})));
  EXPECT_FALSE(formats::has_parameter_sets(Codec::kAv1, joined({kDelimiter, kKeyFrame, kSequence})));
  EXPECT_TRUE(formats::has_parameter_sets(Codec::kJpeg, {}));
  EXPECT_TRUE(formats::has_parameter_sets(Codec::kRgb, {}));
}

// Catches a frame that is only kept for later ones and taken for one that is shown, or the other way round.
TEST(FrameShown, Av1) {
  const Bytes hidden_key = obu(6, {0x00, 0x22});
  const Bytes hidden_frame = obu(3, {0x20, 0x22});  // type 1
  const auto shown = [](const Bytes &bytes) { return formats::frame_is_shown(Codec::kAv1, bytes); };
  for (const Bytes &frame : {kKeyFrame, kInterFrame, kIntraOnlyFrame, kShownAgainFrame}) {
    EXPECT_TRUE(shown(joined({kDelimiter, frame})));
    EXPECT_TRUE(shown(joined({kDelimiter, hidden_frame, frame}))) << "one of them is enough";
    EXPECT_TRUE(shown(joined({kDelimiter, frame, hidden_frame}))) << "one of them is enough";
  }
  EXPECT_FALSE(shown(joined({kDelimiter, kSequence, hidden_key})));
  EXPECT_FALSE(shown(joined({kDelimiter, hidden_frame})));
  EXPECT_FALSE(shown(joined({hidden_frame, hidden_key})));
  EXPECT_TRUE(shown(joined({kDelimiter, kStillSequence, hidden_key}))) << "its headers do not say";
  EXPECT_TRUE(shown(joined({kDelimiter, obu(6, {}), kSequence}))) << "no frame says that it is hidden";
  EXPECT_TRUE(shown({}));
}

// Catches pictures of codecs that show every frame that are not asked for.
TEST(FrameShown, OtherCodecs) {
  for (const Codec codec : {Codec::kH264, Codec::kH265, Codec::kJpeg, Codec::kNv12, Codec::kRgb}) {
    EXPECT_TRUE(formats::frame_is_shown(codec, obu(6, {0x00, 0x22})));
    EXPECT_TRUE(formats::frame_is_shown(codec, {}));
  }
}

// Catches other bytes taken for a frame's beginning, and start codes of three bytes that are refused.
TEST(FrameStart, NalUnits) {
  for (unsigned header = 0; header < 256; ++header) {
    const unsigned h264_type = header & 0x1F;
    const auto first = static_cast<std::uint8_t>(header);
    EXPECT_EQ(formats::frame_starts_well(Codec::kH264, Bytes{0, 0, 0, 1, first}),
              header < 0x80 && h264_type >= 1 && h264_type <= 21);
    EXPECT_EQ(formats::frame_starts_well(Codec::kH264, Bytes{0, 0, 1, first}),
              header < 0x80 && h264_type >= 1 && h264_type <= 21);
    const unsigned h265_type = header >> 1 & 0x3F;
    const bool exists = h265_type <= 9 || (h265_type >= 16 && h265_type <= 21) || (h265_type >= 32 && h265_type <= 40);
    EXPECT_EQ(formats::frame_starts_well(Codec::kH265, Bytes{0, 0, 0, 1, first, 1}), header < 0x80 && exists);
    EXPECT_EQ(formats::frame_starts_well(Codec::kH265, Bytes{0, 0, 1, first, 0x18}), false) << "no time layer";
  }
  for (const Bytes &bytes : {Bytes{}, Bytes{0, 0, 0, 1}, Bytes{0, 0, 1}, Bytes{0, 0, 0, 0, 1, 0x65, 1},
                             Bytes{1, 0, 0, 1, 0x65, 1}, Bytes{0, 1, 0x65, 1}, Bytes{0, 0, 2, 0x65, 1}}) {
    EXPECT_FALSE(formats::frame_starts_well(Codec::kH264, bytes));
    EXPECT_FALSE(formats::frame_starts_well(Codec::kH265, bytes));
  }
  EXPECT_FALSE(formats::frame_starts_well(Codec::kH265, Bytes{0, 0, 0, 1, 0x40})) << "half a header";
}

TEST(FrameStart, OtherFrames) {
  EXPECT_TRUE(formats::frame_starts_well(Codec::kJpeg, Bytes{0xFF, 0xD8, 0xFF}));
  for (const Bytes &bytes : {Bytes{}, Bytes{0xFF, 0xD8}, Bytes{0xFF, 0xD8, 0xDB}, Bytes{0xFF, 0xD9, 0xFF}})
    EXPECT_FALSE(formats::frame_starts_well(Codec::kJpeg, bytes));
  for (unsigned type = 0; type < 16; ++type) {
    EXPECT_EQ(formats::frame_starts_well(Codec::kAv1, obu(type, {1})), (type >= 1 && type <= 8) || type == 15) << type;
  }
  EXPECT_FALSE(formats::frame_starts_well(Codec::kAv1, Bytes{0x10})) << "without a size";
  EXPECT_FALSE(formats::frame_starts_well(Codec::kAv1, Bytes{0x92, 0})) << "the forbidden bit";
  EXPECT_FALSE(formats::frame_starts_well(Codec::kAv1, Bytes{0x12, 0x80})) << "half a size";
  EXPECT_FALSE(formats::frame_starts_well(Codec::kAv1, Bytes{0x12, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F})) << "above 32 bits";
  EXPECT_TRUE(formats::frame_starts_well(Codec::kAv1, Bytes{0x12, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}));
  EXPECT_FALSE(formats::frame_starts_well(Codec::kAv1, Bytes{0x12, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0}));
  EXPECT_TRUE(formats::frame_starts_well(Codec::kGray, {}));
}

}  // namespace
