// The software camera's own account of a run: every call of the interface and the truth about every frame.
#ifndef ZEL_CLIENT_TESTS_HARNESS_TRUTH_LOG_H
#define ZEL_CLIENT_TESTS_HARNESS_TRUTH_LOG_H

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

/// One call of the interface. Objects among arguments and results are numbers within their type (map 1 is the first
/// made).
struct Call {
  std::size_t position = 0;  ///< line in the log, 0-based; comparable with Release::position and FrameTruth::position
  std::string name;
  nlohmann::json args;
  nlohmann::json result;
  nlohmann::json error;      ///< {"code", "message"}; null when none was set
  std::string error_number;  ///< errno by name; "" when the call did not fail with one
};

/// An object's finalisation.
struct Release {
  std::size_t position = 0;
  std::string object;  ///< "stream", "map", "buffer"
  std::uint32_t id = 0;
};

/// A frame as it was handed out.
struct FrameTruth {
  std::size_t position = 0;
  std::uint32_t sequence = 0;
  std::uint64_t timestamp = 0, utc = 0, custom = 0;
  std::size_t size = 0;
  std::int64_t header_size = 0;
  std::string type;  ///< nick
  bool key = false;
  bool segment_start = false;
  std::uint32_t buffer = 0;
  std::size_t offset = 0;  ///< of the frame's bytes in the record
  nlohmann::json line;     ///< everything that the camera says
};

/// A frame that was never handed out.
struct Drop {
  std::uint32_t sequence = 0;
  std::string reason;
};

class TruthLog {
 public:
  /// Reads a log and the record beside it. What cannot be read or parsed fails the test. A half-written last line, as
  /// the log of a camera that still runs can have, is left out.
  TruthLog(const std::filesystem::path &log, const std::filesystem::path &record);

  const std::vector<Call> &calls() const { return calls_; }
  const std::vector<FrameTruth> &frames() const { return frames_; }
  const std::vector<Drop> &drops() const { return drops_; }
  const std::vector<Release> &releases() const { return releases_; }
  const std::vector<nlohmann::json> &lines() const { return lines_; }

  std::vector<Call> calls_named(std::string_view name) const;
  std::size_t count(std::string_view name) const { return calls_named(name).size(); }

  /// The names of the calls that are among `names`, in the order in which they came, repetitions included.
  std::vector<std::string> order_of(std::initializer_list<std::string_view> names) const;

  /// Every call that writes into a map, written "set_uint32 format 0", "copy_value dynamic dynamic.gop", ... in order.
  std::vector<std::string> writes_to_map(std::uint32_t map) const;

  /// What zel_stream_new was given the first time.
  std::map<std::string, nlohmann::json> requested_settings() const;

  /// What a map holds at a position of the log, from replaying the writes.
  std::map<std::string, nlohmann::json> map_at(std::uint32_t map, std::size_t position) const;

  /// The bytes of one frame.
  std::string bytes(const FrameTruth &frame) const;

  /// The bytes of all frames, or of `count` frames from number `first` on, as they were handed out.
  std::string bytes() const { return record_; }
  std::string bytes(std::size_t first, std::size_t count) const;

 private:
  std::vector<nlohmann::json> lines_;
  std::vector<Call> calls_;
  std::vector<FrameTruth> frames_;
  std::vector<Drop> drops_;
  std::vector<Release> releases_;
  std::string record_;
};

#endif
