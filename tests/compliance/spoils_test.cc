// The other way round: libraries that are wrong in one thing each. The checks that rest on it find it, no others fail,
// and there is no check that no such library fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <regex>
#include <sstream>
#include <string_view>
#include <vector>

#include "compliance_run.h"
#include "harness/build_under_test.h"
#include "harness/client_run.h"
#include "tests/support/files.h"

namespace {

using Names = std::set<std::string>;

/// What a library spoils and which checks fail then. "/*" at the end of a name stands for all codecs.
struct Spoil {
  const char *fault;
  std::vector<std::string_view> failing;
};

/// Faults of the calls, see tests/compliance/spoiled/.
const std::vector<Spoil> kSpoils = {
    {"word-with-blank", {"Library.Words"}},
    {"format-numbers", {"Library.Formats"}},
    {"timestamps-from-one", {"Library.TimestampTypes"}},
    {"service-is-five", {"Library.BufferStrategies"}},
    {"read-is-two", {"Library.BufferAccesses"}},
    {"long-frame-type", {"Library.FrameTypes"}},
    {"map-kept", {"Maps.References"}},
    {"booleans-wide", {"Maps.Booleans", "Maps.Copying", "Frames.ExtraInfo"}},
    {"unsigned-of-31-bits", {"Maps.Unsigned"}},
    {"doubles-of-32-bits", {"Maps.Doubles"}},
    {"texts-cut", {"Maps.Strings"}},
    {"pairs-swapped", {"Maps.Pairs"}},
    {"quads-by-reference", {"Maps.Quads"}},
    {"unsigned-stays", {"Maps.Replacing"}},
    {"doubles-become-unsigned", {"Maps.Defaults"}},
    {"default-borrowed", {"Maps.VariantReferences"}},
    {"first-key-only", {"Maps.Contains"}},
    {"target-stays", {"Maps.Copying"}},
    {"prefix-without-point", {"Maps.Removing"}},
    {"merge-turned-round", {"Maps.Merging"}},
    {"no-dump", {"Maps.Dumping"}},
    {"domain-changes", {"Errors.Domain", "Errors.NothingToFetch", "Errors.Refusal"}},
    {"other-code", {"Errors.NothingToFetch"}},
    {"no-errno", {"Errors.InterruptedFetch"}},
    {"nothing-is-expected", {"Errors.EndOfStream"}},
    {"refusal-without-error", {"Errors.Refusal", "Streams.HugeRequests"}},
    {"key-frame-needs-slot", {"Errors.NullSlots", "Streams.NeedlessCalls"}},
    {"no-frames", {"Streams.Delivery", "Errors.InterruptedFetch"}},
    {"request-shared", {"Streams.Creation"}},
    {"stream-kept", {"Streams.Creation", "Buffers.Release"}},
    {"rate-is-unsigned", {"Streams.Info"}},
    {"nothing-granted", {"Streams.Settings"}},
    {"number-changes", {"Streams.Id"}},
    {"always-ready", {"Streams.FrameDescriptor"}},
    {"events-always-ready", {"Streams.EventDescriptor"}},
    {"events-never-ready", {"Streams.EventDescriptor", "Streams.Events"}},
    {"events-without-end", {"Streams.Events", "Streams.EventDescriptor"}},
    {"starts-once", {"Streams.StartingAgain"}},
    {"play-fails-silently", {"Streams.NeedlessCalls"}},
    {"never-stops", {"Streams.Stopping", "Streams.StartingAgain"}},
    {"never-plays", {"Streams.Playing"}},
    {"no-key-frame", {"Streams.KeyFrames"}},
    {"one-stream-for-all", {"Streams.TwoAtOnce"}},
    {"stream-outlives-a-kill", {"Streams.KilledProcess"}},
    {"huge-bitrate-crashes", {"Streams.HugeRequests"}},
    {"nine-buffers", {"Buffers.Counts"}},
    {"segment-flag-changes", {"Buffers.HandingBack"}},
    {"kept-buffer-comes-again", {"Buffers.Keeping"}},
    {"kept-buffer-is-filled", {"Buffers.Keeping"}},
    {"stop-empties-frames", {"Buffers.Dropping"}},
    {"buffers-kept", {"Buffers.Release"}},
    {"pointer-stays", {"Buffers.Clearing"}},
    {"one-number-for-all", {"Buffers.Ids"}},
    {"frame-with-reference", {"Buffers.FrameView", "Buffers.Release"}},
    {"service-takes-none-back", {"Buffers.Service"}},
    {"small-capacity", {"Frames.Sizes"}},
    {"numbers-repeat", {"Frames.Sequence"}},
    {"an-hour-late", {"Frames.Timestamps"}},
    {"utc-of-32-bits", {"Frames.UtcTimestamps"}},
    {"custom-changes", {"Frames.CustomTimestamps"}},
    {"segment-flag-is-two", {"Frames.SegmentFlags"}},
    {"no-extra-info", {"Frames.ExtraInfo"}},
    {"chunk-layout", {"Frames.Chunks", "Frames.Cursor", "Frames.Coding/*"}},
    {"cursor-stays", {"Frames.Cursor"}},
    {"unread-without-end", {"Frames.Unread"}},
    {"first-stored-byte-changed", {"Frames.Coding/*"}},
    {"header-differs-in-chunks", {"Frames.ChunkedBytes/*"}},
    {"first-byte-changed", {"Frames.Coding/*", "Frames.FirstFrame/av1", "Frames.HeaderSize/av1", "Frames.KeyFlag/av1"}},
    {"first-frame-lost", {"Frames.FirstFrame/*"}},
    {"header-too-long", {"Frames.HeaderSize/*"}},
    {"key-flag-inverted", {"Frames.KeyFlag/*", "Streams.StartingAgain", "Streams.Playing"}},
    {"never-shown", {"Frames.ShownFlag/*"}},
    {"unknown-type", {"Frames.Types/*"}},
};

/// Faults of times, found on the virtual clock.
const std::vector<Spoil> kTimeSpoils = {
    {"uneven-times", {"Time.Distances"}},
    {"times-with-gaps", {"Time.Rate"}},
};

/// Faults of the library's file: the folders beside the spoiled library.
const std::vector<Spoil> kFileSpoils = {
    {"other-soname", {"Library.Soname"}},
    {"lacking", {"Library.Functions", "Maps.Dumping"}},
};

const std::array kSpoilLists = {&kSpoils, &kTimeSpoils, &kFileSpoils};

/// The names of all checks that fail.
Names failing_checks(const Spoil &spoil) {
  static const Names all = listed_checks();
  Names names;
  for (const std::string_view name : spoil.failing) {
    if (!name.ends_with('*')) {
      names.emplace(name);
      continue;
    }
    for (const std::string &one : all)
      if (one.starts_with(name.substr(0, name.size() - 1))) names.insert(one);
  }
  return names;
}

/// Enough for any machine; where something never comes that must, or may, a part of it passes.
std::string limit_for(const Spoil &spoil) {
  const std::string_view fault = spoil.fault;
  return fault == "never-plays" || fault == "events-never-ready" ? "--limit=60" : "--limit=400";
}

/// Runs the checks but for those that a machine's speed decides. On an emulated machine those that must fail have to be
/// enough: the rest takes long and is the same there.
std::vector<std::string> options_for(const Spoil &spoil) {
  std::vector<std::string> options = {"--set=d:framerate=300", "--size=64x64", limit_for(spoil), "--all"};
  std::string filter = "--filter=-Time.*";
  if (!build_under_test().emulator.empty()) {
    filter = "--filter=Maps.Pairs";
    for (const std::string &name : failing_checks(spoil))
      filter += ":" + name;
  }
  options.push_back(filter);
  return options;
}

/// Libraries that the camera needs, loaded before the checks' processes start: each would load them by itself.
std::string preloaded() {
  if (!build_under_test().emulator.empty()) return "";
  std::string libraries;
  for (const char *name : {"libavdevice.so.59", "libavfilter.so.8", "libavformat.so.59", "libavcodec.so.59"})
    libraries += std::string(libraries.empty() ? "" : ":") + name;
  return libraries;
}

void expect_failing(const ComplianceRun &run, const Spoil &spoil) {
  EXPECT_EQ(run.checks("failed"), failing_checks(spoil)) << run.result.out << run.result.err;
  EXPECT_EQ(run.result.status, 1);
  for (const std::string &name : run.checks("failed"))
    EXPECT_NE(run.texts.at(name), "") << name;
}

class Spoils : public testing::TestWithParam<std::size_t> {};

}  // namespace

