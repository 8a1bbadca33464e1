// The file that zel-record writes: read by others, on a disk that fills up, while nobody takes it, and at every end.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>

#include "formats/xxh64.h"
#include "harness/recorder_run.h"

using nlohmann::json;

namespace {

using Arguments = std::vector<std::string>;

class RecordingFileTest : public testing::Test {
 protected:
  void SetUp() override { run.camera().scripted(); }

  std::string recording() const { return folder / "run.zrec"; }

  /// Records what a shell makes of the client's command, which is "$@" there.
  RunResult record_in_shell(const std::string &script, const Arguments &arguments) {
    record(run, recording());
    run.under({"sh", "-c", script, "sh"});
    return run.run(arguments);
  }

  TempFolder folder;
  ClientRun run;
};

/// The value with bytes as zel-record show --json has them.
json without_bytes(const json &value) {
  if (value.is_binary()) {
    std::array<char, 17> hash{};
    const std::vector<std::uint8_t> &bytes = value.get_binary();
    const auto number = static_cast<unsigned long long>(formats::xxh64(bytes.data(), bytes.size()));
    (void)std::snprintf(hash.data(), hash.size(), "%016llx", number);
    return {{"size", bytes.size()}, {"xxh64", hash.data()}};
  }
  json result = value;
  if (value.is_structured()) {
    for (json &element : result)
      element = without_bytes(element);
  }
  return result;
}

}  // namespace

// Catches a file that is no CBOR sequence to a reader that knows nothing of recordings, and items that
// zel-record show --json shows otherwise.
TEST_F(RecordingFileTest, AnyReaderOfCborReadsIt) {
  record(run, recording());
  EXPECT_EQ(run.run({"--frames=3", "-x", "-m", "-o", "out"}).status, 0);
  std::ifstream file(recording(), std::ios::binary);
  std::vector<json> items;
  while (file.peek() != std::ifstream::traits_type::eof())
    items.push_back(without_bytes(json::from_cbor(file, false)));
  EXPECT_EQ(items, recorded_items(recording()));
}

// Catches a program that waits for the recording, and items that are missing without a word. Nobody takes the bytes out
// of the pipe until the client has written its file.
TEST_F(RecordingFileTest, LosesWhatIsNotTaken) {
  ASSERT_EQ(mkfifo(recording().c_str(), 0600), 0);
  const int pipe = open(recording().c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  record(run, recording());
  run.camera().frames({.count = 0, .size = 1000000});
  run.start({"--frames=40", "-q", "-o", "out"});
  const auto is_written = [&] {
    return std::filesystem::exists(run.file("out")) && std::filesystem::file_size(run.file("out")) == 40000000U;
  };
  ASSERT_TRUE(run.process().wait_until(is_written));
  std::string bytes;
  const auto has_end = [&] {
    std::array<char, 65536> block{};
    for (ssize_t taken = 0; (taken = read(pipe, block.data(), block.size())) > 0;)
      bytes.append(block.data(), static_cast<std::size_t>(taken));
    return bytes.find("quick_exit") != bytes.npos || bytes.find("dexit") != bytes.npos;  // a text of four letters
  };
  (void)run.process().wait_until(has_end);
  EXPECT_EQ(run.wait().status, 0);
  EXPECT_TRUE(has_end());
  (void)close(pipe);
  const std::string taken = folder / "taken.zrec";
  write_file(taken, bytes);
  const std::vector<json> items = recorded_items(taken);
  const std::vector<json> lost = items_of(items, "lost");
  ASSERT_FALSE(lost.empty());
  EXPECT_GT(lost[0].at("lost"), 0);
  EXPECT_GT(lost[0].at("bytes"), 1000000);
  EXPECT_LE(lost[0].at("at"), lost[0].at("until"));
  EXPECT_EQ(items.back().at("status"), 0);
}

// Catches a disk that is full in the middle of an item, of which the first part stays: the room ends in a frame's
// bytes.
TEST_F(RecordingFileTest, EndsWithAWholeItemOnAFullDisk) {
  run.preload(preload_library("small_disk")).environment("ZEL_TEST_DISK_BYTES", "60000");
  run.environment("ZEL_TEST_DISK_FILES", ".zrec");
  record(run, recording());
  const RunResult result = run.run({"--frames=40", "-q", "-o", "out"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "zel-record: " + recording() + ": No space left on device; the recording ends here\n");
  EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
  EXPECT_LT(std::filesystem::file_size(recording()), 60000U);
  const RunResult shown = read_recording({"show", recording()});
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_TRUE(shown.out.ends_with("+++ the recording ends here, without the program's end +++\n"));
}

// Catches a second process that writes into the recording of the first, or that is kept from its work.
TEST_F(RecordingFileTest, BelongsToTheFirstProcess) {
  if (client_is_emulated()) return;  // an emulated program cannot start another one
  const RunResult result = record_in_shell("\"$@\" -o first; \"$@\" -o second; exit 7", {"--frames=2", "-q"});
  EXPECT_EQ(result.status, 7);
  EXPECT_EQ(result.err, "");
  const std::vector<json> items = recorded_items(recording());
  EXPECT_EQ(items.front().at("program").back(), "first");
  EXPECT_EQ(items_of(items, "zel-recording").size(), 1U);
  EXPECT_EQ(items.back().at("end"), "exit");
  EXPECT_TRUE(read_file(run.file("first")) == read_file(run.file("second")));
}

// Catches ends after which the file lacks its last items or does not tell how the program ended.
TEST_F(RecordingFileTest, IsCompleteAtEveryEnd) {
  const std::pair<const char *, int> ends[] = {{"exit", 3}, {"quick_exit", 4}, {"_exit", 5}, {"_Exit", 6}};
  for (const auto &[name, status] : ends) {
    SCOPED_TRACE(name);
    ClientRun ended;
    ended.camera().scripted();
    ended.preload(preload_library("ends_early")).environment("ZEL_TEST_END", name);
    ended.environment("ZEL_TEST_END_STATUS", std::to_string(status));
    record(ended, recording());
    EXPECT_EQ(ended.run({"--frames=3", "-q", "-o", "out"}).status, status);
    const std::vector<json> items = recorded_items(recording());
    EXPECT_EQ(items.back().at("end"), name);
    EXPECT_EQ(items.back().at("status"), status);
    EXPECT_EQ(calls_named(items, "zel_stream_get_buffer").size(), 3U);
  }
}
