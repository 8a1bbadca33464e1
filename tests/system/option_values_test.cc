// Values of stream options on the command line, as the video service gets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "harness/client_run.h"

using nlohmann::json;
using testing::ElementsAre;

namespace {

/// A run that ends when it asks for the stream.
struct Stored {
  RunResult result;
  std::map<std::string, json> settings;
  std::vector<std::string> writes;  ///< into the settings map, in order
};

Stored store(const std::vector<std::string> &arguments) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  Stored made{.result = run.run(arguments), .settings = {}, .writes = {}};
  EXPECT_EQ(made.result.err, "zel-client: asked\n") << testing::PrintToString(arguments);
  EXPECT_EQ(made.result.status, 1);
  const TruthLog truth = run.truth();
  made.settings = truth.requested_settings();
  made.writes = truth.writes_to_map(1);
  return made;
}

/// What one option leaves under `key`.
json stored(const std::string &key, const std::string &option) {
  const Stored made = store({option});
  const auto found = made.settings.find(key);
  if (found == made.settings.end()) {
    ADD_FAILURE() << option << " stores nothing under " << key;
    return {};
  }
  return found->second;
}

/// A run that ends in parsing: nothing was asked of the service.
RunResult refused(const std::vector<std::string> &arguments) {
  ClientRun run;
  RunResult result = run.run(arguments);
  EXPECT_EQ(result.status, 1) << testing::PrintToString(arguments);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
  return result;
}

}  // namespace

// Catches unsigned values read with other rules than sscanf's "%i".
TEST(OptionValues, Unsigned) {
  EXPECT_EQ(stored("bitrate", "--bitrate=2000000"), 2000000);
  EXPECT_EQ(stored("bitrate", "--bitrate=0x10"), 16);
  EXPECT_EQ(stored("bitrate", "--bitrate=010"), 8);
  EXPECT_EQ(stored("bitrate", "--bitrate="), 0);
  EXPECT_EQ(stored("bitrate", "--bitrate=12abc"), 12);
  EXPECT_EQ(stored("bitrate", "--bitrate=-1"), 4294967295U);
}

// Catches text that is no number passing, and another message than the option library's own.
TEST(OptionValues, UnsignedRefusesNoNumber) {
  EXPECT_EQ(refused({"--bitrate=abc"}).err, "zel-client: Error parsing option --bitrate\n");
  EXPECT_EQ(refused({"-b", "abc"}).err, "zel-client: Error parsing option -b\n");
}

// Catches a required value that may be left out.
TEST(OptionValues, RequiredValueMissing) {
  EXPECT_EQ(refused({"--bitrate"}).err, "zel-client: Missing argument for --bitrate\n");
  EXPECT_EQ(refused({"-b"}).err, "zel-client: Missing argument for -b\n");
  EXPECT_EQ(refused({"--segment.duration"}).err, "zel-client: Missing argument for --segment.duration\n");
}

// Catches booleans that are reduced to 0 and 1 before the service sees them.
TEST(OptionValues, BooleanIsPassedAsItIs) {
  EXPECT_THAT(store({"--mirror=2"}).writes, testing::Contains("set_boolean mirror 2"));
  EXPECT_THAT(store({"--mirror=1"}).writes, testing::Contains("set_boolean mirror true"));
  EXPECT_THAT(store({"--mirror=-1"}).writes, testing::Contains("set_boolean mirror -1"));
  EXPECT_THAT(store({"--mirror="}).writes, testing::Contains("set_boolean mirror false"));
  EXPECT_THAT(store({"--interactive="}).writes, testing::Contains("set_boolean interactive false"));
  EXPECT_EQ(refused({"--mirror=true"}).err, "zel-client: Error parsing option --mirror\n");
}

// Catches fractions that are lost, and a rate given that leaves the automatic rate on.
TEST(OptionValues, Double) {
  const Stored made = store({"--framerate=29.97"});
  EXPECT_EQ(made.settings.at("framerate"), 29.97);
  EXPECT_FALSE(made.settings.contains("framerate.auto"));
  EXPECT_EQ(stored("framerate", "--framerate="), 0.0);
  EXPECT_EQ(refused({"--framerate=fast"}).err, "zel-client: Error parsing option --framerate\n");
}

// Catches a locale that changes how numbers are read.
TEST(OptionValues, NoLocaleIsSet) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  run.environment("LC_ALL", "de_DE.UTF-8").environment("LANGUAGE", "de");
  run.run({"--framerate=12.5"});
  EXPECT_EQ(run.truth().requested_settings().at("framerate"), 12.5);
}

// Catches a triple with wrong defaults, or whose fourth number can be set.
TEST(OptionValues, Triple) {
  EXPECT_EQ(stored("segment.duration", "--segment.duration=1000"), json({1000, 0, 0, 0}));
  EXPECT_EQ(stored("segment.duration", "--segment.duration=1,2,3"), json({1, 2, 3, 0}));
  EXPECT_EQ(stored("segment.bytes", "--segment.bytes=5,6"), json({5, 6, 0, 0}));
  EXPECT_EQ(stored("segment.bytes", "--segment.bytes="), json({0, 0, 0, 0}));
  EXPECT_EQ(stored("segment.bytes", "--segment.bytes=1,2,3,4"), json({1, 2, 3, 0}));
  EXPECT_EQ(refused({"--segment.bytes=x"}).err, "zel-client: Error parsing option --segment.bytes\n");
}

