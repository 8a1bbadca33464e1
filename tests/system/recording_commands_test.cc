// zel-record show and zel-record frames on recordings of the real client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "formats/cbor_item.h"
#include "harness/recorder_run.h"
#include "recording.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Arguments = std::vector<std::string>;

class RecordingCommandsTest : public testing::Test {
 protected:
  void SetUp() override { run.camera().scripted(); }

  std::string recording() const { return folder / "run.zrec"; }
  std::vector<json> items(const Arguments &options = {}) const { return recorded_items(recording(), options); }

  RunResult record_run(const Arguments &arguments) {
    record(run, recording());
    return run.run(arguments);
  }

  RunResult read(const std::string &command, const Arguments &options = {}) const {
    Arguments words = {command, recording()};
    words.insert(words.end(), options.begin(), options.end());
    return read_recording(words, folder.path());
  }

  TempFolder folder;
  ClientRun run;
};

/// The calls that were shown as text, without their times.
std::vector<std::string> shown_calls(const std::string &text) {
  const std::regex call(R"(^ *[0-9]+\.[0-9]{6} \[1\] (.*) <[0-9]+\.[0-9]{6}>$)");
  std::istringstream lines(text);
  std::vector<std::string> calls;
  std::smatch parts;
  for (std::string line; std::getline(lines, line);) {
    if (std::regex_match(line, parts, call)) calls.push_back(parts[1]);
  }
  return calls;
}

}  // namespace

