// The command line's front: defaults, positional words, help, errors and their statuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "harness/client_run.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

/// The writes into the settings map of a run that ends when it asks for the stream.
std::vector<std::string> writes(const std::vector<std::string> &arguments) {
  ClientRun run;
  run.camera().fault({.call = "zel_stream_new", .message = "asked"});
  const RunResult result = run.run(arguments);
  EXPECT_EQ(result.err, "zel-client: asked\n") << testing::PrintToString(arguments);
  return run.truth().writes_to_map(1);
}

/// The help as standard error shows it. Only standard output is converted to the locale's characters, and in the
/// locale that every program starts with the first line's ellipsis has none.
std::string help_text() {
  ClientRun run;
  std::string help = run.run({"--help"}).out;
  const std::string converted = "[OPTION?]";
  const std::size_t found = help.find(converted);
  return found == std::string::npos ? help : help.replace(found, converted.size(), "[OPTION…]");
}

}  // namespace

// Catches other defaults than those documented, and defaults written in another order or after parsing.
TEST(CommandLine, NoArgumentsGiveTheDefaults) {
  EXPECT_THAT(writes({}),
              ElementsAre("set_uint32 format 0", "set_boolean frame.chunks true", "set_boolean framerate.auto true"));
}

// Catches defaults that overwrite what was asked for.
TEST(CommandLine, OptionsReplaceTheDefaults) {
  EXPECT_THAT(writes({"--format=jpeg", "--frame.chunks=0"}),
              ElementsAre("set_uint32 format 0", "set_boolean frame.chunks true", "set_uint32 format 2",
                          "set_boolean frame.chunks false", "set_boolean framerate.auto true"));
}

// Catches positional words read in another notation, checked, or stored before the automatic rate.
TEST(CommandLine, TwoWordsAreTheResolution) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"1920", "1080"}, "[1920,1080]"}, {{"0x780", "0x438"}, "[1920,1080]"},
      {{"010", "020"}, "[8,16]"},        {{"abc", "1080"}, "[0,1080]"},
      {{"12x", "-"}, "[12,0]"},          {{"", ""}, "[0,0]"},
  };
  for (const auto &[words, value] : cases) {
    EXPECT_THAT(writes(words), ElementsAre("set_uint32 format 0", "set_boolean frame.chunks true",
                                           "set_boolean framerate.auto true", "set_pair32u resolution " + value));
  }
}

// Catches words behind "--" that are lost.
TEST(CommandLine, WordsBehindTheDoubleDash) {
  EXPECT_THAT(writes({"--", "640", "480"}), testing::Contains("set_pair32u resolution [640,480]"));
}

// Catches options that must stand before the words.
TEST(CommandLine, OptionsAndWordsMix) {
  const std::string expected = "set_pair32u resolution [640,480]";
  for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
           {"--bitrate=5", "640", "480"}, {"640", "--bitrate=5", "480"}, {"640", "480", "--bitrate=5"}}) {
    const std::vector<std::string> found = writes(arguments);
    EXPECT_THAT(found, testing::Contains(expected));
    EXPECT_THAT(found, testing::Contains("set_uint32 bitrate 5"));
  }
}

// Catches a count of words that is accepted, help on the wrong stream, cut help or another status.
TEST(CommandLine, OtherCountsOfWordsShowTheHelp) {
  const std::string help = help_text();
  for (const std::vector<std::string> &words :
       std::vector<std::vector<std::string>>{{"1920"}, {"1", "2", "3"}, {"1", "2", "3", "4"}}) {
    ClientRun run;
    const RunResult result = run.run(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err == "zel-client: " + help + "\n") << result.err;
    EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
  }
}

// Catches help that goes to standard error, fails, or has another first line.
TEST(CommandLine, HelpGoesToStandardOutput) {
  ClientRun run;
  const RunResult result = run.run({"--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, StartsWith("Usage:\n  zel-client [OPTION?] <width> <height>\n\nHelp Options:\n  -h, --help"));
  EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
  for (const char *option : {"-h", "--help-all", "--help-format"}) {
    ClientRun other;
    const RunResult other_result = other.run({option});
    EXPECT_EQ(other_result.status, 0) << option;
    EXPECT_EQ(other_result.err, "") << option;
    EXPECT_THAT(other_result.out, StartsWith("Usage:\n")) << option;
  }
}

// Catches unknown options and bad values that pass, other texts or another status.
TEST(CommandLine, ErrorsCarryTheOptionLibrarysText) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--nonsense"}, "Unknown option --nonsense"},
      {{"--nonsense=1"}, "Unknown option --nonsense=1"},
      {{"-Z"}, "Unknown option -Z"},
      {{"--frames"}, "Missing argument for --frames"},
      {{"-n"}, "Missing argument for -n"},
      {{"--frames=abc"}, "Cannot parse integer value “abc” for --frames"},
      {{"--frames="}, "Cannot parse integer value “” for --frames"},
      {{"--frames=99999999999"}, "Integer value “99999999999” for --frames out of range"},
      {{"--duration=1.5"}, "Cannot parse integer value “1.5” for --duration"},
      {{"--output"}, "Missing argument for --output"},
      {{"--mkv"}, "Missing argument for --mkv"},
      {{"--sync_input"}, "Unknown option --sync_input"},
      {{"--split-ngop=1"}, "Unknown option --split-ngop=1"},
  };
  for (const auto &[arguments, message] : cases) {
    ClientRun run;
    const RunResult result = run.run(arguments);
    EXPECT_EQ(result.status, 1) << message;
    EXPECT_EQ(result.out, "") << message;
    EXPECT_EQ(result.err, "zel-client: " + message + "\n");
    EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
  }
}

// Catches messages that carry the name by which the program was called.
TEST(CommandLine, MessagesCarryAFixedName) {
  ClientRun run;
  const RunResult result = run.called("other-name").run({"--nonsense"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Unknown option --nonsense\n");
}

// Catches a state of an earlier bad option that survives, and parsing that goes on behind the first error.
TEST(CommandLine, ParsingStopsAtTheFirstError) {
  ClientRun run;
  run.run({"--bitrate=1", "--bitrate=x", "--bitrate=2"});
  EXPECT_THAT(run.truth().writes_to_map(1),
              ElementsAre("set_uint32 format 0", "set_boolean frame.chunks true", "set_uint32 bitrate 1"));
}

// Catches a settings map that is made after main began, leaked at exit, or made more than once.
TEST(CommandLine, SettingsMapLivesFromStartToExit) {
  ClientRun run;
  run.run({"--help"});
  const TruthLog truth = run.truth();
  ASSERT_FALSE(truth.calls().empty());
  EXPECT_EQ(truth.calls().front().name, "zel_map_new");
  EXPECT_EQ(truth.count("zel_map_new"), 1U);
  ASSERT_EQ(truth.releases().size(), 1U);
  EXPECT_EQ(truth.releases()[0].object, "map");
  EXPECT_EQ(truth.releases()[0].position, truth.lines().size() - 1);
}
