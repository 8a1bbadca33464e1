// Every file operation of a run fails once, at every point where it is made.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>

#include "sweep.h"

using sweep::kFrames;
using sweep::Output;
using testing::AnyOf;

namespace {

/// A fault that struck, and how the run ended.
struct Struck {
  std::string file;  ///< "out", "out.meta" or "out.mkv"
  RunResult result;
};

/// The run with the nth `call` on a file failing in the way `kind`; no file in the answer when the run has no such
/// call.
Struck run_with_file_fault(ClientRun *run, Output output, const std::string &call, std::size_t nth,
                           const std::string &kind, bool last = false) {
  sweep::prepare(run, output);
  const TempFolder beside;
  const std::filesystem::path log = beside.path() / "struck";
  write_file(log, "");
  run->preload(preload_library("failing_files"))
      .environment("ZEL_TEST_FILE_FAULT", call + ' ' + std::to_string(nth) + ' ' + kind)
      .environment("ZEL_TEST_FILE_FAULT_LOG", log);
  std::vector<std::string> arguments = sweep::arguments(output);
  if (last) arguments.insert(arguments.begin(), "--last");
  Struck struck;
  struck.result = run->run(arguments);
  EXPECT_EQ(struck.result.signal, 0) << struck.result.err;
  sweep::expect_released_once(run->truth());
  const std::string said = read_file(log);
  if (!said.empty()) struck.file = said.substr(call.size() + 1);
  return struck;
}

std::string cause_of(const std::string &kind) {
  return std::strerror(kind == "EIO" ? EIO : ENOSPC);
}

bool has(const ClientRun &run, const std::string &name) {
  return std::filesystem::exists(run.file(name));
}

/// The frames that the sidecar counts, each with a whole record. Behind those may be what a failed record left, which
/// is not counted, and the count is at the very end.
std::size_t counted_frames(const ClientRun &run) {
  if (!has(run, "out.meta")) return 0;
  const std::string bytes = read_file(run.file("out.meta"));
  std::uint32_t count = 0;
  if (bytes.size() < sizeof count) {
    ADD_FAILURE() << bytes.size() << " bytes of sidecar";
    return 0;
  }
  std::memcpy(&count, bytes.data() + bytes.size() - sizeof count, sizeof count);
  EXPECT_LE(count * 24UL + sizeof count, bytes.size());
  return count;
}

/// The message for a failure on the raw file or the sidecar; `first` and later calls on a file may mean another thing.
std::string message_of(const std::string &call, const std::string &file, bool is_trailer) {
  if (call == "open" && file == "out") return "Failed to open output file: ";
  if (call == "open") return "Failed to open meta file 'out.meta': ";
  if (call == "write" && file == "out") return "zel-client: Failed to write frame: ";
  if (call == "write") return is_trailer ? "Failed to write number of frames: " : "Failed to write meta entry: ";
  if (call == "flush") return "Failed to flush meta file: ";
  return "Failed to truncate output file: ";
}

const std::map<std::string, std::vector<std::string>> kFaults = {
    {"open", {"EIO", "ENOSPC"}},     {"write", {"EIO", "ENOSPC", "short"}}, {"flush", {"EIO", "ENOSPC"}},
    {"truncate", {"EIO", "ENOSPC"}}, {"close", {"EIO", "ENOSPC"}},
};

}  // namespace

// Catches a file operation whose failure is overlooked, reported with the wrong text or status, or spoils what is
// stored already. A failing close is not looked at: it only costs what was not written yet, the sidecar's count.
TEST(FileFaults, OfRawFileAndSidecar) {
  for (const auto &[call, kinds] : kFaults) {
    for (const std::string &kind : kinds) {
      for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message() << call << " number " << nth << ": " << kind);
        ClientRun run;
        const auto [file, result] = run_with_file_fault(&run, Output::kRaw, call, nth, kind, call == "truncate");
        if (file.empty()) {
          EXPECT_GT(nth, 1U);  // there is no such call any more
          break;
        }
        if (call == "close") {
          EXPECT_EQ(result.status, 0);
          EXPECT_EQ(result.err, "");
          EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
          EXPECT_EQ(sweep::read_sidecar(run.file("out.meta")).records, kFrames);
          continue;
        }
        // Two writes a frame to the raw file and one to the sidecar; the last one is the count.
        const bool is_trailer = nth == kFrames * 3 + 1;
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "zel-client: " + message_of(call, file, is_trailer) + cause_of(kind) + "\n");
        if (is_trailer) {
          EXPECT_EQ(sweep::read_sidecar(run.file("out.meta")).records, kFrames);
          EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
          continue;
        }
        const std::size_t frames = call == "open" ? 0 : (nth - 1) / (call == "write" ? 3 : 1);  // that are stored
        EXPECT_EQ(counted_frames(run), frames);
        if (call == "truncate") {
          EXPECT_EQ(read_file(run.file("out")), frames == 0 ? "" : run.truth().bytes(frames - 1, 1));
        } else if (has(run, "out")) {
          sweep::expect_raw_prefix(run, frames);
        }
      }
    }
  }
}

