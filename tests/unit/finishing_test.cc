// Settings finishing: which settings follow from those of the command line, and in what order they are written.
#include "settings/finishing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fake_zel.h"
#include "settings/run_settings.h"
#include "settings/settings_map.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

int terminal_set_ups = 0;

void set_up_terminal() {
  ++terminal_set_ups;
  EXPECT_FALSE(terminal_configured) << "only set once the set-up has succeeded";
  EXPECT_EQ(fake::calls().back(), "zel_map_set_boolean key=socket.blocking value=FALSE");
}

/// A quad setting as its numbers; empty when the key holds none.
std::vector<guint32> quad(const char *key) {
  GVariant *value = zel_map_get_variant(settings_map(), key, nullptr);
  if (value == nullptr) {
    return {};
  }
  std::vector<guint32> numbers(4);
  g_variant_get(value, "(uuuu)", &numbers[0], &numbers[1], &numbers[2], &numbers[3]);
  g_variant_unref(value);
  return numbers;
}

bool has(const char *key) {
  return zel_map_contains_va(settings_map(), key, nullptr) != FALSE;
}

class Finishing : public testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }

  static void finish() {
    fake::clear_calls();
    finish_settings(set_up_terminal);
  }

 private:
  static void clear() {
    zel_map_remove_prefix(settings_map(), "");
    request_record.reset();
    timestamp_type = 0;
    interactive = FALSE;
    terminal_configured = false;
    terminal_set_ups = 0;
    fake::reset();
  }
};

}  // namespace

// Catches an automatic frame rate that overrides an explicit one, a rate of 0 included.
TEST_F(Finishing, AutomaticFramerateOnlyWithoutFramerate) {
  choose_automatic_framerate();
  EXPECT_TRUE(zel_map_get_boolean(settings_map(), "framerate.auto", FALSE));
  zel_map_remove_prefix(settings_map(), "");
  zel_map_set_double(settings_map(), "framerate", 0.0);
  choose_automatic_framerate();
  EXPECT_FALSE(has("framerate.auto"));
}

// Catches settings invented for a run that asked for nothing.
TEST_F(Finishing, WritesNothingIntoAnEmptyMap) {
  finish();
  EXPECT_THAT(fake::calls("zel_map_set_"), IsEmpty());
  EXPECT_THAT(fake::calls("zel_map_copy_value"), IsEmpty());
  EXPECT_THAT(fake::calls("zel_map_remove_prefix"), IsEmpty());
  EXPECT_EQ(timestamp_type, 0U);
  EXPECT_FALSE(interactive);
  EXPECT_FALSE(terminal_configured);
  EXPECT_EQ(terminal_set_ups, 0);
}

// Catches a missing target, another order, or individual switches that survive the whole-group switch.
TEST_F(Finishing, DynamicOverridesItsSevenSwitches) {
  zel_map_set_boolean(settings_map(), "dynamic", TRUE);
  zel_map_set_boolean(settings_map(), "dynamic.gop", FALSE);
  finish();
  EXPECT_THAT(fake::calls("zel_map_copy_value"), ElementsAre("zel_map_copy_value from=dynamic to=dynamic.gop",
                                                             "zel_map_copy_value from=dynamic to=dynamic.force",
                                                             "zel_map_copy_value from=dynamic to=dynamic.bitrate",
                                                             "zel_map_copy_value from=dynamic to=dynamic.framerate",
                                                             "zel_map_copy_value from=dynamic to=dynamic.lumostream",
                                                             "zel_map_copy_value from=dynamic to=dynamic.resolution",
                                                             "zel_map_copy_value from=dynamic to=dynamic.compression"));
  EXPECT_TRUE(zel_map_get_boolean(settings_map(), "dynamic.gop", FALSE));
  EXPECT_TRUE(zel_map_get_boolean(settings_map(), "dynamic", FALSE)) << "the switch itself stays";
}

// Catches an expansion that looks at the switch's value.
TEST_F(Finishing, DynamicOffSwitchesAllOff) {
  zel_map_set_boolean(settings_map(), "dynamic", FALSE);
  zel_map_set_boolean(settings_map(), "dynamic.bitrate", TRUE);
  finish();
  EXPECT_EQ(fake::calls("zel_map_copy_value").size(), 7U);
  EXPECT_FALSE(zel_map_get_boolean(settings_map(), "dynamic.bitrate", TRUE));
  EXPECT_FALSE(zel_map_get_boolean(settings_map(), "dynamic.resolution", TRUE));
}

