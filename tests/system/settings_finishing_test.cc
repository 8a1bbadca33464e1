// What the client adds to the settings between the command line and the stream.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <string>
#include <vector>

#include "harness/client_run.h"
#include "harness/pty.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

/// The writes into the settings map, and what was asked for, of a run that ends when it asks for the stream.
struct Request {
  std::vector<std::string> writes;
  std::map<std::string, json> settings;
  TruthLog truth;
};

Request request(const std::vector<std::string> &arguments) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  const RunResult result = run.run(arguments);
  EXPECT_EQ(result.err, "zel-client: asked\n");
  EXPECT_EQ(result.status, 1);
  TruthLog truth = run.truth();
  return {.writes = truth.writes_to_map(1), .settings = truth.requested_settings(), .truth = truth};
}

/// The same on a terminal, which stays for the caller to look at.
Request request_on(const Terminal &terminal, const std::vector<std::string> &arguments) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  run.stdin_from_descriptor(terminal.descriptor());
  const RunResult result = run.run(arguments);
  EXPECT_EQ(result.err, "zel-client: asked\n");
  TruthLog truth = run.truth();
  return {.writes = truth.writes_to_map(1), .settings = truth.requested_settings(), .truth = truth};
}

}  // namespace

// Catches settings that are added to a run without options.
TEST(SettingsFinishing, NoOptionsAddOnlyTheAutomaticRate) {
  const std::map<std::string, json> expected = {{"format", 0}, {"frame.chunks", true}, {"framerate.auto", true}};
  EXPECT_EQ(request({}).settings, expected);
}

// Catches a rate of 0 that counts as not given.
TEST(SettingsFinishing, AnyFramerateSuppressesTheAutomaticRate) {
  EXPECT_FALSE(request({"--framerate=0"}).settings.contains("framerate.auto"));
  EXPECT_FALSE(request({"-f", "25"}).settings.contains("framerate.auto"));
}

// Catches a crop that is not folded, or leaves its parts behind.
TEST(SettingsFinishing, CropIsFolded) {
  const Request made = request({"--crop.width=640", "--crop.height=480"});
  EXPECT_EQ(made.settings.at("crop"), json({0, 0, 640, 480}));
  for (const auto &[key, value] : made.settings) {
    EXPECT_FALSE(key.starts_with("crop.")) << key;
  }
  EXPECT_EQ(request({"-W", "640", "-H", "480", "-X", "10", "-Y", "20"}).settings.at("crop"), json({10, 20, 640, 480}));
}

// Catches half a crop that is folded or thrown away.
TEST(SettingsFinishing, IncompleteCropStaysAsItIs) {
  const std::map<std::string, json> settings = request({"--crop.width=640", "--crop.x=10"}).settings;
  EXPECT_FALSE(settings.contains("crop"));
  EXPECT_EQ(settings.at("crop.width"), 640);
  EXPECT_EQ(settings.at("crop.x"), 10);
  EXPECT_FALSE(request({"--crop.height=480", "--crop.x=1", "--crop.y=2"}).settings.contains("crop"));
}

// Catches switches missing from the group, in another order, or individual ones that win.
TEST(SettingsFinishing, DynamicIsExpanded) {
  const Request made = request({"--dynamic=1", "--dynamic.gop=0"});
  for (const char *key : {"dynamic", "dynamic.gop", "dynamic.force", "dynamic.bitrate", "dynamic.framerate",
                          "dynamic.lumostream", "dynamic.resolution", "dynamic.compression"}) {
    EXPECT_EQ(made.settings.at(key), true) << key;
  }
  const std::vector<std::string> expected = {
      "set_uint32 format 0",
      "set_boolean frame.chunks true",
      "set_boolean dynamic true",
      "set_boolean dynamic.gop false",
      "set_boolean framerate.auto true",
      "copy_value dynamic dynamic.gop",
      "copy_value dynamic dynamic.force",
      "copy_value dynamic dynamic.bitrate",
      "copy_value dynamic dynamic.framerate",
      "copy_value dynamic dynamic.lumostream",
      "copy_value dynamic dynamic.resolution",
      "copy_value dynamic dynamic.compression",
  };
  EXPECT_THAT(made.writes, ElementsAreArray(expected));
}

