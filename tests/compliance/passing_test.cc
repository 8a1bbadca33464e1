// The software camera keeps everything that zel-compliance looks at. Times are looked at on the virtual clock only: on
// the real one the machine would decide.
#include <gtest/gtest.h>

#include "compliance_run.h"

namespace {

using Names = std::set<std::string>;

/// What a run that found nothing wrong may have skipped.
/// What a run that found nothing wrong may have skipped.
void expect_all_pass(const ComplianceRun &run, const Names &skipped = {}) {
  EXPECT_EQ(run.result.status, 0) << run.result.out << run.result.err;
  EXPECT_EQ(run.checks("failed"), Names());
  EXPECT_EQ(run.checks("skipped"), skipped);
}

/// The checks of the other codecs.
Names checks_of_other_codecs(const std::string &codec) {
  Names others;
  for (const std::string &name : listed_checks()) {
    const std::size_t slash = name.find('/');
    if (slash != std::string::npos && name.substr(slash + 1) != codec) others.insert(name);
  }
  return others;
}

void expect_all_pass_in(const std::string &codec) {
  std::vector<std::string> arguments = quick_options();
  arguments.insert(arguments.end(), {"--filter=-Library.*:Maps.*:Time.*", "--set=e:format=" + codec});
  const ComplianceRun run = run_compliance(arguments);
  expect_all_pass(run, checks_of_other_codecs(codec));
}

}  // namespace

// Catches a software camera that does not keep what the client relies on, and a check that sees a fault in it.
TEST(Compliance, TheSoftwareCameraPasses) {
  std::vector<std::string> arguments = quick_options();
  arguments.insert(arguments.end(), {"--all", "--filter=-Time.*"});
  const ComplianceRun run = run_compliance(arguments);
  expect_all_pass(run);
  EXPECT_GT(run.checks("passed").size(), 50U);
}

// Catches a check that takes one codec's frames for granted.
TEST(Compliance, TheSoftwareCameraPassesInH264) {
  expect_all_pass_in("h264");
}

TEST(Compliance, TheSoftwareCameraPassesInH265) {
  expect_all_pass_in("h265");
}

TEST(Compliance, TheSoftwareCameraPassesInJpeg) {
  expect_all_pass_in("jpeg");
}

TEST(Compliance, TheSoftwareCameraPassesInAv1) {
  expect_all_pass_in("av1");
}

TEST(Compliance, TheSoftwareCameraPassesUncompressed) {
  expect_all_pass_in("nv12");
}

// Catches a check that takes chunks for granted, which are asked for as the client does.
TEST(Compliance, TheSoftwareCameraPassesInOnePiece) {
  std::vector<std::string> arguments = quick_options();
  arguments.insert(arguments.end(), {"--filter=Frames.*:Buffers.*", "--set=b:frame.chunks=0"});
  expect_all_pass(run_compliance(arguments));
}

// Catches wrong arithmetic in the checks of times; --seconds is half a minute of the camera's clock.
TEST(Compliance, TheSoftwareCameraKeepsTimeOnTheVirtualClock) {
  const ComplianceRun run =
      run_compliance({"--filter=Time.*", "--seconds=30", "--set=d:framerate=12.5", "--limit=400", "--size=64x64"},
                     {.key_file = "[camera]\npacing = virtual\n"});
  EXPECT_EQ(run.result.status, 0) << run.result.out;
  EXPECT_EQ(run.checks("passed"), (Names{"Time.Distances", "Time.Rate"}));
  EXPECT_NE(run.result.out.find("pass  Time.Rate: 12.50 frames a second, 12.50 granted, 0 lost\n"), std::string::npos)
      << run.result.out;
}
