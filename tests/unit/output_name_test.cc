// Names of raw output files: which pass the check for split files, and what formatting makes of them.
#include "capture/output_name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/owned.h"

namespace {

ErrorPtr check(const char *output) {
  GError *error = nullptr;
  const bool passes = check_split_output_name(output, &error);
  EXPECT_EQ(passes, error == nullptr) << output;
  return ErrorPtr(error);
}

/// The formatted name; "(refused)" when it is none.
std::string format(const std::string &output, gint32 number) {
  std::array<char, kOutputNameRoom> name{};
  name.fill('#');
  errno = 0;
  if (format_output_name(output.c_str(), number, name)) {
    return name.data();
  }
  EXPECT_EQ(errno, EINVAL) << output;
  EXPECT_EQ(name[0], '\0') << output;
  return "(refused)";
}

}  // namespace

// Catches a pattern that is wider or narrower than the one that is kept.
TEST(SplitOutputName, AcceptsTheNarrowPattern) {
  for (const char *name : {"%d", "x%d", "%dx", "x%5d", "x%05d", "x%011d", "x%99d", "x%0123456789d", "a%%d",
                           "dir/%1d.h264", "%d%d", "%s%d", "100%%%d"}) {
    EXPECT_EQ(check(name), nullptr) << name;
  }
  for (const char *name : {"", "x", "/dev/null", "x%0d", "x%10d", "x%010d", "x%00d", "x%i", "x%u", "x%-d", "x%+5d",
                           "x%hd", "x%ld", "x%x", "x% d", "x%.3d", "%D", "d%"}) {
    EXPECT_NE(check(name), nullptr) << name;
  }
}

// Catches another text, domain or code of the refusal, and an errno that the check itself spoils.
TEST(SplitOutputName, RefusalTellsNameAndErrno) {
  errno = EPIPE;
  const ErrorPtr error = check("plain");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain, g_quark_from_string("zel-client-error"));
  EXPECT_EQ(error->code, 0);
  EXPECT_STREQ(error->message, "Output filename requires '%d' in 'plain' for split_ngop & split_nframes: Broken pipe");
}

// Catches a refused name used as a format when its error is made.
TEST(SplitOutputName, RefusalPrintsTheNameAsItIs) {
  errno = 0;
  const ErrorPtr error = check("x%n%s%10d");
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(error->message, "Output filename requires '%d' in 'x%n%s%10d' for split_ngop & split_nframes: Success");
}

// Catches a null error slot dereferenced.
TEST(SplitOutputName, NeedsNoErrorSlot) {
  EXPECT_FALSE(check_split_output_name("plain", nullptr));
  EXPECT_TRUE(check_split_output_name("%d", nullptr));
}

// Catches names that are copied instead of formatted, and formatted with something else than one integer.
TEST(OutputName, IsAFormatForOneInteger) {
  EXPECT_EQ(format("plain.h264", 7), "plain.h264");
  EXPECT_EQ(format("a%d", 0), "a0");
  EXPECT_EQ(format("a%d", -1), "a-1");
  EXPECT_EQ(format("cap%03d.h264", 100), "cap100.h264");
  EXPECT_EQ(format("x%5d", 12), "x   12");
  EXPECT_EQ(format("x%05d", 12), "x00012");
  EXPECT_EQ(format("x%011d", 12), "x00000000012");
  EXPECT_EQ(format("x%i", 12), "x12");
  EXPECT_EQ(format("x%u", -1), "x4294967295");
  EXPECT_EQ(format("x%x", 255), "xff");
  EXPECT_EQ(format("x%X", 255), "xFF");
  EXPECT_EQ(format("x%o", 8), "x10");
  EXPECT_EQ(format("x%#x", 255), "x0xff");
  EXPECT_EQ(format("x%c", 65), "xA");
  EXPECT_EQ(format("x%hd", 65537), "x1");
  EXPECT_EQ(format("x%hhd", 257), "x1");
  EXPECT_EQ(format("x%+d", 5), "x+5");
  EXPECT_EQ(format("x%-4dy", 5), "x5   y");
  EXPECT_EQ(format("x%.3d", 5), "x005");
  EXPECT_EQ(format("a%%d", 5), "a%d");
  EXPECT_EQ(format("100%%", 5), "100%");
  EXPECT_EQ(format("", 5), "");
}

// Catches a conversion with undefined behaviour that reaches printf: it would crash or write elsewhere.
TEST(OutputName, RefusesWhatTakesNoInteger) {
  for (const char *output : {"%s",  "%n",  "%p",  "%f",   "%e",   "%g", "%a",   "%m",  "%ld",  "%lld", "%jd",  "%zd",
                             "%td", "%qd", "%Lf", "%lc",  "%C",   "%S", "%hhn", "%*d", "%.*d", "%5",   "%",    "x%",
                             "%-",  "%.",  "%h",  "%1$d", "%2$d", "%k", "%y",   "%0",  "%%%",  "%d%",  "%I32d"}) {
    EXPECT_EQ(format(output, 1), "(refused)") << output;
    EXPECT_FALSE(takes_at_most_one_integer(output)) << output;
  }
}

// Catches a second conversion, which would take an argument that is not there.
TEST(OutputName, RefusesASecondConversion) {
  for (const char *output : {"%d%d", "%d%s", "%s%d", "%d%n", "%d%%%d", "a%ib%u"}) {
    EXPECT_EQ(format(output, 1), "(refused)") << output;
  }
  EXPECT_EQ(format("%%%d%%", 1), "%1%");
}

// Catches a name that overruns its buffer: what a number adds is limited to 15 characters.
TEST(OutputName, IsCutToItsLimit) {
  EXPECT_EQ(format("x%99d", 1), "x" + std::string(19, ' '));
  EXPECT_EQ(format("%20d", 1), std::string(19, ' '));
  EXPECT_EQ(format("%19d", 1), std::string(18, ' ') + "1");
  EXPECT_EQ(format("%011d", -2147483647 - 1), "-2147483648");
}

// Catches a long name written past the room that the caller gave.
TEST(OutputName, LongNamesStayInTheRoom) {
  const std::string output(2 * kOutputNameRoom, 'a');
  std::array<char, kOutputNameRoom + 1> name{};
  name.back() = '#';
  EXPECT_TRUE(format_output_name(output.c_str(), 1, std::span(name).first(kOutputNameRoom)));
  EXPECT_EQ(std::strlen(name.data()), kOutputNameRoom - 1);
  EXPECT_EQ(name.back(), '#');
}

// Catches a numberless conversion width that makes printf fail being taken for a name.
TEST(OutputName, AWidthBeyondIntIsRefusedOrCut) {
  const std::string name = format("%99999999999d", 1);
  EXPECT_TRUE(name == "(refused)" || name.size() <= std::strlen("%99999999999d") + 15) << name;
}