TEST_P(Spoils, IsFound) {
  const Spoil &spoil = kSpoils.at(GetParam());
  SCOPED_TRACE(spoil.fault);
  const TempFolder folder;
  Surroundings surroundings = {.libzel_folder = build_under_test().spoiled};
  surroundings.environment["ZEL_SPOIL"] = spoil.fault;
  surroundings.environment["ZEL_SPOIL_FILE"] = folder / "stream";
  surroundings.environment["LD_PRELOAD"] = preloaded();
  expect_failing(run_compliance(options_for(spoil), surroundings), spoil);
}

INSTANTIATE_TEST_SUITE_P(Compliance, Spoils, testing::Range<std::size_t>(0, kSpoils.size()), [](const auto &instance) {
  std::string name = kSpoils.at(instance.param).fault;
  std::ranges::replace(name, '-', '_');
  return name;
});

// Catches a check of times that a wrong clock passes.
TEST(SpoiledTimes, AreFound) {
  for (const Spoil &spoil : kTimeSpoils) {
    SCOPED_TRACE(spoil.fault);
    Surroundings surroundings = {.libzel_folder = build_under_test().spoiled,
                                 .key_file = "[camera]\npacing = virtual\n"};
    surroundings.environment["ZEL_SPOIL"] = spoil.fault;
    expect_failing(
        run_compliance({"--filter=Time.*", "--seconds=20", "--set=d:framerate=12.5", "--limit=400", "--size=64x64"},
                       surroundings),
        spoil);
  }
}

