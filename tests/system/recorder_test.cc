// zel-record around the real client: what it writes down, and that the client notices nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <cerrno>
#include <csignal>
#include <set>
#include <sstream>

#include "console_text.h"
#include "formats/recording.h"
#include "formats/xxh64.h"
#include "harness/build_under_test.h"
#include "harness/pty.h"
#include "harness/recorder_run.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Arguments = std::vector<std::string>;

class RecorderTest : public testing::Test {
 protected:
  void SetUp() override { run.camera().scripted(); }

  std::filesystem::path recording() const { return folder.path() / "run.zrec"; }
  std::vector<json> items(const Arguments &options = {}) const { return recorded_items(recording(), options); }

  std::string bytes_so_far() const { return std::filesystem::exists(recording()) ? read_file(recording()) : ""; }

  RunResult record_run(const Arguments &arguments, const Arguments &options = {}) {
    record(run, recording(), options);
    return run.run(arguments);
  }

  TempFolder folder;
  ClientRun run;
};

}  // namespace

// Catches a call that is left out, written down twice or out of order: the camera keeps an account of its own.
TEST_F(RecorderTest, HasEveryCallInOrder) {
  const RunResult result = record_run({"--frames=5", "-s", "-x", "-m", "-o", "out", "320", "240"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  std::vector<std::string> made;
  const TruthLog truth = run.truth();
  for (const Call &call : truth.calls())
    made.push_back(call.name);
  const std::vector<json> recorded = items();
  EXPECT_EQ(names_of_calls(recorded), made);
  EXPECT_EQ(items_of(recorded, "release").size(), truth.releases().size());
  EXPECT_EQ(recorded.back().at("end"), "exit");
  EXPECT_EQ(recorded.back().at("status"), 0);
}

// Catches a function of the interface that is not recorded.
TEST_F(RecorderTest, HasEveryFunction) {
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 3, .message = "Lost"});
  std::vector<std::string> made;
  const auto record_calls = [&](const Arguments &arguments) {
    EXPECT_EQ(record_run(arguments).status, 0);
    for (const std::string &name : names_of_calls(items()))
      made.push_back(name);
  };
  record_calls({"--frames=4", "--zel_debug", "-m", "-o", "out", "--mkv=out.mkv", "320", "240"});
  record_calls({"--frames=1", "-x", "--frame.chunks=1", "--dynamic=1", "--framerate=29.97", "--subformat=any",
                "--crop.width=64", "--crop.height=64", "-o", "out"});
  Terminal terminal;
  run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
  record(run, recording());
  run.start({"--interactive=1", "-o", "out"});
  ASSERT_TRUE(
      run.process().wait_until([&] { return terminal.screen().find("Starting Stream[") != std::string::npos; }));
  terminal.press("23k");
  ASSERT_TRUE(run.process().wait_until([this] { return occurrences(bytes_so_far(), "force_key_frame") > 0; }));
  run.process().send_signal(SIGINT);
  EXPECT_EQ(run.wait().status, 0);
  for (const std::string &name : names_of_calls(items()))
    made.push_back(name);
  const std::set<std::string> names(made.begin(), made.end());
  for (const formats::RecordedCall &call : formats::kRecordedCalls)
    EXPECT_TRUE(names.contains(std::string(call.name))) << call.name;
}

// Catches arguments and results that are not those of the call.
TEST_F(RecorderTest, HasArgumentsAndResults) {
  run.camera().frames({.from = 2, .size = 77, .header_size = 11});
  record_run({"--frames=3", "--bitrate=100000", "-m", "-o", "out", "320", "240"});
  const std::vector<json> recorded = items();
  EXPECT_EQ(recorded.front().at("zel-recording"), 1);
  EXPECT_EQ(recorded.front().at("program").back(), "240");
  EXPECT_EQ(calls_named(recorded, "zel_map_set_pair32u").at(0).at("with"),
            json::parse(R"([1,"resolution",[320,240]])"));
  EXPECT_EQ(calls_named(recorded, "zel_map_contains_va").at(2).at("with"),
            json::parse(R"([1,["crop.width","crop.height"]])"));
  EXPECT_EQ(calls_named(recorded, "zel_frame_get_header_size").at(2).at("gave"), 11);
  EXPECT_EQ(calls_named(recorded, "zel_frame_take_chunk_ex").back().at("gave"),
            json::parse(R"({"size":0,"data":null})"));
  const json format = calls_named(recorded, "zel_format_get_type").at(0).at("gave");
  EXPECT_EQ(format.at("name"), "zel_format");
  EXPECT_THAT(format.at("values"), testing::Contains(json::parse(R"([0,"h264","h264"])")));
  EXPECT_EQ(calls_named(recorded, "zel_frame_get_sequence_nbr").at(2).at("gave"), 2);
}

