// The notation of log lines.
#include "log/json_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

std::string json(const camera::LogValue &value) {
  std::string text;
  camera::append_json(text, value);
  return text;
}

// A text that is not escaped, or is no UTF-8, would make the whole line unreadable.
TEST(JsonText, TextsAreEscaped) {
  using namespace std::string_view_literals;
  EXPECT_EQ(json("plain µ"sv), "\"plain µ\"");
  EXPECT_EQ(json("\" \\ \b \f \n \r \t"sv), R"("\" \\ \b \f \n \r \t")");
  EXPECT_EQ(json("\x01 \x1F \x7F \0 ."sv), "\"\\u0001 \\u001f \x7F \\u0000 .\"");
  EXPECT_EQ(json("a\xFF\xFE z\xC3"sv), "\"a\xEF\xBF\xBD\xEF\xBF\xBD z\xEF\xBF\xBD\"");
}

// Readers tell doubles from whole numbers by their look.
TEST(JsonText, DoublesHaveAPointOrAnExponent) {
  EXPECT_EQ(json(0.0), "0.0");
  EXPECT_EQ(json(30.0), "30.0");
  EXPECT_EQ(json(-29.97), "-29.97");
  EXPECT_EQ(json(100000.0), "100000.0");
  EXPECT_EQ(json(1e20), "1e+20");
  EXPECT_EQ(json(1e-7), "1e-07");
  EXPECT_EQ(json(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(json(std::numeric_limits<double>::quiet_NaN()), "null");
}

TEST(JsonText, OthersAreAsTheyAre) {
  EXPECT_EQ(json(nullptr), "null");
  EXPECT_EQ(json(true), "true");
  EXPECT_EQ(json(std::int64_t{-1}), "-1");
  EXPECT_EQ(json(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(json(zel_pair32u{1, 2}), "[1,2]");
  EXPECT_EQ(json(zel_quad32u{1, 2, 3, 4}), "[1,2,3,4]");
  const std::string_view texts[] = {"a", "b"};
  EXPECT_EQ(json(std::span<const std::string_view>(texts)), R"(["a","b"])");
  EXPECT_EQ(json(std::span<const std::string_view>()), "[]");
}

TEST(JsonText, MapsAreObjects) {
  const camera::Values none;
  EXPECT_EQ(json(&none), "{}");
  const camera::Values values = {{"a", true}, {"b", std::uint32_t{7}}, {"c", 0.5}, {"d", std::string("x")}};
  EXPECT_EQ(json(&values), R"({"a":true,"b":7,"c":0.5,"d":"x"})");
}

}  // namespace