// Catches a Matroska file whose write errors are lost: the muxer's buffer hides them until it is flushed, but the run
// must not end well. What the file holds by then stays readable.
TEST(FileFaults, OfTheMatroskaFile) {
  const std::set<std::string> messages = {
      "zel-client: Failed to create MKV writer\n", "zel-client: Failed writing MKV header\n",
      "zel-client: Failed writing MKV frame\n", "zel-client: Failed writing MKV subtitle\n",
      "zel-client: Failed finalizing container\n"};
  for (const std::string call : {"open", "write"}) {
    for (const std::string kind : {"EIO", "ENOSPC", "short"}) {
      if (call == "open" && kind == "short") continue;
      std::size_t on_matroska = 0;
      for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(testing::Message() << call << " number " << nth << ": " << kind);
        ClientRun run;
        const auto [file, result] = run_with_file_fault(&run, Output::kMatroska, call, nth, kind);
        if (file.empty()) break;
        if (file != "out.mkv") continue;
        ++on_matroska;
        EXPECT_EQ(result.status, 1);
        const std::size_t line = result.err.rfind("zel-client: ");
        ASSERT_NE(line, std::string::npos) << result.err;
        EXPECT_TRUE(messages.contains(result.err.substr(line))) << result.err;
        if (call == "open") {
          EXPECT_EQ(result.err,
                    "error: Could not open output file 'out.mkv'\nzel-client: Failed to create MKV writer\n");
        } else {
          const bool lost = result.err.find("Failed finalizing container") != std::string::npos;  // the last cluster is
          sweep::expect_matroska_prefix(run, lost ? 0 : sweep::whole_records(run));
          EXPECT_TRUE(!lost || sweep::whole_records(run) == kFrames);
        }
      }
      EXPECT_GT(on_matroska, 0U);
    }
  }
}

// Catches a failing close that spoils the Matroska file or the status: all was written by then.
TEST(FileFaults, OfClosingTheMatroskaFile) {
  for (const std::string kind : {"EIO", "ENOSPC"}) {
    std::set<std::string> files;
    for (std::size_t nth = 1;; ++nth) {
      SCOPED_TRACE(testing::Message() << nth << ": " << kind);
      ClientRun run;
      const auto [file, result] = run_with_file_fault(&run, Output::kMatroska, "close", nth, kind);
      EXPECT_EQ(result.status, 0);
      EXPECT_EQ(result.err, "");
      sweep::expect_matroska_prefix(run, kFrames);
      EXPECT_EQ(sweep::read_sidecar(run.file("out.meta")).records, kFrames);
      if (file.empty()) break;
      files.insert(file);
    }
    EXPECT_EQ(files, (std::set<std::string>{"out", "out.meta", "out.mkv"}));
  }
}

// Catches a write that is taken for failed, or for whole, when the system takes a part of it and asks for the rest.
TEST(FileFaults, PartialWritesAreNone) {
  for (std::size_t nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    ClientRun run;
    const auto [file, result] = run_with_file_fault(&run, Output::kMatroska, "write", nth, "partial");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    sweep::expect_matroska_prefix(run, kFrames);
    EXPECT_EQ(counted_frames(run), kFrames);
    if (file.empty()) break;
  }
}

// Catches a seek whose failure ends the run with a signal or a hang: without seeking the index cannot be written.
TEST(FileFaults, OfSeeking) {
  for (std::size_t nth = 1;; ++nth) {
    SCOPED_TRACE(nth);
    ClientRun run;
    const auto [file, result] = run_with_file_fault(&run, Output::kMatroska, "seek", nth, "EIO");
    EXPECT_THAT(result.err, AnyOf("", "zel-client: Failed finalizing container\n"));
    EXPECT_EQ(result.status, result.err.empty() ? 0 : 1);
    sweep::expect_matroska_prefix(run, kFrames);
    if (file.empty()) break;
  }
}