// Catches numbers of the crop mixed up, or the single settings left behind.
TEST_F(Finishing, FoldsACrop) {
  zel_map_set_uint32(settings_map(), "crop.width", 640);
  zel_map_set_uint32(settings_map(), "crop.height", 480);
  zel_map_set_uint32(settings_map(), "crop.x", 10);
  zel_map_set_uint32(settings_map(), "crop.y", 20);
  finish();
  EXPECT_THAT(quad("crop"), ElementsAre(10, 20, 640, 480));
  for (const char *key : {"crop.width", "crop.height", "crop.x", "crop.y"}) {
    EXPECT_FALSE(has(key)) << key;
  }
}

// Catches another order of the crop's reads, its removal and its store.
TEST_F(Finishing, FoldsACropInOrder) {
  zel_map_set_uint32(settings_map(), "crop.width", 640);
  zel_map_set_uint32(settings_map(), "crop.height", 480);
  finish();
  const std::vector<std::string> &calls = fake::calls();
  const std::vector<std::string> expected = {
      "zel_map_contains_va key=crop.width key=crop.height",
      "zel_map_get_uint32 key=crop.x",
      "zel_map_get_uint32 key=crop.y",
      "zel_map_get_uint32 key=crop.width",
      "zel_map_get_uint32 key=crop.height",
      "zel_map_remove_prefix prefix=crop.",
      "zel_map_set_quad32u key=crop value=0,0,640,480",
  };
  EXPECT_TRUE(std::search(calls.begin(), calls.end(), expected.begin(), expected.end()) != calls.end())
      << testing::PrintToString(calls);
}

// Catches a crop made from half of its size.
TEST_F(Finishing, LeavesAnIncompleteCropAlone) {
  zel_map_set_uint32(settings_map(), "crop.width", 640);
  zel_map_set_uint32(settings_map(), "crop.x", 10);
  finish();
  EXPECT_FALSE(has("crop"));
  EXPECT_EQ(zel_map_get_uint32(settings_map(), "crop.width", 0), 640U);
  EXPECT_EQ(zel_map_get_uint32(settings_map(), "crop.x", 0), 10U);
}

// Catches derived values that are not taken from their settings.
TEST_F(Finishing, DerivesTheRunSettings) {
  zel_map_set_uint32(settings_map(), "timestamp.type", 3);
  zel_map_set_boolean(settings_map(), "interactive", TRUE);
  finish();
  EXPECT_EQ(timestamp_type, 3U);
  EXPECT_TRUE(interactive);
}

// Catches an interactive run whose fetches block, or whose keyboard is not set up.
TEST_F(Finishing, InteractiveRunDoesNotBlock) {
  zel_map_set_boolean(settings_map(), "interactive", TRUE);
  finish();
  EXPECT_FALSE(zel_map_get_boolean(settings_map(), "socket.blocking", TRUE));
  EXPECT_EQ(terminal_set_ups, 1);
  EXPECT_TRUE(terminal_configured);
}

// Catches a delayed-play run without keyboard; the coupling is intended.
TEST_F(Finishing, DelayedPlayCountsAsNonBlocking) {
  zel_map_set_uint32(settings_map(), "buffer_us", 1);
  finish();
  EXPECT_FALSE(zel_map_get_boolean(settings_map(), "socket.blocking", TRUE));
  EXPECT_EQ(terminal_set_ups, 1);
  EXPECT_TRUE(terminal_configured);
  EXPECT_FALSE(interactive);
}

// Catches switches set to off that count as given.
TEST_F(Finishing, ZeroMeansNeither) {
  zel_map_set_uint32(settings_map(), "buffer_us", 0);
  zel_map_set_boolean(settings_map(), "interactive", FALSE);
  finish();
  EXPECT_FALSE(has("socket.blocking"));
  EXPECT_EQ(terminal_set_ups, 0);
  EXPECT_FALSE(terminal_configured);
}

// Catches a request record that is the map itself or was taken before the map was finished.
TEST_F(Finishing, RequestRecordIsACopyOfTheFinishedMap) {
  zel_map_set_boolean(settings_map(), "interactive", TRUE);
  zel_map_set_boolean(settings_map(), "dynamic", TRUE);
  finish();
  EXPECT_EQ(fake::calls().back(), "zel_map_merge");
  ASSERT_NE(request_record, nullptr);
  EXPECT_TRUE(zel_map_contains_va(request_record.get(), "dynamic.resolution", "socket.blocking", nullptr));
  zel_map_set_uint32(settings_map(), "intent", 21);
  EXPECT_FALSE(zel_map_contains_va(request_record.get(), "intent", nullptr));
}
