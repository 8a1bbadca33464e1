// The command line of zel-compliance, and what it says where there is nothing to check.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "compliance_run.h"
#include "harness/build_under_test.h"
#include "harness/client_run.h"
#include "tests/support/files.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Names = std::set<std::string>;

/// What a run prints that ends before any check.
RunResult run_plainly(const std::vector<std::string> &arguments) {
  return run_compliance(arguments, {}, false).result;
}

}  // namespace

// Catches a report that another program cannot read or that lacks what it says on the console.
TEST(ComplianceProgram, WritesAReport) {
  const TempFolder folder;
  const std::string file = folder / "report.json";
  std::vector<std::string> arguments = quick_options();
  arguments.insert(arguments.end(), {"--filter=Maps.Pairs:Streams.Info:Frames.KeyFlag/av1", "--set=e:format=h264",
                                     "--set=u:gop_length=25", "--json=" + file});
  const RunResult result = run_plainly(arguments);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "pass  Maps.Pairs\n"
            "pass  Streams.Info: 64 x 64, format 0\n"
            "skip  Frames.KeyFlag/av1: --set asks for the format 0\n"
            "\n"
            "3 checks: 2 passed, 0 failed, 1 skipped\n");
  const nlohmann::json report = nlohmann::json::parse(read_file(file));
  EXPECT_EQ(report.at("program"), "zel-compliance");
  EXPECT_EQ(report.at("passed"), 2);
  EXPECT_EQ(report.at("failed"), 0);
  EXPECT_EQ(report.at("skipped"), 1);
  EXPECT_EQ(report.at("settings"), nlohmann::json::parse(R"({"framerate": 300.0, "resolution": [64, 64],
                                                             "format": "h264", "gop_length": 25})"));
  EXPECT_EQ(report.at("checks").at(1).at("notes"), nlohmann::json::array({"64 x 64, format 0"}));
  EXPECT_EQ(report.at("checks").at(2).at("reason"), "--set asks for the format 0");
}

// Catches a report without the numbers and words that a library has, of which only a few are known.
TEST(ComplianceProgram, TellsTheLibrarysWords) {
  const RunResult result = run_plainly({"--filter=Library.Words"});
  EXPECT_THAT(result.out,
              StartsWith("pass  Library.Words\n"
                         "        zel_format: h264 0, h265 1, jpeg 2, nv12 3, i420 4, gray 5, rgb 6, av1 10, "
                         "unknown -1\n"));
  EXPECT_THAT(result.out, HasSubstr("\n        zel_buffer_access: none 0, read 1, write 2, read-write 3\n"));
}

// Catches findings of which only the source tells what they mean.
TEST(ComplianceProgram, SaysWhatWasSeenAndExpectedInALine) {
  const RunResult result =
      run_plainly({"--filter=Streams.Info", "--size=64x64", "--set=u:format=1", "--set=u:bitrate=1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "FAIL  Streams.Info\n"
            "        zel_stream_new failed with error 4 of ZelError: bitrate: 1 is not accepted (8000 to 500000000, or "
            "0: automatic) (errno: Invalid argument), expected a stream\n"
            "\n"
            "1 check: 0 passed, 1 failed, 0 skipped\n"
            "\n"
            "What differs, and what of zel-client rests on it:\n"
            "  Streams.Info\n"
            "    expected: The info has width, height and format as unsigned numbers and framerate as a double.\n"
            "    needed for: The Matroska file's codec, picture size and durations, and the columns of the frame "
            "lines.\n");
}

// Catches a library that cannot be opened being taken for one that passes, or for a fault of each check.
TEST(ComplianceProgram, WithoutALibraryTheOtherChecksAreSkipped) {
  const TempFolder folder;
  write_file(folder / "libzel.so.1", "no library at all");
  const ComplianceRun run = run_compliance({"--filter=Maps.*"}, {.libzel_folder = folder.path()});
  EXPECT_EQ(run.result.status, 1);
  EXPECT_EQ(run.checks("failed"), Names{"Library.Opens"});
  EXPECT_EQ(run.checks("passed"), Names());
  EXPECT_THAT(run.texts.at("Library.Opens"), HasSubstr(folder / "libzel.so.1"));
  EXPECT_EQ(run.texts.at("Maps.Pairs"), "there is no library");
}

// Catches an option that is not understood, or one that is taken with a value that it cannot have.
TEST(ComplianceProgram, RefusesAnUnusableCommandLine) {
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{"--nothing"}, "unrecognized option"},
      {{"more"}, "zel-compliance: \"more\" is no option\n"},
      {{"--seconds=0"}, "zel-compliance: --seconds takes N, not \"0\"\n"},
      {{"--limit=1x"}, "zel-compliance: --limit takes N, not \"1x\"\n"},
      {{"--size=640"}, "zel-compliance: --size takes WxH, not \"640\"\n"},
      {{"--size=640x480x2"}, "zel-compliance: --size takes WxH, not \"640x480x2\"\n"},
      {{"--set=bitrate=1"}, "zel-compliance: --set takes T:KEY=VALUE, not \"bitrate=1\"\n"},
      {{"--set=u:bitrate=-1"}, "zel-compliance: --set takes T:KEY=VALUE, not \"u:bitrate=-1\"\n"},
      {{"--set=u:bitrate=4294967296"}, "zel-compliance: --set takes T:KEY=VALUE, not \"u:bitrate=4294967296\"\n"},
      {{"--set=b:dynamic=2"}, "zel-compliance: --set takes T:KEY=VALUE, not \"b:dynamic=2\"\n"},
      {{"--set=d:framerate=x"}, "zel-compliance: --set takes T:KEY=VALUE, not \"d:framerate=x\"\n"},
      {{"--set=p:resolution=1"}, "zel-compliance: --set takes T:KEY=VALUE, not \"p:resolution=1\"\n"},
      {{"--set=q:crop=1,2,3"}, "zel-compliance: --set takes T:KEY=VALUE, not \"q:crop=1,2,3\"\n"},
      {{"--filter=Nothing.*"},
       "zel-compliance: no check is called Nothing.*, or only dangerous ones, which need --all\n"},
      {{"--json=/nowhere/report"}, "zel-compliance: cannot write /nowhere/report: No such file or directory\n"},
  };
  for (const auto &[arguments, text] : lines) {
    const RunResult result = run_plainly(arguments);
    EXPECT_EQ(result.status, 2) << text;
    EXPECT_EQ(result.out, "") << text;
    EXPECT_THAT(result.err, HasSubstr(text));
  }
}

