// The text of a subtitle cue.
#include "formats/cue_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

using formats::cue_text;
using formats::parse_cue_text;

// Catches wrong places, missing leading zeroes and a lost fraction.
TEST(CueText, TimesOfTheServicesClock) {
  EXPECT_EQ(cue_text(0), "00:00:00.000000");
  EXPECT_EQ(cue_text(1), "00:00:00.000001");
  EXPECT_EQ(cue_text(12'345'678), "00:00:12.345678");
  EXPECT_EQ(cue_text(59'999'999), "00:00:59.999999");
  EXPECT_EQ(cue_text(60'000'000), "00:01:00.000000");
  EXPECT_EQ(cue_text(3'599'999'999), "00:59:59.999999");
  EXPECT_EQ(cue_text(3'723'000'001), "01:02:03.000001");
}

// Catches hours reduced to a day, which chrono formatting in {fmt} does, and hours cut to two digits.
TEST(CueText, HoursAreAllOfThem) {
  EXPECT_EQ(cue_text(86'399'999'999), "23:59:59.999999");
  EXPECT_EQ(cue_text(86'400'000'000), "24:00:00.000000");
  EXPECT_EQ(cue_text(360'000'000'000), "100:00:00.000000");
  EXPECT_EQ(cue_text(1'700'000'000'123'456), "472222:13:20.123456");  // since 1970
}

// Catches a minus on every field, a negative remainder, and overflow at the ends.
TEST(CueText, NegativeTimesAndTheEnds) {
  EXPECT_EQ(cue_text(-1), "-00:00:00.000001");
  EXPECT_EQ(cue_text(-3'723'000'001), "-01:02:03.000001");
  EXPECT_EQ(cue_text(std::numeric_limits<std::int64_t>::max()), "2562047788:00:54.775807");
  EXPECT_EQ(cue_text(std::numeric_limits<std::int64_t>::min()), "-2562047788:00:54.775808");
}

// Catches a text that is not read as the time that it was made of.
TEST(CueText, IsReadBack) {
  for (const std::int64_t time :
       {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{999'999}, std::int64_t{59'999'999},
        std::int64_t{-3'723'000'001}, std::int64_t{86'400'000'000}, std::int64_t{1'700'000'000'123'456},
        std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(parse_cue_text(cue_text(time)), time);
  }
}

// Catches texts that no time has, taken for one.
TEST(CueText, OtherTextsAreNone) {
  for (const char *text : {"",
                           "-",
                           ":",
                           "00",
                           "00:00:00",
                           "00:00:00.",
                           "00:00:00.00000",
                           "00:00:00.0000000",
                           "0:00:00.000000",
                           "00:0:00.000000",
                           "00:00:0.000000",
                           "000:00:00.000000",
                           "00:60:00.000000",
                           "00:00:60.000000",
                           "-00:00:00.000000",
                           "+00:00:00.000001",
                           "--00:00:00.000001",
                           " 00:00:00.000000",
                           "00:00:00.000000 ",
                           "00:00:00.000000\n",
                           "00:00:00,000000",
                           "00.00:00.000000",
                           "00:00:00.-00001",
                           "00:-1:00.000000",
                           "2562047788:00:54.775808",
                           "-2562047788:00:54.775809",
                           "2562047789:00:00.000000",
                           "18446744073709551616:00:00.000000",
                           "99999999999999999999999:00:00.000000",
                           "aa:bb:cc.dddddd"}) {
    EXPECT_EQ(parse_cue_text(text), std::nullopt) << text;
  }
}

}  // namespace
