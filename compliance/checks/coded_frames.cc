// Frames of each codec: what they say of themselves against what they hold.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "common/owned.h"
#include "compliance/checks/check.h"
#include "compliance/common/finding.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"
#include "formats/bitstream.h"

namespace compliance {
namespace {

using formats::Codec;

/// A codec, and how many characters the frame lines have for the types of its frames.
struct CodecRow {
  Codec codec;
  const char *name;
  guint32 format;
  std::size_t columns;
};
constexpr std::size_t kAnyColumns = 1000;  // the column follows the first type
constexpr std::array kCodecs = {
    CodecRow{Codec::kH264, "h264", formats::kFormatH264, 8},
    CodecRow{Codec::kH265, "h265", formats::kFormatH265, 8},
    CodecRow{Codec::kJpeg, "jpeg", formats::kFormatJpeg, kAnyColumns},
    CodecRow{Codec::kAv1, "av1", formats::kFormatAv1, 9},
};

/// A request for the codec's frames, with key frames among others. A Skip when it is not offered or not asked for.
Request request_for(const CodecRow &row) {
  const std::string name = row.name;
  const std::optional<guint32> asked = asked_number("format");
  if (asked && *asked != row.format) throw Skip("--set asks for the format " + std::to_string(*asked));
  const EnumClassPtr formats = enum_class(zel().format_get_type());
  if (formats == nullptr || g_enum_get_value(formats.get(), static_cast<gint>(row.format)) == nullptr) {
    throw Skip("the library has no format " + std::to_string(row.format));
  }
  Request request;
  request.set("format", row.format).set("buffer.access", guint32{1});
  if (row.codec != Codec::kJpeg) request.set("gop_length", guint32{4});
  return request;
}

/// Calls `look` with the first frames of a stream of the codec and their bytes, up to one that is not as expected.
template <typename Look>
void look_at_frames(const CodecRow &row, Look look) {
  constexpr int kFrames = 9;
  Stream stream(request_for(row), std::string("the format ") + row.name);
  stream.run(4);
  for (int i = 0; i < kFrames && !testing::Test::HasFailure(); ++i) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    look(i, frame, take_bytes(frame));
    stream.hand_back(buffer);
  }
}

using Bytes = std::vector<std::uint8_t>;

/// "frame 3 of h264".
std::string which(const CodecRow &row, int index) {
  return "frame " + std::to_string(index) + " of " + row.name;
}

/// The first bytes, hexadecimal, each after a blank.
std::string beginning_of(const Bytes &bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size() && i < 8; ++i) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += {' ', kDigits[bytes[i] >> 4U], kDigits[bytes[i] & 15U]};
  }
  return text;
}

bool is_key(const CodecRow &row, const Bytes &bytes) {
  return formats::frame_key(row.codec, bytes, true) == formats::KeyState::kKey;
}

void check_coding(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    EXPECT_EQ(bytes.size(), zel().frame_get_size(frame)) << "the bytes of " << which(row, index) << " and its size";
    EXPECT_TRUE(formats::frame_starts_well(row.codec, bytes))
        << which(row, index) << " begins with" << beginning_of(bytes) << ", expected the codec's own beginning";
  });
}

void check_first_frame(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *, const Bytes &bytes) {
    if (index != 0) return;
    EXPECT_TRUE(is_key(row, bytes)) << "whether decoding can begin with " << which(row, index);
    EXPECT_TRUE(formats::has_parameter_sets(row.codec, bytes)) << "parameter sets in " << which(row, index);
  });
}

void check_header_size(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    const auto held = static_cast<gssize>(formats::header_size(row.codec, bytes, true).value_or(0));
    EXPECT_EQ(zel().frame_get_header_size(frame), held)
        << "the header size of " << which(row, index) << ", on the left, and where its bytes end the header";
  });
}

void check_key_flag(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    EXPECT_EQ(zel().frame_is_key(frame) != FALSE, is_key(row, bytes))
        << "the key flag of " << which(row, index) << ", on the left, and what its bytes are";
  });
}

void check_shown_flag(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    EXPECT_EQ(zel().frame_shown(frame) != FALSE, formats::frame_is_shown(row.codec, bytes))
        << "whether " << which(row, index) << " is shown, on the left, and what its bytes say";
  });
}

void check_type(const CodecRow &row) {
  const EnumClassPtr types = enum_class(zel().frame_type_get_type());
  ASSERT_NE(types, nullptr) << "the class of zel_frame_type_get_type";
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &) {
    const guint32 type = zel().frame_get_frame_type(frame);
    const GEnumValue *value = g_enum_get_value(types.get(), static_cast<gint>(type));
    ASSERT_NE(value, nullptr) << "the type " << type << " of " << which(row, index) << " in zel_frame_type_get_type";
    EXPECT_LE(std::string_view(value->value_nick).size(), row.columns)
        << "the length of \"" << value->value_nick << "\", the type of " << which(row, index) << ", on the left";
  });
}

/// A check that there is once for each codec.
struct CodedCheck {
  const char *name;
  const char *expects;
  const char *relies;
  void (*run)(const CodecRow &row);
};
constexpr std::array kChecks = {
    CodedCheck{"Frames.Coding", "Frames are what the format says, and their chunks add up to their size",
               "Raw and Matroska files that other programs can read", check_coding},
    CodedCheck{"Frames.FirstFrame", "The first frame is a key frame with parameter sets",
               "Decoding the files from their beginning; the Matroska file's codec header", check_first_frame},
    CodedCheck{"Frames.HeaderSize", "The header size is that of the parameter sets at the frame's start",
               "The sidecar's records, and the Matroska file's codec header", check_header_size},
    CodedCheck{"Frames.KeyFlag", "The key flag is set for frames with which decoding can begin, for no others",
               "--split_ngop, and the index of the Matroska file", check_key_flag},
    CodedCheck{"Frames.ShownFlag", "Frames are said to be shown unless their bytes say otherwise",
               "The count of frames in the statistics, and the type \"!shown\" in the frame lines", check_shown_flag},
    CodedCheck{"Frames.Types", "A frame's type is in the enumeration, with a word that fits its column",
               "The frame lines: 8 characters for H.264 and H.265, 9 for AV1", check_type},
};

}  // namespace

std::vector<Check> coded_frame_checks() {
  std::vector<Check> checks;
  for (const CodedCheck &check : kChecks) {
    for (const CodecRow &row : kCodecs) {
      // Every frame of JPEG is a key frame that has all that it needs.
      if (check.run == check_first_frame && row.codec == Codec::kJpeg) continue;
      checks.push_back({.name = std::string(check.name) + "/" + row.name,
                        .expects = check.expects,
                        .relies = check.relies,
                        .run = [&check, &row] { check.run(row); }});
    }
  }
  return checks;
}

}  // namespace compliance