// Catches "--dynamic=0" that leaves individual switches on.
TEST(SettingsFinishing, DynamicOffIsExpandedToo) {
  const std::map<std::string, json> settings = request({"--dynamic=0", "--dynamic.bitrate=1"}).settings;
  EXPECT_EQ(settings.at("dynamic.bitrate"), false);
  EXPECT_EQ(settings.at("dynamic.resolution"), false);
}

// Catches steps in another order: expansion, crop, derived values, record.
TEST(SettingsFinishing, StepsComeInTheirOrder) {
  const Request made = request({"--dynamic=1", "--crop.width=6", "--crop.height=4", "--framerate=5", "6", "4"});
  std::vector<std::string> steps;
  for (const Call &call : made.truth.calls()) {
    const std::string key = call.args.value("key", "");
    if (call.name == "zel_map_copy_value" || (call.name == "zel_map_set_double" && key == "framerate")) {
      continue;
    }
    if (call.name.starts_with("zel_map_")) {
      steps.push_back(call.name.substr(8) + (key.empty() ? "" : " " + key));
    }
  }
  const std::vector<std::string> expected = {
      "new",
      "set_uint32 format",
      "set_boolean frame.chunks",
      "set_boolean dynamic",
      "set_uint32 crop.width",
      "set_uint32 crop.height",
      "contains_va",  // "framerate"
      "set_pair32u resolution",
      "contains_va",  // "dynamic"
      "contains_va",  // the crop's size
      "get_uint32 crop.x",
      "get_uint32 crop.y",
      "get_uint32 crop.width",
      "get_uint32 crop.height",
      "remove_prefix",
      "set_quad32u crop",
      "get_uint32 timestamp.type",
      "get_uint32 buffer_us",
      "get_boolean interactive",
      "new",
      "merge",
  };
  EXPECT_THAT(steps, ElementsAreArray(expected));
}

// Catches a request record that is not a merge of the finished settings into an empty map.
TEST(SettingsFinishing, RequestRecordIsACopy) {
  const Request made = request({"--bitrate=5", "640", "480"});
  EXPECT_THAT(made.truth.writes_to_map(2), ElementsAre("merge 1"));
  EXPECT_EQ(made.truth.map_at(2, made.truth.lines().size()), made.settings);
}

// Catches an interactive run whose stream blocks or whose terminal still edits lines or echoes.
TEST(SettingsFinishing, InteractiveRunSetsUpTheTerminal) {
  const Terminal terminal;
  const Request made = request_on(terminal, {"--interactive=1"});
  EXPECT_EQ(made.settings.at("socket.blocking"), false);
  EXPECT_EQ(terminal.modes().c_lflag & static_cast<tcflag_t>(ICANON | ECHO), 0U);
  EXPECT_TRUE(terminal.nonblocking());
}

// Catches a delayed-play run that is not treated like an interactive one.
TEST(SettingsFinishing, DelayedPlaySetsUpTheTerminalToo) {
  const Terminal terminal;
  const Request made = request_on(terminal, {"--buffer_us=500000"});
  EXPECT_EQ(made.settings.at("socket.blocking"), false);
  EXPECT_FALSE(made.settings.contains("interactive"));
  EXPECT_EQ(terminal.modes().c_lflag & static_cast<tcflag_t>(ICANON | ECHO), 0U);
  EXPECT_TRUE(terminal.nonblocking());
}

// Catches a plain run, or one that says no to both, that touches the terminal.
TEST(SettingsFinishing, OtherRunsLeaveTheTerminalAlone) {
  const Terminal terminal;
  const tcflag_t before = terminal.modes().c_lflag;
  const Request made = request_on(terminal, {"--interactive=0", "--buffer_us=0"});
  EXPECT_FALSE(made.settings.contains("socket.blocking"));
  EXPECT_EQ(terminal.modes().c_lflag, before);
  EXPECT_FALSE(terminal.nonblocking());
}

// Catches values that the client judges or repairs instead of the service.
TEST(SettingsFinishing, ValuesAreNotJudged) {
  EXPECT_EQ(request({"--crop.width=0", "--crop.height=-1", "--crop.x=99999"}).settings.at("crop"),
            json({99999, 0, 0, 4294967295U}));
}
