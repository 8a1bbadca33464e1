// The sidecar of real runs, against the camera's account and the raw file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <numeric>

#include "recording.h"

namespace {

class Sidecar : public testing::Test {
 protected:
  RunResult record(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--meta", "--output=out", "--quiet"});
    return run.run(arguments);
  }
  std::string sidecar() const { return read_file(run.file("out.meta")); }
  /// A sidecar that goes to the device which is always full.
  void fill_disk() { std::filesystem::create_symlink("/dev/full", run.file("out.meta")); }

  ClientRun run;
};

std::uint64_t sum_of_sizes(const std::vector<SidecarRecord> &records) {
  return std::accumulate(records.begin(), records.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const SidecarRecord &record) { return sum + record.size; });
}

}  // namespace

// Catches records that are not the frames', sizes that do not add up to the raw file, and a wrong count.
TEST_F(Sidecar, DescribesTheRawFile) {
  for (const char *format : {"h264", "h265", "jpeg", "av1", "nv12"}) {
    ClientRun other;
    const RunResult result = other.run({"--meta", "--output=out", "--quiet", "--frames=20", "--gop_length=8",
                                        std::string("--format=") + format, "320", "240"});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string bytes = read_file(other.file("out.meta"));
    EXPECT_EQ(bytes.size(), 20 * 24 + 4u);
    EXPECT_EQ(sidecar_count(bytes), 20u);
    const TruthLog truth = other.truth();
    const std::vector<SidecarRecord> records = sidecar_records(bytes, 20);
    EXPECT_TRUE(records == expected_records(truth)) << format;
    const std::string raw = read_file(other.file("out"));
    EXPECT_TRUE(raw == truth.bytes()) << format;
    EXPECT_EQ(sum_of_sizes(records), raw.size());
  }
}

// Catches a frame's place in the raw file that the records do not give: each begins where the sizes before it end.
TEST_F(Sidecar, FindsEveryFrame) {
  ASSERT_EQ(record({"--frames=9", "--gop_length=4", "320", "240"}).status, 0);
  const TruthLog truth = run.truth();
  const std::string raw = read_file(run.file("out"));
  std::size_t offset = 0;
  std::size_t number = 0;
  for (const SidecarRecord &record : sidecar_records(sidecar(), 9)) {
    const FrameTruth &frame = truth.frames().at(number++);
    EXPECT_EQ(record.header_size > 0, frame.key);
    EXPECT_TRUE(raw.substr(offset, record.size) == truth.bytes(frame));
    offset += record.size;
  }
}

// Catches a record that depends on where the frame's bytes go, or is written for a frame that was not stored.
TEST_F(Sidecar, BesideAMatroskaFile) {
  ASSERT_EQ(record({"--frames=5", "--mkv=out.mkv", "320", "240"}).status, 0);
  EXPECT_TRUE(sidecar_records(sidecar(), 5) == expected_records(run.truth()));
  EXPECT_EQ(read_file(run.file("out")), "");
}

// Catches a sidecar for each split file: there is one, named after the name as given.
TEST_F(Sidecar, OneForAllSplitFiles) {
  const RunResult result =
      run.run({"--meta", "--output=cap%02d", "--quiet", "--split_nframes=2", "--frames=4", "320", "240"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(run.files(), (std::vector<std::string>{"cap%02d.meta", "cap00", "cap02"}));
  const std::vector<SidecarRecord> records = sidecar_records(read_file(run.file("cap%02d.meta")), 4);
  EXPECT_EQ(sum_of_sizes(records), read_file(run.file("cap00")).size() + read_file(run.file("cap02")).size());
}

// Catches values that are cut or taken for signed: sizes, types, times and headers at the ends of their range.
TEST_F(Sidecar, ValuesAtTheEnds) {
  run.camera().scripted().frames({.size = 0, .header_size = 0, .type = "0", .timestamp_us = 0});
  run.camera().frames(
      {.from = 1, .size = 12'582'912, .header_size = 12'582'912, .type = "4294967295", .timestamp_us = 1ULL << 62});
  ASSERT_EQ(record({"--frames=2"}).status, 0);
  const std::vector<SidecarRecord> records = sidecar_records(sidecar(), 2);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0], (SidecarRecord{0, 0, 0, 0, 0}));
  EXPECT_EQ(records[1], (SidecarRecord{0xFFFFFFFF, 0, 1ULL << 62, 12'582'912, 12'582'912}));
}