// Catches a full disk that passes for a report.
TEST(ComplianceProgram, SaysThatItsReportCouldNotBeWritten) {
  const RunResult result = run_plainly({"--filter=Maps.Pairs", "--json=/dev/full"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "zel-compliance: cannot write /dev/full: No space left on device\n");
}

// Catches a filter that selects other checks than GoogleTest's would.
TEST(ComplianceProgram, SelectsByName) {
  EXPECT_EQ(listed_checks({"--filter=Maps.Pai?s:Errors.D*"}), (Names{"Maps.Pairs", "Errors.Domain"}));
  EXPECT_EQ(listed_checks({"--filter=Frames.KeyFlag/*-*/h26?"}), (Names{"Frames.KeyFlag/jpeg", "Frames.KeyFlag/av1"}));
  const Names without = listed_checks({"--filter=-Maps.*"});
  EXPECT_FALSE(without.contains("Maps.Pairs"));
  EXPECT_TRUE(without.contains("Errors.Domain"));
}

// Catches a dangerous check that runs without being asked for.
TEST(ComplianceProgram, DangerousChecksNeedTheirOption) {
  EXPECT_EQ(run_plainly({"--filter=Streams.HugeRequests"}).status, 2);
  EXPECT_THAT(run_plainly({"--list"}).out, HasSubstr("granted or refused with an error (only with --all)\n"));
}

// Catches a word of an enumeration that is guessed instead of asked from the library.
TEST(ComplianceProgram, UnknownWordsAreFindings) {
  const ComplianceRun run = run_compliance({"--filter=Streams.Id", "--set=e:format=h2645"});
  EXPECT_EQ(run.result.status, 1);
  EXPECT_EQ(run.texts.at("Streams.Id"), "\"format\" has no word \"h2645\", expected one of the library's\n");
}

// Catches a program that needs more of a camera than the client does.
TEST(ComplianceProgram, NeedsOnlyGlibAndTheSystemsLibraries) {
  const RunResult dynamic = run_tool({"readelf", "-dW", build_under_test().compliance.string()});
  EXPECT_EQ(dynamic.status, 0);
  EXPECT_THAT(dynamic.out, HasSubstr("libgobject-2.0.so.0"));
  EXPECT_THAT(dynamic.out, testing::Not(HasSubstr("libzel")));
  EXPECT_THAT(dynamic.out, testing::Not(HasSubstr("libav")));
}

// Catches a help that a terminal breaks within words.
TEST(ComplianceProgram, ShowsItsHelpAndVersion) {
  const std::string help = run_plainly({"--help"}).out;
  EXPECT_THAT(help, StartsWith("Usage: zel-compliance [OPTION...]\n"));
  EXPECT_THAT(help, HasSubstr("\n  --size=WxH            Width and height of every stream\n"));
  EXPECT_THAT(help, testing::Not(testing::ContainsRegex("[^\n]{81}")));
  EXPECT_THAT(run_plainly({"--version"}).out, testing::MatchesRegex("zel-compliance [0-9.]+\n"));
}
