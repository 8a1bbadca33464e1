// SIGKILL at random moments: what is left of a recording can be used.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <random>

#include "recording.h"

namespace {

constexpr std::size_t kRecordBytes = 24;
constexpr std::size_t kGop = 10;

class Killed : public testing::TestWithParam<int> {
 protected:
  Killed() { run.camera().set("producer", "cached").set("pacing", "virtual"); }

  /// Lets the client run until the sidecar has some records, by chance up to 200, then kills it.
  void record_and_kill(std::vector<std::string> arguments) {
    std::mt19937 chance(static_cast<unsigned>(GetParam()));
    const std::size_t records = std::uniform_int_distribution<std::size_t>(1, 200)(chance);
    arguments.insert(arguments.end(),
                     {"--meta", "--output=out", "--quiet", "--gop_length=" + std::to_string(kGop), "640", "480"});
    run.start(arguments);
    const std::filesystem::path sidecar = run.file("out.meta");
    ASSERT_TRUE(run.process().wait_until([&sidecar, records] {
      std::error_code absent;
      const auto size = std::filesystem::file_size(sidecar, absent);
      return !absent && size >= records * kRecordBytes;
    }));
    run.process().send_signal(SIGKILL);
    EXPECT_EQ(run.wait().signal, SIGKILL);
  }

  /// The sidecar's records, which must be whole and the frames'.
  std::vector<SidecarRecord> whole_records() const {
    const std::string meta = read_file(run.file("out.meta"));
    EXPECT_EQ(meta.size() % kRecordBytes, 0u);
    std::vector<SidecarRecord> records = sidecar_records(meta);
    const std::vector<SidecarRecord> expected = expected_records(run.truth());
    EXPECT_LE(records.size(), expected.size());
    EXPECT_TRUE(std::equal(records.begin(), records.end(), expected.begin()));
    return records;
  }

  ClientRun run;
};

}  // namespace

// Catches a recording that does not open, whole clusters that were not in the file, and stored frames without a record.
TEST_P(Killed, MatroskaFileHoldsAllWholeClusters) {
  record_and_kill({"--mkv=out.mkv"});
  const std::vector<SidecarRecord> records = whole_records();
  const std::vector<FrameTruth> frames = run.truth().frames();

  const RunResult merged = run_tool({"mkvmerge", "-o", run.file("merged.mkv").string(), run.file("out.mkv").string()});
  // Within the first GOP no cluster is complete: the file has its header and nothing else.
  const std::size_t last_key = (records.size() - 1) / kGop * kGop;
  const StoredFile stored = probe(run.file("out.mkv"));
  EXPECT_EQ(stored.codec, "h264");
  EXPECT_LE(merged.status, last_key == 0 ? 2 : 1) << merged.out;

  // A key frame begins a cluster; when it has its record, all that came before it is in the file.
  EXPECT_GE(stored.video.size(), last_key);
  EXPECT_GE(stored.cues.size(), last_key);
  EXPECT_LE(stored.video.size(), records.size());
  for (std::size_t i = 0; i < stored.video.size(); ++i) {
    EXPECT_EQ(stored.video[i].pts, milliseconds(frames[i].timestamp));
    EXPECT_EQ(stored.video[i].key, frames[i].key);
  }
}

// Catches cut records, a raw file whose frames the records do not describe, and one that does not decode.
TEST_P(Killed, SidecarHoldsWholeRecords) {
  record_and_kill({});
  const std::vector<SidecarRecord> records = whole_records();
  EXPECT_GE(records.size(), 1u);
  const std::string raw = read_file(run.file("out"));
  EXPECT_EQ(run.truth().bytes().compare(0, raw.size(), raw), 0);

  std::size_t described = 0;
  for (const SidecarRecord &record : records)
    described += record.size;
  ASSERT_GE(raw.size(), described);
  write_file(run.file("whole"), raw.substr(0, described));  // behind them may be a part of the frame at hand
  EXPECT_EQ(picture_sums({"-f", "h264", "-i", run.file("whole").string()}).size(), records.size());
}

INSTANTIATE_TEST_SUITE_P(Chance, Killed, testing::Range(1, 9));
