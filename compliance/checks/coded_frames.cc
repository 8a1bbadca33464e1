// Frames of each codec: what they say of themselves against what they hold.
#include <array>
#include <string>
#include <string_view>

#include "common/owned.h"
#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/codec.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"
#include "formats/bitstream.h"

namespace compliance {
namespace {

using formats::Codec;

/// Takes every frame with the call that the Matroska file is made with.
Take plainly(int) {
  return Take::kPlain;
}

/// Takes every third frame with the call that the raw file is made with, so that key frames are among both kinds.
Take in_both_ways(int index) {
  return index % 3 == 1 ? Take::kWithFlags : Take::kPlain;
}

/// Calls `look` with the first frames of a stream of the codec and their bytes, up to one that is not as expected.
template <typename Look>
void look_at_frames(const CodecRow &row, Look look, Take (*take)(int) = plainly) {
  constexpr int kFrames = 9;
  Stream stream(request_for(row), std::string("the format ") + row.name);
  stream.run(4);
  for (int i = 0; i < kFrames && !has_findings(); ++i) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    look(i, frame, take_bytes(frame, take(i)));
    stream.hand_back(buffer);
  }
}

bool is_key(const CodecRow &row, const Bytes &bytes) {
  return formats::frame_key(row.codec, bytes, true) == formats::KeyState::kKey;
}

void check_coding(const CodecRow &row) {
  const auto look = [&](int index, zel_frame *frame, const Bytes &bytes) {
    expect_equal("the count of bytes in the chunks of " + which_frame(row, index), bytes.size(),
                 zel().frame_get_size(frame));
    expect(formats::frame_starts_well(row.codec, bytes),
           which_frame(row, index) + " has " + shown(bytes) + ", expected the codec's own beginning");
  };
  look_at_frames(row, look, in_both_ways);
}

void check_first_frame(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *, const Bytes &bytes) {
    if (index != 0) return;
    expect_truth("whether decoding can begin with " + which_frame(row, index), is_key(row, bytes), true);
    expect_truth("whether there are parameter sets in " + which_frame(row, index),
                 formats::has_parameter_sets(row.codec, bytes), true);
  });
}

void check_header_size(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    const auto held = static_cast<gssize>(formats::header_size(row.codec, bytes, true).value_or(0));
    const gssize said = zel().frame_get_header_size(frame);
    expect(said == held, "the header size of " + which_frame(row, index) + " is " + shown(said) + ", expected " +
                             shown(held) + ", where its parameter sets end");
  });
}

void check_key_flag(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    expect_truth("the key flag of " + which_frame(row, index), zel().frame_is_key(frame), is_key(row, bytes));
  });
}

void check_shown_flag(const CodecRow &row) {
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &bytes) {
    expect_truth("whether " + which_frame(row, index) + " is shown", zel().frame_shown(frame),
                 formats::frame_is_shown(row.codec, bytes));
  });
}

void check_type(const CodecRow &row) {
  const EnumClassPtr types = enum_class(zel().frame_type_get_type());
  require(types != nullptr, "zel_frame_type_get_type gave no enumeration, expected one");
  look_at_frames(row, [&](int index, zel_frame *frame, const Bytes &) {
    const guint32 type = zel().frame_get_frame_type(frame);
    const GEnumValue *value = g_enum_get_value(types.get(), static_cast<gint>(type));
    require(value != nullptr, "the type of " + which_frame(row, index) + " is " + shown(type) +
                                  ", expected a value of zel_frame_type_get_type");
    const std::string word = value->value_nick;
    expect(word.size() <= row.columns, "the type of " + which_frame(row, index) + " is \"" + word + "\", expected " +
                                           shown(row.columns) + " characters at most");
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
               "The count of frames in the statistics, and the type \"!show\" in the frame lines", check_shown_flag},
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
