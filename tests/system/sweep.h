// What the tests that let something fail at every point of a run share: the run, and what must hold however it ends.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_SWEEP_H
#define ZEL_CLIENT_TESTS_SYSTEM_SWEEP_H

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "harness/client_run.h"
#include "harness/matroska.h"

namespace sweep {

inline constexpr std::size_t kFrames = 2;

/// Where a run's frames go. The sidecar is always written.
enum class Output { kRaw, kMatroska, kMatroskaOfChunks };

inline const char *name_of(Output output) {
  switch (output) {
    case Output::kRaw:
      return "raw";
    case Output::kMatroska:
      return "Matroska";
    case Output::kMatroskaOfChunks:
      break;
  }
  return "Matroska of chunks";
}

/// Two small frames; in chunks unless the Matroska writer shall get them whole.
inline void prepare(ClientRun *run, Output output) {
  const std::uint32_t chunks = output == Output::kMatroska ? 1 : 2;
  run->camera().scripted().frames({.count = 0, .size = 300, .header_size = 20, .chunks = chunks, .key = true});
}

inline std::vector<std::string> arguments(Output output) {
  std::vector<std::string> words = {
      "--frames=" + std::to_string(kFrames), "--buffer.count=2", "--format=jpeg", "-m", "-o", "out", "320", "240"};
  if (output == Output::kMatroska) words.insert(words.begin(), "--frame.chunks=0");
  if (output != Output::kRaw) words.insert(words.begin(), "--mkv=out.mkv");
  return words;
}

/// Objects that a call's result names.
inline std::string made_by(const std::string &call) {
  if (call == "zel_stream_new") return "stream";
  if (call == "zel_stream_buffer_alloc") return "buffer";
  if (call == "zel_map_new" || call == "zel_stream_get_info" || call == "zel_stream_get_settings") return "map";
  return "";
}

/// Every object that the client got is released, and nothing is released twice.
inline void expect_released_once(const TruthLog &truth) {
  std::set<std::pair<std::string, std::uint32_t>> released;
  for (const Release &release : truth.releases()) {
    EXPECT_TRUE(released.emplace(release.object, release.id).second)
        << release.object << ' ' << release.id << " is released twice";
  }
  std::set<std::uint32_t> kept;  // what the library refused to take back is the library's
  for (const Call &call : truth.calls_named("zel_stream_buffer_unref")) {
    if (call.result != true) kept.insert(call.args.at("buffer").get<std::uint32_t>());
  }
  for (const Call &call : truth.calls()) {
    const std::string object = made_by(call.name);
    if (object.empty() || !call.result.is_number()) continue;
    if (object == "buffer" && kept.contains(call.result.get<std::uint32_t>())) continue;
    EXPECT_TRUE(released.contains({object, call.result.get<std::uint32_t>()}))
        << object << ' ' << call.result << " is not released";
  }
}

/// The count at the end of a sidecar, and how many records stand before it.
struct Sidecar {
  std::size_t records = 0;
  std::size_t rest = 0;  ///< bytes behind the records; 4 for the count
  std::uint32_t count = 0;
};

inline Sidecar read_sidecar(const std::filesystem::path &path) {
  const std::string bytes = read_file(path);
  Sidecar sidecar = {.records = bytes.size() / 24, .rest = bytes.size() % 24};
  for (std::size_t i = 0; sidecar.rest == 4 && i < 4; ++i)
    sidecar.count |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[sidecar.records * 24 + i])) << (8 * i);
  return sidecar;
}

/// The records of a sidecar that was closed: they are whole, and the count behind them is theirs. 0 without a sidecar.
inline std::size_t whole_records(const ClientRun &run) {
  if (!std::filesystem::exists(run.file("out.meta"))) return 0;
  const Sidecar sidecar = read_sidecar(run.file("out.meta"));
  EXPECT_EQ(sidecar.rest, 4U);
  EXPECT_EQ(sidecar.count, sidecar.records);
  return sidecar.records;
}

/// The raw file begins with the frames as they were handed out, `whole` of them entirely.
inline void expect_raw_prefix(const ClientRun &run, std::size_t whole) {
  const std::string stored = read_file(run.file("out"));
  const std::string truth = run.truth().bytes();
  EXPECT_EQ(stored, truth.substr(0, stored.size()));
  EXPECT_GE(stored.size(), run.truth().bytes(0, whole).size());
}

/// The Matroska file holds the first frames as they were handed out, at least `whole` of them.
inline void expect_matroska_prefix(const ClientRun &run, std::size_t whole) {
  const MatroskaContents contents = read_matroska(run.file("out.mkv"));
  EXPECT_GE(contents.frames.size(), whole);
  for (std::size_t i = 0; i < contents.frames.size(); ++i)
    EXPECT_EQ(contents.frames[i], run.truth().bytes(i, 1)) << "frame " << i;
}

}  // namespace sweep

#endif