// Catches errors, errno and what was asked about an error going unrecorded.
TEST_F(RecorderTest, HasErrors) {
  run.camera().fault(
      {.call = "zel_stream_get_buffer", .nth = 2, .code = 8, .message = "Broken", .error_number = "EIO"});
  run.camera().fault({.call = "zel_stream_get_buffer",
                      .nth = 3,
                      .code = 5,
                      .message = "Gone",
                      .error_number = "ENODATA",
                      .expected = true});
  EXPECT_EQ(record_run({"--frames=9", "-o", "out"}).status, 1);
  const std::vector<json> recorded = items();
  const std::vector<json> fetches = calls_named(recorded, "zel_stream_get_buffer");
  ASSERT_EQ(fetches.size(), 3U);
  EXPECT_EQ(fetches[1].at("gave"), nullptr);
  EXPECT_EQ(fetches[1].at("error").at("code"), 8);
  EXPECT_EQ(fetches[1].at("error").at("text"), "Broken");
  EXPECT_EQ(fetches[1].at("errno"), EIO);
  EXPECT_EQ(fetches[2].at("errno"), ENODATA);
  const std::vector<json> asked = calls_named(recorded, "zel_error_is_expected");
  ASSERT_EQ(asked.size(), 2U);
  EXPECT_EQ(asked[0].at("with").at(0).at("text"), "Broken");
  EXPECT_EQ(asked[0].at("gave"), 0);
  EXPECT_EQ(asked[1].at("gave"), 1);
  EXPECT_EQ(names_of_calls(items({"--errors"})),
            (std::vector<std::string>{"zel_stream_get_buffer", "zel_stream_get_buffer"}));
}

// Catches printed maps that are not written down as they were printed.
TEST_F(RecorderTest, HasWhatMapsPrinted) {
  const RunResult result = record_run({"--frames=1", "-o", "out"});
  const std::vector<json> dumps = calls_named(items(), "zel_map_dump");
  ASSERT_EQ(dumps.size(), 3U);
  for (const json &dump : dumps) {
    EXPECT_NE(dump.at("gave"), "");
    EXPECT_THAT(result.out, HasSubstr(dump.at("gave").get<std::string>()));
  }
}

// Catches frames that are not in the recording, or not as the client stored them.
TEST_F(RecorderTest, FramesAreThoseOfTheClient) {
  run.camera().frames({.from = 3, .chunk_sizes = "10;7"}).frames({.from = 4, .size = 0});
  record_run({"--frames=8", "--frame.chunks=1", "-m", "-o", "out"});
  const RunResult taken = read_recording({"frames", recording(), "-o", "taken"}, folder.path());
  EXPECT_EQ(taken.status, 0) << taken.err;
  EXPECT_EQ(taken.out, "taken: 8 frames, 48000 bytes\n");
  EXPECT_TRUE(read_file(folder.path() / "taken") == read_file(run.file("out")));
  EXPECT_TRUE(read_file(folder.path() / "taken.meta") == read_file(run.file("out.meta")));
}

// Catches pictures that stay in, and hashes that are not those of the bytes.
TEST_F(RecorderTest, NoPictures) {
  record_run({"--frames=2", "-o", "out"}, {"--no-pictures"});
  const std::string stored = read_file(run.file("out"));
  const json chunk = calls_named(items(), "zel_frame_take_chunk_ex").at(0).at("gave");
  const auto size = chunk.at("size").get<std::size_t>();
  EXPECT_EQ(chunk.at("xxh64"), formats::xxh64(reinterpret_cast<const std::uint8_t *>(stored.data()), size));
  EXPECT_LT(std::filesystem::file_size(recording()), stored.size());
  const RunResult taken = read_recording({"frames", recording(), "-o", "taken"}, folder.path());
  EXPECT_EQ(taken.status, 2);
  EXPECT_EQ(taken.err, "zel-record: " + recording().string() + ": was recorded without pictures\n");
}