// Catches a missing count, or a missing file, when nothing was stored.
TEST_F(Sidecar, NoFrame) {
  EXPECT_EQ(record({"--frames=-1"}).status, 0);
  EXPECT_EQ(sidecar(), std::string(4, '\0'));
}

// Catches a size other than three records and the count.
TEST_F(Sidecar, ThreeFrames) {
  ASSERT_EQ(record({"--frames=3", "--format=jpeg", "320", "240"}).status, 0);
  EXPECT_EQ(sidecar().size(), 76u);
  EXPECT_EQ(sidecar_count(sidecar()), 3u);
  for (const SidecarRecord &record : sidecar_records(sidecar(), 3))
    EXPECT_EQ(record.header_size, 0u);
}

// Catches a sidecar that lacks its count after a run that failed.
TEST_F(Sidecar, FailedRunIsCounted) {
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 4, .message = "Sensor gone", .expected = true});
  const RunResult result = record({"320", "240"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Sensor gone\n");
  EXPECT_EQ(sidecar_count(sidecar()), 3u);
}

// Catches a missing folder found out only after the start, and a message without name or cause.
TEST_F(Sidecar, CannotBeOpened) {
  const RunResult result = run.run({"--meta", "--output=missing/out", "--quiet", "--frames=2"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to open meta file 'missing/out.meta': No such file or directory\n");
  EXPECT_EQ(run.truth().count("zel_stream_start"), 0u);
}

// Catches "--meta" without an output name that is refused, ignored, or goes to another file than the one beside the
// default output, "/dev/null". Opening that one is made to fail, so that no test leaves it among the devices.
TEST_F(Sidecar, WithoutAnOutputName) {
  const bool was_there = std::filesystem::exists("/dev/null.meta");  // another program's
  run.preload(preload_library("scripted_calls"))
      .environment("ZEL_TEST_CALL_SCRIPT", "fopen-meta 1 " + std::to_string(EACCES) + ";");
  const RunResult result = run.run({"--meta", "--quiet", "--frames=2", "320", "240"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to open meta file '/dev/null.meta': Permission denied\n");
  EXPECT_THAT(run.files(), testing::IsEmpty());
  EXPECT_EQ(std::filesystem::exists("/dev/null.meta"), was_there);
  EXPECT_EQ(run.truth().count("zel_stream_start"), 0u);
}

// Catches a full disk that goes unnoticed.
TEST_F(Sidecar, FullDisk) {
  fill_disk();
  const RunResult result = record({"--frames=3", "320", "240"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel-client: Failed to flush meta file: No space left on device\n");
}

// Catches a failing close that is reported: the count's four bytes are lost without a word when only they do not fit;
// kept as it is.
TEST_F(Sidecar, FullDiskAtTheCountGoesUnnoticed) {
  fill_disk();
  const RunResult result = record({"--frames=-1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

// Catches a long name that is refused, or cut elsewhere than at 255 bytes.
TEST_F(Sidecar, LongNamesAreCut) {
  const std::string folder(100, 'f');
  for (const std::size_t length : {250u, 251u, 254u}) {
    ClientRun other;
    std::filesystem::create_directory(other.file(folder));
    const std::string name = folder + "/" + std::string(length - folder.size() - 1, 'n');
    ASSERT_EQ(other.run({"--meta", "--output=" + name, "--quiet", "--frames=1", "320", "240"}).status, 0);
    const std::string cut = (name + ".meta").substr(0, 255);
    EXPECT_EQ(sidecar_count(read_file(other.file(cut))), 1u) << length;
  }
}

// Catches a cut name that is the output's own: the two files are then one, and the raw output truncates the sidecar.
TEST_F(Sidecar, NameCutToTheOutputs) {
  const std::string folder(100, 'f');
  std::filesystem::create_directory(run.file(folder));
  const std::string name = folder + "/" + std::string(154, 'n');
  ASSERT_EQ(name.size(), 255u);
  EXPECT_EQ(run.run({"--meta", "--output=" + name, "--quiet", "--frames=1", "320", "240"}).status, 0);
  EXPECT_EQ(list_files(run.file(folder)).size(), 1u);
}
