// The names of raw files: which are refused, and what the accepted ones become.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/client_run.h"
#include "raw_run.h"

using raw_run::expect_success;
using raw_run::script_calls;
using raw_run::script_gops;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string needs_conversion(const std::string &name) {
  return "Output filename requires '%d' in '" + name + "' for split_ngop & split_nframes: ";
}

}  // namespace

// Catches an empty name that is taken for something.
TEST(RawOutput, EmptyNameCannotBeOpened) {
  ClientRun run;
  script_gops(&run, 5);
  const RunResult result = run.run({"--frames=1", "-o", ""});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to open output file: No such file or directory\n");
}

// Catches a name with conversions that take no integer reaching printf: a crash, or memory written elsewhere.
TEST(RawOutput, DangerousNamesAreRefused) {
  for (const char *name : {"%s", "%n", "x%s%s%s%s", "%ld", "%*d", "%d%d", "%f", "%m", "%5", "%", "%1$d", "%.*d"}) {
    ClientRun run;
    script_gops(&run, 5);
    const RunResult result = run.run({"--frames=1", "-o", name});
    EXPECT_EQ(result.signal, 0) << name;
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_EQ(result.err, "zel-client: Failed to open output file: Invalid argument\n") << name;
    EXPECT_THAT(run.files(), IsEmpty()) << name;
  }
  ClientRun split;
  script_gops(&split, 5);
  const RunResult result = split.run({"--frames=1", "--split_nframes=1", "-o", "%s%d"});
  EXPECT_EQ(result.err, "zel-client: Failed to open output file: Invalid argument\n") << "the check lets it pass";
  EXPECT_EQ(result.status, 1);
}

// Catches other conversions of one integer that are refused without a split.
TEST(RawOutput, OtherIntegerConversionsWorkWithoutASplit) {
  for (const auto &[name, file] : std::vector<std::pair<std::string, std::string>>{
           {"x%i", "x0"}, {"x%u", "x0"}, {"x%03x", "x000"}, {"x%hd", "x0"}, {"x%10d", "x         0"}}) {
    ClientRun run;
    script_gops(&run, 5);
    expect_success(run.run({"--frames=1", "-o", name}));
    EXPECT_THAT(run.files(), ElementsAre(file));
  }
}

// Catches a name that grows past its limit of 15 more characters, or a crash on the way.
TEST(RawOutput, LongConversionsAreCut) {
  ClientRun run;
  script_gops(&run, 5);
  expect_success(run.run({"--frames=1", "-o", "x%99d"}));
  EXPECT_THAT(run.files(), ElementsAre("x" + std::string(19, ' ')));
}

// Catches a name too long for the system that crashes the writer.
TEST(RawOutput, TooLongNameCannotBeOpened) {
  for (const std::size_t length : {300U, 5000U, 100000U}) {
    ClientRun run;
    script_gops(&run, 5);
    const RunResult result = run.run({"--frames=1", "-o", std::string(length, 'n')});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "zel-client: Failed to open output file: File name too long\n");
  }
}

// Catches a split that runs with a name which cannot be split, with either option.
TEST(OutputNameCheck, SplitNeedsAConversion) {
  for (const char *split : {"--split_ngop=1", "--split_nframes=10"}) {
    ClientRun run;
    const RunResult result = run.run({split, "--frames=1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, testing::StartsWith("zel-client: " + needs_conversion("/dev/null")));
    EXPECT_THAT(result.err, testing::MatchesRegex("[^\n]+\n"));
    EXPECT_EQ(run.truth().count("zel_stream_new"), 0U);
  }
}

// Catches the narrow pattern widened, or narrowed further.
TEST(OutputNameCheck, AcceptsTheNarrowPattern) {
  for (const std::string name : {"x%10d", "x%0d", "x%010d", "x%i", "x%u", "x", "x%%"}) {
    ClientRun run;
    const RunResult result = run.run({"--split_nframes=10", "-o", name});
    EXPECT_EQ(result.status, 1) << name;
    EXPECT_THAT(result.err, testing::StartsWith("zel-client: " + needs_conversion(name)));
    EXPECT_EQ(run.truth().count("zel_stream_new"), 0U) << name;
    EXPECT_THAT(run.files(), IsEmpty());
  }
  for (const auto &[name, file] : std::vector<std::pair<std::string, std::string>>{
           {"x%d", "x0"}, {"x%5d", "x    0"}, {"x%05d", "x00000"}, {"x%011d", "x00000000000"}}) {
    ClientRun run;
    script_gops(&run, 5);
    expect_success(run.run({"--frames=1", "--split_nframes=10", "-o", name}));
    EXPECT_THAT(run.files(), ElementsAre(file));
  }
}

// Catches a check of names that are not split, or of splits that are off.
TEST(OutputNameCheck, RunsOnlyForSplits) {
  ClientRun run;
  script_gops(&run, 5);
  expect_success(run.run({"--frames=1", "--split_ngop=0", "--split_nframes=-3", "-o", "plain"}));
  EXPECT_THAT(run.files(), ElementsAre("plain"));
}

// Catches failures of the pattern's compilation or match that pass, or are told otherwise. The first text ends in a
// line feed of its own.
TEST(OutputNameCheck, PatternFailuresEndTheRun) {
  ClientRun compile;
  script_calls(&compile, "regcomp 1 12;");
  const RunResult not_compiled = compile.run({"--split_ngop=1", "-o", "x%d"});
  EXPECT_EQ(not_compiled.status, 1);
  EXPECT_EQ(not_compiled.err, "zel-client: Could not compile regex\n\n");
  EXPECT_EQ(compile.truth().count("zel_stream_new"), 0U);

  ClientRun match;
  script_calls(&match, "regexec 1 12;");
  const RunResult not_matched = match.run({"--split_ngop=1", "-o", "x%d"});
  EXPECT_EQ(not_matched.status, 1);
  EXPECT_EQ(not_matched.err, "zel-client: Regex match failed\n");
  EXPECT_EQ(match.truth().count("zel_stream_new"), 0U);
}
