// The parsers of the stream options: what each text stores, and which texts are refused.
#include "settings/option_parsers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "common/owned.h"
#include "fake_zel.h"
#include "settings/settings_map.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What one parser did with one text.
struct Parsed {
  bool taken = false;
  ErrorPtr error;
  std::vector<std::string> stored;  ///< the settings map's writes
  std::string printed;              ///< on standard error
};

constexpr char kKey[] = "some.key";

Parsed parse_with(GOptionArgFunc parser, const char *value, gpointer data) {
  fake::reset();
  GError *error = nullptr;
  testing::internal::CaptureStderr();
  const gboolean taken = parser("--some.key", value, data, &error);
  Parsed parsed{taken != FALSE, ErrorPtr(error), fake::calls("zel_map_set_"), testing::internal::GetCapturedStderr()};
  return parsed;
}

Parsed parse(GOptionArgFunc parser, const char *value) {
  return parse_with(parser, value, const_cast<char *>(kKey));
}

Parsed parse_enum(GType type, const char *value) {
  EnumOptionData data = {.enum_type = type, .key = kKey};
  return parse_with(parse_enum_option, value, &data);
}

/// The stored value of a parser that must take the text and store exactly one setting under the key.
std::string stored_by(GOptionArgFunc parser, const char *setter, const char *value) {
  const Parsed parsed = parse(parser, value);
  EXPECT_TRUE(parsed.taken) << value;
  EXPECT_EQ(parsed.error, nullptr);
  EXPECT_EQ(parsed.stored.size(), 1U);
  const std::string begin = std::string(setter) + " key=some.key value=";
  if (parsed.stored.size() != 1 || !parsed.stored[0].starts_with(begin)) {
    ADD_FAILURE() << "not stored with " << setter << ": " << testing::PrintToString(parsed.stored);
    return {};
  }
  return parsed.stored[0].substr(begin.size());
}

void expect_refused(GOptionArgFunc parser, const char *value) {
  const Parsed parsed = parse(parser, value);
  EXPECT_FALSE(parsed.taken) << (value != nullptr ? value : "(null)");
  EXPECT_EQ(parsed.error, nullptr) << "only the enum parser says why";
  EXPECT_THAT(parsed.stored, IsEmpty());
  EXPECT_EQ(parsed.printed, "");
}

std::string stored_unsigned(const char *value) {
  return stored_by(parse_uint_option, "zel_map_set_uint32", value);
}

std::string stored_boolean(const char *value) {
  return stored_by(parse_bool_option, "zel_map_set_boolean", value);
}

std::string stored_double(const char *value) {
  return stored_by(parse_double_option, "zel_map_set_double", value);
}

std::string stored_triple(const char *value) {
  return stored_by(parse_triple_option, "zel_map_set_quad32u", value);
}

}  // namespace

// Catches a conversion that does not know the three notations, signs and leading blanks.
TEST(ParseUnsigned, ReadsTheNotationsOfScanf) {
  EXPECT_EQ(stored_unsigned("16"), "16");
  EXPECT_EQ(stored_unsigned("0x10"), "16");
  EXPECT_EQ(stored_unsigned("0X1f"), "31");
  EXPECT_EQ(stored_unsigned("010"), "8");
  EXPECT_EQ(stored_unsigned("+7"), "7");
  EXPECT_EQ(stored_unsigned("  42"), "42");
  EXPECT_EQ(stored_unsigned("0"), "0");
}

// Catches a range check or a saturating conversion of negative numbers.
TEST(ParseUnsigned, StoresNegativeNumbersAsTwosComplement) {
  EXPECT_EQ(stored_unsigned("-1"), "4294967295");
  EXPECT_EQ(stored_unsigned("-2147483648"), "2147483648");
}

// Catches another reading of numbers beyond 32 bits: the C library's long takes them, whose low 32 bits are stored.
TEST(ParseUnsigned, CutsNumbersAsLongAsTheMachinesLong) {
  constexpr bool kLongIsShort = sizeof(long) == 4;  // as on the camera: such numbers stop at its ends there
  EXPECT_EQ(stored_unsigned("2147483647"), "2147483647");
  EXPECT_EQ(stored_unsigned("2147483648"), kLongIsShort ? "2147483647" : "2147483648");
  EXPECT_EQ(stored_unsigned("4294967295"), kLongIsShort ? "2147483647" : "4294967295");
  EXPECT_EQ(stored_unsigned("0x100000007"), kLongIsShort ? "2147483647" : "7");
  EXPECT_EQ(stored_unsigned("-4294967295"), kLongIsShort ? "2147483648" : "1");
  EXPECT_EQ(stored_unsigned("9223372036854775808"), kLongIsShort ? "2147483647" : "4294967295");
}

// Catches a strict parser: what follows the number is ignored.
TEST(ParseUnsigned, IgnoresWhatFollowsTheNumber) {
  EXPECT_EQ(stored_unsigned("12abc"), "12");
  EXPECT_EQ(stored_unsigned("08"), "0");
  EXPECT_EQ(stored_unsigned("3.9"), "3");
}

// Catches an empty text that fails: it counts as 0.
TEST(ParseUnsigned, TakesAnEmptyTextAsZero) {
  EXPECT_EQ(stored_unsigned(""), "0");
  EXPECT_EQ(stored_unsigned("   "), "0");
}

// Catches text that is no number stored as 0, and a missing text dereferenced.
TEST(ParseUnsigned, RefusesNoNumberAndNoText) {
  expect_refused(parse_uint_option, "abc");
  expect_refused(parse_uint_option, "-");
  expect_refused(parse_uint_option, nullptr);
}

