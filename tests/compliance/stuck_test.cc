// Libraries inside which a check's process stops, ends or waits for ever.
#include <gtest/gtest.h>

#include "compliance_run.h"
#include "harness/build_under_test.h"

namespace {

/// Runs a check that is lost and another one; gives what was found of the lost one.
std::string finding_of(const std::string &fault, const std::string &limit) {
  Surroundings surroundings = {.libzel_folder = build_under_test().spoiled};
  surroundings.environment["ZEL_SPOIL"] = fault;
  const ComplianceRun run = run_compliance({"--filter=Streams.Id:Errors.Domain", "--size=64x64", limit}, surroundings);
  EXPECT_EQ(run.result.status, 1);
  EXPECT_EQ(run.checks("failed"), std::set<std::string>{"Streams.Id"}) << run.result.out;
  EXPECT_EQ(run.checks("passed"), std::set<std::string>{"Errors.Domain"}) << run.result.out;
  return run.texts.count("Streams.Id") != 0 ? run.texts.at("Streams.Id") : "";
}

}  // namespace

// Catches a hang that is not ended, or that takes the other checks with it.
TEST(Stuck, AHangIsAFinding) {
  EXPECT_EQ(finding_of("number-hangs", "--limit=10"),
            "the check took longer than 10 s; the last call was zel_stream_get_id, expected it to end\n");
}

TEST(Stuck, ACrashIsAFinding) {
  EXPECT_EQ(finding_of("number-crashes", "--limit=400"),
            "signal 6 (Aborted) ended the process; the last call was zel_stream_get_id, expected it to go on\n");
}

TEST(Stuck, AnEndOfTheProcessIsAFinding) {
  EXPECT_EQ(finding_of("number-ends-the-process", "--limit=400"),
            "the process ended with status 3; the last call was zel_stream_get_id, expected it to go on\n");
}

// Catches a library that is opened in one process for the checks of all, although what it then begins is not in the
// others.
TEST(Opening, WhatBelongsToOneProcess) {
  for (const char *what : {"starts-a-thread", "keeps-a-descriptor"}) {
    Surroundings surroundings = {.libzel_folder = build_under_test().spoiled};
    surroundings.environment["ZEL_SPOIL"] = what;
    const ComplianceRun run = run_compliance({"--filter=Streams.Id", "--size=64x64", "--limit=400"}, surroundings);
    EXPECT_EQ(run.checks("passed"), std::set<std::string>{"Streams.Id"}) << what << "\n" << run.result.out;
  }
}

// Catches a run in which every check waits for frames that never come.
TEST(Stuck, WithoutFramesTheChecksThatNeedThemAreSkipped) {
  Surroundings surroundings = {.libzel_folder = build_under_test().spoiled};
  surroundings.environment["ZEL_SPOIL"] = "no-frames";
  const ComplianceRun run =
      run_compliance({"--filter=Buffers.*:Errors.Domain", "--size=64x64", "--limit=400"}, surroundings);
  EXPECT_EQ(run.result.status, 1);
  EXPECT_EQ(run.checks("failed"), std::set<std::string>{"Streams.Delivery"}) << run.result.out;
  EXPECT_EQ(run.checks("passed"), std::set<std::string>{"Errors.Domain"}) << run.result.out;
  EXPECT_EQ(run.texts.at("Streams.Delivery"),
            "zel_stream_get_buffer failed with error 17 of ZelError: The sensor is asleep (errno: Input/output error), "
            "expected a filled buffer\n");
  EXPECT_EQ(run.texts.at("Buffers.Counts"), "no frames come, see Streams.Delivery");
}
