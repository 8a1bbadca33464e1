// The enumerations: what users type, and the numbers that the client knows.
#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "common/owned.h"
#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/request.h"
#include "formats/stream_format.h"

namespace compliance {
namespace {

/// The values of an enumeration, in its order. A Finding when the type is none.
std::vector<GEnumValue> values_of(Entry<GType (*)()> Library::*function) {
  const Entry<GType (*)()> &entry = zel().*function;
  const GType type = entry();
  if (!G_TYPE_IS_ENUM(type)) {
    const gchar *name = g_type_name(type);
    throw Finding(std::string(entry.name()) + " gave the type " + (name != nullptr ? name : "0") +
                  ", expected an enumeration");
  }
  const EnumClassPtr values = enum_class(type);
  return {values->values, values->values + values->n_values};
}

bool has_value(const std::vector<GEnumValue> &values, gint number) {
  for (const GEnumValue &value : values)
    if (value.value == number) return true;
  return false;
}

/// The values of an enumeration for the report: "ZelFormat: h264 0, h265 1".
std::string words_of(GType type, const std::vector<GEnumValue> &values) {
  std::string text = g_type_name(type);
  const char *separator = ": ";
  for (const GEnumValue &value : values) {
    text += separator;
    text += value.value_nick != nullptr ? value.value_nick : "";
    text += ' ';
    text += shown(value.value);
    separator = ", ";
  }
  return text;
}

std::string says(const std::string &function, const std::string &word) {
  return function + " has the word \"" + word + "\" ";
}

void check_words() {
  for (const Enumeration &enumeration : enumerations) {
    const std::string function = (zel().*enumeration.type).name();
    const std::vector<GEnumValue> values = values_of(enumeration.type);
    note(words_of((zel().*enumeration.type)(), values));
    expect(!values.empty(), function + " has no values, expected some");
    std::set<std::string> words;
    for (const GEnumValue &value : values) {
      const std::string word = value.value_nick != nullptr ? value.value_nick : "";
      expect(!word.empty() && word.find_first_of(" ,\t\n") == std::string::npos,
             says(function, word) + "for " + shown(value.value) + ", expected one without blanks");
      expect(words.insert(word).second, says(function, word) + "twice, expected it once");
    }
  }
}

/// The number that belongs to a word with this part.
struct KnownFormat {
  std::string_view part;
  std::uint32_t number;
};
constexpr std::array kKnownFormats = {
    KnownFormat{"264", formats::kFormatH264},  KnownFormat{"265", formats::kFormatH265},
    KnownFormat{"hevc", formats::kFormatH265}, KnownFormat{"jpeg", formats::kFormatJpeg},
    KnownFormat{"mjpg", formats::kFormatJpeg}, KnownFormat{"av1", formats::kFormatAv1},
};

void check_formats() {
  bool knows_one = false;
  for (const GEnumValue &value : values_of(&Library::format_get_type)) {
    const std::string_view word = value.value_nick;
    for (const KnownFormat &known : kKnownFormats) {
      if (word.find(known.part) == std::string_view::npos) continue;
      expect_equal("the number of the format \"" + std::string(word) + "\"", static_cast<guint32>(value.value),
                   known.number);
      knows_one = true;
    }
  }
  expect(knows_one, "no word of a format has 264, 265, hevc, jpeg, mjpg or av1 in it, expected one of them");
}

void check_timestamp_types() {
  const std::vector<GEnumValue> values = values_of(&Library::timestamp_get_type);
  expect(has_value(values, 0), "no timestamp type has the number 0, expected one: the presentation time");
  expect(has_value(values, 1), "no timestamp type has the number 1, expected one: the wall clock");
  for (const GEnumValue &value : values) {
    expect(value.value >= 0, std::string("the number of the timestamp type \"") + value.value_nick + "\" is " +
                                 shown(value.value) + ", expected no negative one");
  }
}

void check_buffer_strategies() {
  expect(has_value(values_of(&Library::buffer_strategy_get_type), 4),
         "no buffer strategy has the number 4, expected one: the service brings its own buffers");
}

void check_buffer_accesses() {
  const std::vector<GEnumValue> values = values_of(&Library::buffer_access_get_type);
  expect(has_value(values, 1), "no buffer access has the number 1, expected one: the client may read the data");
  for (const GEnumValue &value : values) {
    const std::string word = value.value_nick;
    if (!word.starts_with("read")) continue;
    expect((value.value & 1) != 0,
           "the number of the buffer access \"" + word + "\" is " + shown(value.value) + ", expected one with bit 0");
  }
}

void check_frame_types() {
  for (const GEnumValue &value : values_of(&Library::frame_type_get_type)) {
    const std::string word = value.value_nick;
    expect(word.size() <= 9,
           "the word of the frame type \"" + word + "\" has " + shown(word.size()) + " characters, expected 9 at most");
  }
}

}  // namespace

std::vector<Check> enumeration_checks() {
  return {
      {.name = "Library.Words",
       .expects = "Every enumeration has values, each with a word of its own and without blanks",
       .relies = "The options that take words, such as --format and --rc.mode, and what the help says of them",
       .run = check_words},
      {.name = "Library.Formats",
       .expects = "Words of H.264, H.265, JPEG and AV1 have the numbers 0, 1, 2 and 10",
       .relies = "The codec of the Matroska file and the columns of the frame lines",
       .run = check_formats},
      {.name = "Library.TimestampTypes",
       .expects = "There are the timestamp types 0 and 1, and none is negative",
       .relies = "--timestamp.type: 0 shows the latency, 1 the wall clock, any other the custom timestamp",
       .run = check_timestamp_types},
      {.name = "Library.BufferStrategies",
       .expects = "There is the buffer strategy 4",
       .relies = "--buffer.strategy: under 4 the client brings no buffers of its own",
       .run = check_buffer_strategies},
      {.name = "Library.BufferAccesses",
       .expects = "There is the buffer access 1, and words that begin with \"read\" have bit 0",
       .relies = "--buffer.access: frames are stored only when bit 0 is set",
       .run = check_buffer_accesses},
      {.name = "Library.FrameTypes",
       .expects = "Words of frame types have at most 9 characters",
       .relies = "The columns of the frame lines",
       .run = check_frame_types},
  };
}

}  // namespace compliance