// Catches bytes that differ in chunks only, behind the codec header, where pictures repeat; and a report that calls
// them those of a header.
TEST(SpoiledPictures, AreFound) {
  Surroundings surroundings = {.libzel_folder = build_under_test().spoiled, .key_file = "[camera]\npacing = virtual\n"};
  const std::vector<std::string> options = {"--size=64x64", "--limit=400", "--filter=Frames.ChunkedBytes/*"};
  const ComplianceRun good = run_compliance(options, surroundings);
  EXPECT_EQ(good.result.status, 0) << good.result.out;
  EXPECT_EQ(good.result.out.find("header"), std::string::npos) << good.result.out;
  surroundings.environment["ZEL_SPOIL"] = "rest-differs-in-chunks";
  const ComplianceRun run = run_compliance(options, surroundings);
  EXPECT_EQ(run.checks("failed").size(), 3U) << run.result.out;
  EXPECT_EQ(run.texts.at("Frames.ChunkedBytes/h264").find("frame 0 of h264 in chunks has 1 byte ("), 0U)
      << run.result.out;
}

// Catches a function of the interface of which the checks know nothing.
TEST(SpoiledFiles, EveryMissingFunctionIsNamed) {
  const ComplianceRun run =
      run_compliance({"--filter=Library.Functions"}, {.libzel_folder = build_under_test().spoiled / "hollow"});
  Names expected;
  const std::string header = read_file(ZEL_HEADER);
  const std::regex function(R"(\b(zel_\w+)\()");
  for (std::sregex_iterator match(header.begin(), header.end(), function), end; match != end; ++match)
    expected.insert((*match)[1].str() + " is not in the library, expected every function of zel.h");
  Names found;
  std::istringstream lines(run.texts.at("Library.Functions"));
  for (std::string line; std::getline(lines, line);)
    found.insert(line);
  EXPECT_EQ(found, expected);
}

// Catches a library that is another one, or not all of it, passing for the one that was asked for.
TEST(SpoiledFiles, AreFound) {
  for (const Spoil &spoil : kFileSpoils) {
    SCOPED_TRACE(spoil.fault);
    expect_failing(run_compliance(options_for(spoil), {.libzel_folder = build_under_test().spoiled / spoil.fault}),
                   spoil);
  }
}

// Catches a wrapper that spoils something although it should not, which would prove nothing of the rest.
TEST(Spoiled, WithoutAFaultEverythingPasses) {
  std::vector<std::string> options = options_for({.fault = "", .failing = {"Maps.*", "Streams.Info", "Frames.Cursor"}});
  const ComplianceRun run = run_compliance(options, {.libzel_folder = build_under_test().spoiled});
  EXPECT_EQ(run.result.status, 0) << run.result.out;
  EXPECT_EQ(run.checks("failed"), Names());
}

// Catches a new check that nobody has seen fail.
TEST(Spoiled, EveryCheckIsSeenFailing) {
  Names seen = {"Library.Opens"};  // by a test of the program: then there is nothing else to run
  for (const std::vector<Spoil> *list : kSpoilLists) {
    for (const Spoil &spoil : *list)
      seen.merge(failing_checks(spoil));
  }
  EXPECT_EQ(seen, listed_checks());
}