// Catches a file that grows beyond its limit, and one that loses its beginning or its newest part.
TEST_F(RecorderTest, MaxSizeKeepsBeginningAndEnd) {
  record_run({"--frames=200", "-q", "-o", "out"}, {"--max-size=262144"});
  EXPECT_LE(std::filesystem::file_size(recording()), 262144U);
  const std::vector<json> recorded = items();
  EXPECT_GT(items_of(recorded, "lost").size(), 0U);
  EXPECT_EQ(recorded.at(1).at("call"), "zel_map_new");
  EXPECT_EQ(calls_named(recorded, "zel_stream_new").size(), 1U);
  EXPECT_EQ(recorded.back().at("end"), "exit");
  EXPECT_FALSE(std::filesystem::exists(recording().string() + "~"));
}

// Catches signals that go unrecorded, and an end from a handler that leaves the file without its last items.
TEST_F(RecorderTest, HasSignalsAndTheEndInAHandler) {
  run.camera()
      .fault({.call = "zel_frame_get_size", .nth = 2, .fail = false, .signal = "SIGINT"})
      .fault({.call = "zel_stream_buffer_enqueue", .nth = 3, .fail = false, .signal = "SIGINT"});
  const RunResult result = record_run({"--buffer.count=2", "-s", "-o", "out"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const std::vector<json> recorded = items();
  const std::vector<json> signals = items_of(recorded, "signal");
  ASSERT_EQ(signals.size(), 2U);
  EXPECT_EQ(signals[0].at("signal"), SIGINT);
  EXPECT_EQ(signals[0].at("during"), "zel_frame_get_size");
  EXPECT_EQ(signals[1].at("during"), "zel_stream_buffer_enqueue");
  EXPECT_EQ(recorded.back().at("end"), "quick_exit");
}

// Catches a signal that is recorded twice or for ever where the C library's signal() calls sigaction().
TEST_F(RecorderTest, HasSignalsOnceWhereOneFunctionCallsTheOther) {
  run.camera().fault({.call = "zel_frame_get_size", .nth = 2, .fail = false, .signal = "SIGINT"});
  preload_recorder(run, recording());
  run.preload(preload_library("signal_by_sigaction"));
  EXPECT_EQ(run.run({"-s", "-o", "out"}).status, 0);
  EXPECT_EQ(items_of(items(), "signal").size(), 1U);
}

// Catches waits on the stream's descriptors that go unrecorded.
TEST_F(RecorderTest, HasWaitsOnDescriptors) {
  Terminal terminal;
  run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
  record(run, recording());
  run.start({"--interactive=1", "--frames=2", "-o", "out"});
  terminal.press("1");
  EXPECT_EQ(run.wait().status, 0);
  const std::vector<json> recorded = items();
  const std::vector<json> waits = items_of(recorded, "poll");
  ASSERT_FALSE(waits.empty());
  const json stream = calls_named(recorded, "zel_stream_new").at(0).at("gave");
  const json &set = waits.back().at("set");
  ASSERT_EQ(set.size(), 2U);
  EXPECT_EQ(set[0].at(0), stream);
  EXPECT_EQ(set[0].at(1), false);
  EXPECT_EQ(set[1].at(1), true);
  EXPECT_EQ(set[0].at(3), POLLIN);
}

// Catches an item for each poll of a client that polls without sleeping, which fills any file: while it takes no steps
// it leaves the event of the stop where it is.
TEST_F(RecorderTest, CountsEqualWaits) {
  constexpr std::string_view kTimesKey = "\x65times";  // CBOR's text of 5 bytes
  Terminal terminal;
  run.stdin_from_descriptor(terminal.descriptor()).stdout_to(terminal.path());
  record(run, recording());
  run.start({"--interactive=1", "-o", "out"});
  const auto wait_for = [&](const std::string &text) {
    return run.process().wait_until([&] { return terminal.screen().find(text) != std::string::npos; });
  };
  ASSERT_TRUE(wait_for("Starting Stream["));
  terminal.press("\n");
  ASSERT_TRUE(wait_for("frame =    0"));
  terminal.press("3");
  ASSERT_TRUE(wait_for("STOP!"));
  ASSERT_TRUE(run.process().wait_until([this] { return occurrences(bytes_so_far(), kTimesKey) > 0; }));
  run.process().send_signal(SIGINT);
  EXPECT_EQ(run.wait().status, 0);
  const std::vector<json> recorded = items();
  const auto counted =
      std::find_if(recorded.begin(), recorded.end(), [](const json &item) { return item.contains("times"); });
  ASSERT_NE(counted, recorded.end());
  EXPECT_GT(counted->at("times"), 1);
  const auto before = std::prev(counted);
  for (const char *key : {"poll", "thread", "set"})
    EXPECT_EQ(before->at(key), counted->at(key)) << key;
  EXPECT_LE(before->at("at").get<std::uint64_t>() + before->at("took").get<std::uint64_t>(), counted->at("at"));
  EXPECT_LT(counted->at("took"), 100'000'000);
  const RunResult shown = read_recording({"show", recording()});
  EXPECT_THAT(shown.out,
              HasSubstr(") = " + counted->at("poll").dump() + ", " + counted->at("times").dump() + " times <"));
}

// Catches a recording of which a kill leaves nothing, or nothing that can be read. The client waits in its fifth fetch.
TEST_F(RecorderTest, SurvivesAKill) {
  run.camera().fault({.call = "zel_stream_get_buffer", .nth = 5, .fail = false, .stall_us = 1'000'000'000});
  record(run, recording());
  run.start({"--frames=9", "-o", "out"});
  const auto has_all = [this] { return occurrences(bytes_so_far(), "zel_frame_is_segment_start") == 4; };
  ASSERT_TRUE(run.process().wait_until(has_all));
  run.process().send_signal(SIGKILL);
  EXPECT_EQ(run.wait().signal, SIGKILL);
  EXPECT_EQ(calls_named(items(), "zel_stream_get_buffer").size(), 4U);
  const RunResult shown = read_recording({"show", recording()});
  EXPECT_TRUE(shown.out.ends_with("+++ the recording ends here, without the program's end +++\n")) << shown.out;
}

// Catches a full disk that disturbs the program, or is not told, or is told again and again.
TEST_F(RecorderTest, AFullDiskEndsTheRecordingOnly) {
  record(run, "/dev/full");
  const RunResult result = run.run({"--frames=3", "-q", "-o", "out"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "zel-record: /dev/full: No space left on device; the recording ends here\n");
  EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
}

// Catches a program that behaves otherwise when it is recorded.
TEST_F(RecorderTest, TheClientNoticesNothing) {
  const Arguments arguments = {"--frames=6", "-s", "-x", "-m", "-o", "out", "320", "240"};
  ClientRun plain;
  for (ClientRun *one : {&run, &plain}) {
    one->camera().scripted().frames({.count = 0, .chunks = 3});
    one->clock({{1000500, 2000000}, {1033900, 2033333}});
  }
  record(run, recording());
  const RunResult recorded = run.run(arguments);
  const RunResult bare = plain.run(arguments);
  EXPECT_EQ(recorded.out, bare.out);
  EXPECT_EQ(recorded.err, bare.err);
  EXPECT_EQ(recorded.status, bare.status);
  EXPECT_EQ(run.files(), plain.files());
  for (const std::string &name : plain.files())
    EXPECT_TRUE(read_file(run.file(name)) == read_file(plain.file(name))) << name;
}

// Catches memory that is taken for every frame: a camera that records for days must not run out of it.
TEST_F(RecorderTest, AllocatesNothingForFrames) {
  if (client_is_emulated()) return;  // its calls cannot be traced back to who made them
  const auto allocations = [this](const char *frames, const Arguments &options) {
    ClientRun counted;
    counted.camera().scripted();
    const std::filesystem::path count = folder.path() / "count";
    counted.preload(preload_library("shim_allocations")).environment("ZEL_TEST_SHIM_ALLOCATIONS", count);
    record(counted, recording(), options);
    EXPECT_EQ(counted.run({std::string("--frames=") + frames, "-s", "-m", "-o", "out", "--mkv=out.mkv"}).status, 0);
    return std::stol(read_file(count));
  };
  for (const Arguments &options : {Arguments(), Arguments{"--no-pictures"}, Arguments{"--max-size=1M"}}) {
    const long few = allocations("20", options);
    EXPECT_GT(few, 0);
    EXPECT_EQ(allocations("120", options), few);
  }
}

// ---- zel-record itself -------------------------------------------------------------------------------------------

namespace {

RunResult zel_record(const Arguments &arguments, const std::filesystem::path &folder) {
  Arguments command = build_under_test().emulator;
  command.push_back(recorder_file("zel-record"));
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run_tool(command, folder);
}

}  // namespace

// Catches an end that is not the program's.
TEST(Recorder, EndsAsTheProgramDoes) {
  if (client_is_emulated()) return;  // an emulated program cannot start another one
  const TempFolder folder;
  EXPECT_EQ(zel_record({"sh", "-c", "exit 7"}, folder.path()).status, 7);
  EXPECT_EQ(zel_record({"--", "sh", "-c", "kill -TERM $$"}, folder.path()).signal, SIGTERM);
  EXPECT_EQ(zel_record({"-o", "a.zrec", "sh", "-c", "echo out; echo err >&2"}, folder.path()).out, "out\n");
  EXPECT_THAT(list_files(folder.path()), ElementsAre("a.zrec", "zel.zrec"));
}

// Catches a recording without a program that is taken for another file.
TEST(Recorder, SaysOfAnEmptyRecordingWhyItIs) {
  if (client_is_emulated()) return;  // an emulated program cannot start another one
  const TempFolder folder;
  EXPECT_EQ(zel_record({"-o", "a.zrec", "true"}, folder.path()).status, 0);
  const RunResult shown = read_recording({"show", "a.zrec"}, folder.path());
  EXPECT_EQ(shown.status, 2);
  EXPECT_EQ(shown.err, "zel-record: a.zrec: is empty: no program with a libzel.so.1 was recorded into it\n");
}

// Catches words that are not understood and are passed over.
TEST(Recorder, RefusesWhatItCannotDo) {
  const TempFolder folder;
  const auto said = [&](const Arguments &arguments) {
    const RunResult result = zel_record(arguments, folder.path());
    EXPECT_EQ(result.status, 2) << result.err;
    return result.err;
  };
  EXPECT_EQ(said({}), "zel-record: no command: zel-record --help shows how it is used\n");
  EXPECT_EQ(said({"-o", "none/a.zrec", "true"}), "zel-record: none/a.zrec: No such file or directory\n");
  const std::string size =
      "zel-record: --max-size: not a number of bytes such as 65536, 64K, 100M or 2G, and at least 64K\n";
  for (const char *wrong : {"", "x", "1", "-1", "64KB", "99999999999999999999", "99999999999G"})
    EXPECT_EQ(said({std::string("--max-size=") + wrong, "true"}), size) << wrong;
  const RunResult unknown = read_recording({"show", "none.zrec"}, folder.path());
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.err, "zel-record: none.zrec: No such file or directory\n");
}

// Catches a dependency that a camera does not have.
TEST(Recorder, NeedsGlibAndTheCLibraryOnly) {
  for (const char *name : {"zel-record", "libzel-record.so"}) {
    const RunResult dynamic = run_tool({"readelf", "-dW", recorder_file(name)});
    std::istringstream lines(dynamic.out);
    for (std::string line; std::getline(lines, line);) {
      if (line.find("(NEEDED)") == std::string::npos) continue;
      EXPECT_THAT(line,
                  testing::ContainsRegex("\\[(libgobject-2\\.0|libglib-2\\.0|libc|ld-linux[-a-z0-9_]*|libasan|libubsan|"
                                         "libtsan|libgcc_s)\\.so"));
    }
  }
}