// Catches strings that are changed, and an optional value that is taken from the next word only by luck.
TEST(OptionValues, String) {
  EXPECT_EQ(stored("subformat", "--subformat=two words"), "two words");
  EXPECT_EQ(stored("subformat", "--subformat="), "");
  EXPECT_EQ(store({"-T", "nv12"}).settings.at("subformat"), "nv12");
}

// Catches a parser that explains a missing string itself, or accepts it.
TEST(OptionValues, StringWithoutValueFails) {
  EXPECT_EQ(refused({"--subformat"}).err, "zel-client: Error parsing option --subformat\n");
  EXPECT_EQ(refused({"-T"}).err, "zel-client: Error parsing option -T\n");
}

// Catches nicks that are not turned into the library's numbers.
TEST(OptionValues, EnumStoresTheNicksNumber) {
  EXPECT_EQ(stored("format", "--format=h265"), 1);
  EXPECT_EQ(store({"-t", "av1"}).settings.at("format"), 10);
  EXPECT_EQ(stored("buffer.strategy", "--buffer.strategy=service"), 4);
}

// Catches names or numbers that are accepted, and the two lines of an unknown nick in another form or order.
TEST(OptionValues, EnumRefusesUnknownNicks) {
  for (const std::string value : {"nonsense", "0", "H264"}) {
    const RunResult result = refused({"--format=" + value});
    const std::size_t line = result.err.find('\n');
    ASSERT_NE(line, std::string::npos) << result.err;
    const std::string list = result.err.substr(0, line);
    const std::string type = list.substr(0, list.find('('));
    EXPECT_EQ(list, type + "(h264, h265, jpeg, nv12, i420, gray, rgb, av1, unknown)");
    EXPECT_NE(type, "");
    EXPECT_EQ(result.err.substr(line + 1), "zel-client: Failed to parse " + type + ": --format " + value + "\n");
  }
}

// Catches an enum without a value that crashes, or that does not show what it accepts.
TEST(OptionValues, EnumWithoutValueShowsTheNicks) {
  const std::string list_and_message = "[^(\n]+\\(h264, [^\n]*\\)\nzel-client: Failed to parse [^ ]+: ";
  for (const std::string option : {"--format", "-t"}) {
    std::string expected = list_and_message;
    expected += option;
    expected += " \\(null\\)\n";
    EXPECT_THAT(refused({option}).err, testing::MatchesRegex(expected));
  }
}

// Catches a text beyond the locale's characters, which the option library cannot convert: its error and the parser's
// met in one slot, which made GLib complain and hid the parser's message.
TEST(OptionValues, TextBeyondTheLocalesCharacters) {
  EXPECT_THAT(
      refused({"--format=\u00e9"}).err,
      testing::MatchesRegex("[^(\n]+\\(h264, [^\n]*\\)\nzel-client: Failed to parse [^ ]+: --format \\(null\\)\n"));
  const std::string not_converted = "zel-client: Invalid byte sequence in conversion input\n";
  EXPECT_EQ(refused({"--overlays=\u00e9"}).err, not_converted);
  EXPECT_EQ(refused({"--bitrate=\u00e9"}).err, not_converted);
}

// Catches a memory stream that cannot be opened and goes unnoticed, or is told: while the help's lists are made, and
// while a refused nick's list is. The ten enum options come first.
TEST(OptionValues, NoMemoryForAnEnumListEndsTheRunSilently) {
  for (const std::string nth : {"1", "11"}) {
    ClientRun run;
    run.preload(preload_library("scripted_calls"))
        .environment("ZEL_TEST_CALL_SCRIPT", "open_memstream " + nth + " " + std::to_string(ENOMEM) + ";");
    const RunResult result = run.run({"--format=nonsense"});
    EXPECT_EQ(result.status, 1) << nth;
    EXPECT_EQ(result.out, "") << nth;
    EXPECT_EQ(result.err, "") << nth;
  }
}

// Catches a first value that wins over a later one.
TEST(OptionValues, LastOccurrenceWins) {
  const Stored made = store({"--bitrate=1", "-b", "2", "--bitrate=3"});
  EXPECT_EQ(made.settings.at("bitrate"), 3);
  EXPECT_THAT(made.writes,
              ElementsAre("set_uint32 format 0", "set_boolean frame.chunks true", "set_uint32 bitrate 1",
                          "set_uint32 bitrate 2", "set_uint32 bitrate 3", "set_boolean framerate.auto true"));
}

// Catches settings that are judged by the client: the service alone decides.
TEST(OptionValues, ValuesAreNotJudgedByTheClient) {
  const Stored made = store({"--rotation=77", "--gop_length=-5", "--framerate=-1", "--buffer.count=4000000000"});
  EXPECT_EQ(made.settings.at("rotation"), 77);
  EXPECT_EQ(made.settings.at("gop_length"), 4294967291U);
  EXPECT_EQ(made.settings.at("framerate"), -1.0);
}