// Catches lines that do not tell the call, names that are not chosen as they are asked for, and a command line that a
// shell would take for another.
TEST_F(RecordingCommandsTest, ShowsTheCallsThatAreAskedFor) {
  record_run({"--frames=2", "-q", "-o", "it's out"});
  const RunResult all = read("show");
  EXPECT_THAT(all.out, testing::StartsWith("+++ "));
  EXPECT_THAT(all.out, HasSubstr(R"( --frames=2 -q -o 'it'\''s out' on )"));
  EXPECT_EQ(shown_calls(all.out).size(), items_of(items(), "call").size());
  for (const char *released : {"map 1", "stream 3", "buffer 6"})
    EXPECT_THAT(all.out, HasSubstr(std::string("] released ") + released + "\n"));
  EXPECT_THAT(shown_calls(read("show", {"--calls=zel_map_new,zel_stream_s*"}).out),
              ElementsAre("zel_map_new() = map 1", "zel_map_new() = map 2", "zel_stream_start(stream 3) = 1",
                          "zel_stream_stop(stream 3) = 1"));
  const RunResult unknown = read("show", {"--calls=zel_map_new,zel_map_nwe"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.err, "zel-record: --calls: no call of libzel is named \"zel_map_nwe\"\n");
  EXPECT_EQ(unknown.out, "");
}

// Catches items of another time than the one that is asked for.
TEST_F(RecordingCommandsTest, ShowsTheTimeThatIsAskedFor) {
  record_run({"--frames=2", "-q", "-o", "out"});
  const std::vector<json> all = items();
  const auto at_us = [&](std::size_t item) { return all.at(item).at("at").get<std::uint64_t>() / 1000; };
  const std::uint64_t from = at_us(all.size() / 3);
  const std::uint64_t to = at_us(all.size() / 3 * 2);
  std::vector<json> expected = {all.front()};
  for (const json &item : all) {
    if (item.contains("at") && item["at"] >= from * 1000 && item["at"] <= to * 1000) expected.push_back(item);
  }
  EXPECT_EQ(items({"--from=" + std::to_string(from) + "us", "--to=" + std::to_string(to) + "us"}), expected);
  EXPECT_LT(expected.size(), all.size());
  const RunResult wrong = read("show", {"--from=10"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_EQ(wrong.err, "zel-record: --from: 10 is no time such as 12.5s or 200ms\n");
}

// Catches failures that are left out because only the result tells of them, and calls that are taken for failed because
// they had nothing to give.
TEST_F(RecordingCommandsTest, ErrorsAreTheCallsThatFailed) {
  run.camera()
      .fault({.call = "zel_frame_take_chunk_ex", .nth = 2})
      .fault({.call = "zel_stream_buffer_enqueue", .nth = 5, .set_error = false})
      .fault({.call = "zel_stream_stop"});
  record_run({"--frames=3", "--zel_debug", "-o", "out"});
  EXPECT_GT(calls_named(items(), "zel_stream_get_event").size(), 1U);
  EXPECT_THAT(names_of_calls(items({"--errors"})),
              ElementsAre("zel_frame_take_chunk_ex", "zel_stream_buffer_enqueue", "zel_stream_stop"));
}

// Catches a stream without a descriptor for events, which libzel allows, that is taken for a failure.
TEST_F(RecordingCommandsTest, NoEventDescriptorIsNoError) {
  run.camera()
      .fault({.call = "zel_stream_get_event_fd", .set_error = false})
      .fault({.call = "zel_stream_get_info", .set_error = false, .error_number = "EMFILE"});
  record_run({"--frames=3", "-o", "out"});
  EXPECT_THAT(shown_calls(read("show", {"--errors"}).out), ElementsAre("zel_stream_get_info(stream 3) = NULL EMFILE"));
}

// Catches texts that are left out because they are no UTF-8.
TEST_F(RecordingCommandsTest, ShowsTextsOfAnyCoding) {
  run.camera().fault({.call = "zel_stream_start", .message = "caf\xE9", .error_number = "EIO"});
  EXPECT_EQ(record_run({"--frames=3", "-o", "out"}).err, "zel-client: caf\xE9\n");
  EXPECT_THAT(shown_calls(read("show", {"--errors"}).out),
              ElementsAre("zel_stream_start(stream 3) = 0 error 8 \"caf\xE9\" EIO"));
}

// ---- Frames ------------------------------------------------------------------------------------------------------

// Catches frames without bytes where the program took none, and streams that are none.
TEST_F(RecordingCommandsTest, FramesAreThoseThatTheProgramTook) {
  run.camera().frames({.from = 2, .timestamp_us = 0x100000000}).frames({.from = 3, .size = 0});
  EXPECT_EQ(record_run({"--sync-input", "--frames=2", "-q", "-m", "-o", "out"}).status, 0);
  const RunResult taken = read("frames", {"-o", "taken"});
  EXPECT_EQ(taken.status, 0) << taken.err;
  EXPECT_EQ(taken.out,
            "taken: 3 frames, 28000 bytes\n"
            "2 left out: the program did not take all of their bytes, or the recording lacks some\n");
  EXPECT_TRUE(read_file(folder / "taken") == read_file(run.file("out")));
  EXPECT_TRUE(read_file(folder / "taken.meta") == read_file(run.file("out.meta")));
  const RunResult other = read("frames", {"-o", "other", "--stream=9"});
  EXPECT_EQ(other.status, 2);
  EXPECT_EQ(other.err, "zel-record: " + recording() + ": has no frames of a stream 9\n");
  EXPECT_FALSE(std::filesystem::exists(folder / "other"));
}

namespace {

/// The items as they lie in the file.
std::vector<std::string> pieces_of(const std::string &bytes) {
  std::vector<std::string> pieces;
  for (std::size_t at = 0; at < bytes.size(); at += pieces.back().size()) {
    const auto *begin = reinterpret_cast<const std::uint8_t *>(bytes.data()) + at;
    const formats::CborExtent extent = formats::cbor_item_extent({begin, bytes.size() - at});
    if (extent.end != formats::CborEnd::kFound) break;
    pieces.push_back(bytes.substr(at, extent.size));
  }
  return pieces;
}

/// Each frame's record and its bytes.
std::vector<std::pair<SidecarRecord, std::string>> frames_in(const std::filesystem::path &stream) {
  std::vector<std::pair<SidecarRecord, std::string>> frames;
  const std::string bytes = read_file(stream);
  const std::string sidecar = read_file(stream.string() + ".meta");
  std::size_t at = 0;
  for (const SidecarRecord &record : sidecar_records(sidecar, sidecar_count(sidecar))) {
    frames.emplace_back(record, bytes.substr(at, record.size));
    at += record.size;
  }
  return frames;
}

}  // namespace

// Catches frames that are put together from what is on both sides of lost items.
TEST_F(RecordingCommandsTest, FramesAroundLostItemsAreWhole) {
  record_run({"--frames=5", "--buffer.count=2", "-q", "-m", "-o", "out"});
  const std::vector<std::string> pieces = pieces_of(read_file(recording()));
  const auto all = frames_in(run.file("out"));
  ASSERT_EQ(all.size(), 5U);
  const auto first = static_cast<std::size_t>(
      std::find_if(pieces.begin(), pieces.end(),
                   [](const std::string &piece) { return piece.find("zel_stream_get_buffer") != piece.npos; }) -
      pieces.begin());
  constexpr std::size_t kLost = 25;  // about as many as a frame has
  for (std::size_t begin = first; begin < first + kLost; begin += 2) {
    std::string bytes;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      if (i == begin) bytes += "\xA1\x64lost\x18\x19";
      if (i < begin || i >= begin + kLost) bytes += pieces[i];
    }
    write_file(recording(), bytes);
    EXPECT_EQ(read("frames", {"-o", "taken", "--force"}).status, 0);
    const auto taken = frames_in(folder / "taken");
    EXPECT_GE(taken.size(), 2U);
    for (const auto &frame : taken)
      EXPECT_THAT(all, testing::Contains(frame)) << begin << " at " << frame.first.timestamp;
  }
}
