// The table of settings: every row is checked, granted and documented.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>

#include "settings/document.h"
#include "settings/table.h"
#include "support/camera_fixture.h"

namespace camera {

/// Shows the row by its key in test listings.
static void PrintTo(const Setting &setting, std::ostream *out) {
  *out << setting.key;
}

}  // namespace camera

namespace {

using camera::Kind;
using camera::Setting;

std::string test_name(std::string_view key) {
  std::string name(key);
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

class SettingTest : public CameraTest, public ::testing::WithParamInterface<Setting> {
 protected:
  SettingTest() { configure("pacing=virtual\nproducer=scripted"); }

  const Setting &row() const { return GetParam(); }

  /// A value of the row's type.
  Asked number(guint32 value) const {
    switch (row().kind) {
      case Kind::kBoolean:
        return {row().key, value != 0};
      case Kind::kDouble:
        return {row().key, static_cast<double>(value)};
      case Kind::kText:
      case Kind::kWords:
        return {row().key, "no such word"};
      case Kind::kPair:
        return {row().key, zel_pair32u{value, value}};
      case Kind::kTriple:
      case Kind::kQuad:
        return {row().key, zel_quad32u{value, value, value, value}};
      default:
        return {row().key, value};
    }
  }
};

std::string granted_text(zel_stream *stream, const char *key) {
  const MapRef settings(zel_stream_get_settings(stream, nullptr));
  GVariant *variant = zel_map_get_variant(settings.get(), key, nullptr);
  if (variant == nullptr) return "none";
  gchar *printed = g_variant_print(variant, FALSE);
  std::string text = printed;
  g_free(printed);
  g_variant_unref(variant);
  return text;
}

// A setting that nobody asked for is granted its default.
TEST_P(SettingTest, TheDefaultIsGranted) {
  create({}, 0);
  const std::string granted = granted_text(stream_.get(), row().key);
  if (row().derived != nullptr) {
    EXPECT_NE(granted, "none");
  } else if (row().preset == nullptr) {
    EXPECT_EQ(granted, "none");
  } else if (row().kind == Kind::kChoice) {
    const auto value = static_cast<guint32>(std::stoul(granted));
    EXPECT_STREQ(camera::nick_of(row().choices, value), row().preset);
  } else if (row().kind == Kind::kText || row().kind == Kind::kWords) {
    EXPECT_EQ(granted, "'" + std::string(row().preset) + "'");
  } else {
    EXPECT_EQ(granted, row().preset);
  }
}

// A bad value fails the creation of the stream with an error that names the setting and what it takes.
TEST_P(SettingTest, BadValuesAreRefused) {
  const std::string prefix = std::string(row().key) + ": ";
  const std::string accepted = camera::accepted_text(row());
  const auto expect_refused = [&](const Asked &asked) {
    const Failure failure = refusal({asked});
    EXPECT_EQ(failure.code, 4);
    EXPECT_TRUE(failure.message.starts_with(prefix)) << failure.message;
    EXPECT_NE(failure.message.find(accepted), std::string::npos) << failure.message;
  };
  const bool is_text = row().kind == Kind::kText || row().kind == Kind::kWords;
  expect_refused(is_text ? Asked{row().key, guint32{1}} : Asked{row().key, "text"});
  if (row().kind == Kind::kChoice) expect_refused(number(0xFFFFFFFF));
  if (is_text && row().words != nullptr) expect_refused(number(0));
  const bool is_number = row().kind == Kind::kUnsigned || row().kind == Kind::kDouble || row().kind == Kind::kPair;
  if (!is_number) return;
  if (row().maximum < 0xFFFFFFFF) expect_refused(number(static_cast<guint32>(row().maximum) + 1));
  if (row().minimum > 0 && row().zero == nullptr) expect_refused(number(0));
  if (row().minimum > 1) expect_refused(number(static_cast<guint32>(row().minimum) - 1));
}

// The ends of a range, each choice and each word are granted as they were asked for.
TEST_P(SettingTest, GoodValuesAreGranted) {
  std::vector<Asked> good;
  std::vector<std::string> words;
  switch (row().kind) {
    case Kind::kBoolean:
      good = {number(0), number(1)};
      if (std::string_view(row().key) == "framerate.auto") good = {number(1)};  // false needs a "framerate"
      break;
    case Kind::kChoice:
      for (const camera::Choice &choice : row().choices) {
        if (choice.value != camera::kFormatUnknown) good.push_back(number(choice.value));
      }
      break;
    case Kind::kText:
    case Kind::kWords: {
      std::string_view rest = row().words != nullptr ? row().words : "anything";
      while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        words.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
      }
      for (const std::string &word : words)
        good.push_back({row().key, word.c_str()});
      break;
    }
    case Kind::kUnsigned:
      if (row().minimum >= 1 || row().minimum == 0) good.push_back(number(static_cast<guint32>(row().minimum)));
      good.push_back(number(static_cast<guint32>(row().maximum)));
      if (std::string_view(row().key) == "rotation") good = {number(0), number(90), number(180), number(270)};
      break;
    case Kind::kDouble:
      good = {{row().key, row().minimum}, {row().key, row().maximum}};
      break;
    case Kind::kPair:
      good = {number(16), number(8192)};
      break;
    case Kind::kTriple:
      good = {{row().key, zel_quad32u{1, 2, 3, 0}}, {row().key, zel_quad32u{0, 0, 0, 0}}};
      break;
    case Kind::kQuad:
      good = {{row().key, zel_quad32u{0, 0, 1920, 1080}}, {row().key, zel_quad32u{8, 16, 16, 16}}};
      break;
  }
  for (const Asked &asked : good) {
    const MapRef map = request({asked});
    GVariant *wanted = zel_map_get_variant(map.get(), asked.key, nullptr);
    create({asked}, 0);
    if (HasFatalFailure()) {
      g_variant_unref(wanted);
      return;
    }
    const MapRef settings(zel_stream_get_settings(stream_.get(), nullptr));
    GVariant *granted = zel_map_get_variant(settings.get(), asked.key, nullptr);
    ASSERT_NE(granted, nullptr);
    EXPECT_TRUE(g_variant_equal(granted, wanted));
    g_variant_unref(granted);
    g_variant_unref(wanted);
  }
}

INSTANTIATE_TEST_SUITE_P(All, SettingTest,
                         ::testing::ValuesIn(camera::all_settings().begin(), camera::all_settings().end()),
                         [](const auto &one) { return test_name(one.param.key); });

using SettingsTest = CameraTest;

// The client's options are 70; six more keys are written without an option.
TEST_F(SettingsTest, EveryKeyIsInTheTableOnce) {
  std::set<std::string_view> keys;
  for (const Setting &setting : camera::all_settings())
    EXPECT_TRUE(keys.insert(setting.key).second) << setting.key;
  EXPECT_EQ(keys.size(), 76U);
}

TEST_F(SettingsTest, UnknownKeysAreRefused) {
  const Failure failure = refusal({{"bitrat", guint32{100000}}});
  EXPECT_EQ(failure.code, 4);
  EXPECT_EQ(failure.message, "bitrat: unknown setting");
}

// Messages that users see.
TEST_F(SettingsTest, RefusalsSayWhatIsAccepted) {
  EXPECT_EQ(refusal({{"resolution", zel_pair32u{0, 0}}}).message,
            "resolution: 0x0 is not accepted (two numbers, each 16 to 8192)");
  EXPECT_EQ(refusal({{"framerate", 100000.0}}).message, "framerate: 100000 is not accepted (0.1 to 1000)");
  EXPECT_EQ(refusal({{"bitrate", guint32{16}}}).message,
            "bitrate: 16 is not accepted (8000 to 500000000, or 0: automatic)");
  EXPECT_EQ(refusal({{"format", guint32{0xFFFFFFFF}}}).message,
            "format: 4294967295 is not accepted (h264, h265, jpeg, nv12, i420, gray, rgb, av1)");
  EXPECT_EQ(refusal({{"rotation", guint32{45}}}).message, "rotation: 45 is not accepted (0, 90, 180 or 270)");
  EXPECT_EQ(refusal({{"simd.align", guint32{3}}}).message,
            "simd.align: 3 is not accepted (a power of two from 1 to 4096, or 0)");
  EXPECT_EQ(refusal({{"crop", zel_quad32u{1900, 0, 64, 64}}}).message,
            "crop: 1900,0,64,64 is not accepted (x, y, width, height within the scene of 1920x1080, at least 16x16)");
  EXPECT_EQ(refusal({{"segment.bytes", zel_quad32u{5, 3, 0, 0}}}).message,
            "segment.bytes: 5,3,0 is not accepted (minimum <= target <= maximum, 0: no limit)");
  EXPECT_EQ(refusal({{"overlays", "text,stars"}}).message,
            "overlays: \"text,stars\" is not accepted (one or more of off, text, image, application, all, sync)");
  EXPECT_EQ(refusal({{"framerate.auto", false}}).message,
            "framerate: missing while framerate.auto is false (0.1 to 1000)");
}

// The document is what users set streams up by.
TEST_F(SettingsTest, TheDocumentHoldsTheTable) {
  constexpr std::string_view kBegin = "<!-- settings -->\n\n";
  constexpr std::string_view kEnd = "\n\n<!-- end of settings -->";
  const std::string document = read_text(ZEL_TEST_DOCUMENT);
  const std::size_t begin = document.find(kBegin);
  const std::size_t end = document.find(kEnd);
  ASSERT_NE(begin, std::string::npos);
  ASSERT_NE(end, std::string::npos);
  std::string table = document.substr(begin + kBegin.size(), end - begin - kBegin.size());
  while (!table.empty() && table.back() == '\n')
    table.pop_back();
  EXPECT_EQ(table + "\n", camera::settings_document()) << "print it with the build target zel-camera-settings";
}

// A setting that acts has a test of its name that measures what it does.
TEST_F(SettingsTest, EveryActingSettingIsMeasured) {
  std::set<std::string> measured;
  const auto &unit = *::testing::UnitTest::GetInstance();
  for (int i = 0; i < unit.total_test_suite_count(); ++i) {
    const auto &suite = *unit.GetTestSuite(i);
    if (std::string_view(suite.name()) != "Effect") continue;
    for (int k = 0; k < suite.total_test_count(); ++k)
      measured.insert(suite.GetTestInfo(k)->name());
  }
  for (const Setting &setting : camera::all_settings()) {
    EXPECT_EQ(measured.contains(test_name(setting.key)), setting.acts) << setting.key;
  }
}

}  // namespace