// Catches booleans read as words, or any number but 1 taken as false.
TEST(ParseBoolean, StoresTheNumbersTruth) {
  EXPECT_EQ(stored_boolean("1"), "TRUE");
  EXPECT_EQ(stored_boolean("0"), "FALSE");
  EXPECT_EQ(stored_boolean("2"), "TRUE");
  EXPECT_EQ(stored_boolean("-1"), "TRUE");
  EXPECT_EQ(stored_boolean("0x0"), "FALSE");
  EXPECT_EQ(stored_boolean("1yes"), "TRUE");
  EXPECT_EQ(stored_boolean(""), "FALSE");
  expect_refused(parse_bool_option, "true");
  expect_refused(parse_bool_option, "yes");
  expect_refused(parse_bool_option, nullptr);
}

// Catches fractions lost, and a locale's decimal comma.
TEST(ParseDouble, ReadsWhatScanfReads) {
  EXPECT_EQ(stored_double("29.97"), "29.969999999999999");
  EXPECT_EQ(stored_double("25"), "25.0");
  EXPECT_EQ(stored_double("0"), "0.0");
  EXPECT_EQ(stored_double("1e2"), "100.0");
  EXPECT_EQ(stored_double("-0.5"), "-0.5");
  EXPECT_EQ(stored_double("12,5"), "12.0");
  EXPECT_EQ(stored_double("30fps"), "30.0");
  EXPECT_EQ(stored_double(""), "0.0");
  expect_refused(parse_double_option, "fast");
  expect_refused(parse_double_option, nullptr);
}

// Catches text that is changed, trimmed or refused when empty.
TEST(ParseString, StoresTheTextAsItIs) {
  const auto stored = [](const char *text) { return stored_by(parse_string_option, "zel_map_set_string", text); };
  EXPECT_EQ(stored("nv12"), "nv12");
  EXPECT_EQ(stored(" two words %d "), " two words %d ");
  EXPECT_EQ(stored(""), "");
  expect_refused(parse_string_option, nullptr);
}

// Catches missing numbers that are not 0, a fourth number that is stored, and separators other than a comma.
TEST(ParseTriple, StoresUpToThreeNumbers) {
  EXPECT_EQ(stored_triple("1,2,3"), "1,2,3,0");
  EXPECT_EQ(stored_triple("1000"), "1000,0,0,0");
  EXPECT_EQ(stored_triple("5,6"), "5,6,0,0");
  EXPECT_EQ(stored_triple("1,2,3,4"), "1,2,3,0");
  EXPECT_EQ(stored_triple("0x10,010,-1"), "16,8,4294967295,0");
  EXPECT_EQ(stored_triple("1;2;3"), "1,0,0,0");
  EXPECT_EQ(stored_triple("1,x,3"), "1,0,0,0");
  EXPECT_EQ(stored_triple(""), "0,0,0,0");
  expect_refused(parse_triple_option, ",2,3");
  expect_refused(parse_triple_option, "x");
  expect_refused(parse_triple_option, nullptr);
}

// Catches a nick stored as text or as its place in the list instead of its number.
TEST(ParseEnum, StoresTheNicksNumber) {
  const Parsed parsed = parse_enum(zel_format_get_type(), "av1");
  EXPECT_TRUE(parsed.taken);
  EXPECT_EQ(parsed.error, nullptr);
  EXPECT_THAT(parsed.stored, ElementsAre("zel_map_set_uint32 key=some.key value=10"));
  EXPECT_EQ(parsed.printed, "");
}

// Catches names, numbers, other letter cases and parts of nicks that are accepted, and wrong texts of the two messages.
TEST(ParseEnum, RefusesEverythingButANick) {
  for (const char *value : {"h266", "ZEL_FORMAT_H264", "0", "H264", "h26", "h264 ", ""}) {
    const Parsed parsed = parse_enum(zel_format_get_type(), value);
    EXPECT_FALSE(parsed.taken) << value;
    EXPECT_THAT(parsed.stored, IsEmpty());
    EXPECT_EQ(parsed.printed, "zel_format(h264, h265, jpeg, nv12, av1)\n");
    ASSERT_NE(parsed.error, nullptr);
    EXPECT_EQ(parsed.error->domain, g_quark_from_string("zel-client-error"));
    EXPECT_EQ(parsed.error->code, 0);
    EXPECT_EQ(parsed.error->message, std::string("Failed to parse zel_format: --some.key ") + value);
  }
}

// Catches a missing value that crashes or is taken for the first nick.
TEST(ParseEnum, RefusesNoValue) {
  const Parsed parsed = parse_enum(zel_format_get_type(), nullptr);
  EXPECT_FALSE(parsed.taken);
  EXPECT_EQ(parsed.printed, "zel_format(h264, h265, jpeg, nv12, av1)\n");
  ASSERT_NE(parsed.error, nullptr);
  EXPECT_STREQ(parsed.error->message, "Failed to parse zel_format: --some.key (null)");
}

// Catches wrong separators in the generated lists, and an enumeration of one value or none that breaks them.
TEST(EnumChoices, ListsNameAndNicks) {
  EXPECT_STREQ(enum_choices(zel_format_get_type()).get(), "zel_format(h264, h265, jpeg, nv12, av1)");
  EXPECT_STREQ(enum_choices(zel_h265_profile_get_type()).get(), "zel_h265_profile(main)");
  static constexpr GEnumValue kNone[] = {{0, nullptr, nullptr}};
  EXPECT_STREQ(enum_choices(g_enum_register_static("EmptyEnum", kNone)).get(), "EmptyEnum)");
}
