// Builds the software camera's key file: pacing, scripted frames and faults.
#ifndef ZEL_CLIENT_TESTS_HARNESS_CAMERA_SCRIPT_H
#define ZEL_CLIENT_TESTS_HARNESS_CAMERA_SCRIPT_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A fault in a call of the interface. Fields without a value are left to the camera's default.
struct Fault {
  std::string call;                              ///< name of the call, such as "zel_stream_start"
  std::optional<std::uint32_t> nth = {};         ///< the first call that it concerns, 1-based; default the first
  std::optional<std::uint32_t> times = {};       ///< that many calls in a row; 0: from then on; default 1
  std::optional<double> probability = {};        ///< instead of `nth`
  std::optional<bool> fail = {};                 ///< default true: the call does nothing and fails
  std::optional<std::int32_t> code = {};         ///< of the error, in the library's domain
  std::optional<std::string> message = {};       ///< of the error
  std::optional<bool> set_error = {};            ///< false: fails without setting an error
  std::optional<std::string> error_number = {};  ///< errno by name, such as "EINTR"
  std::optional<bool> expected = {};             ///< what zel_error_is_expected() says of the error
  std::optional<std::int64_t> stall_us = {};     ///< sleeps so long first
  std::optional<std::string> signal = {};        ///< raised in the calling thread first, such as "SIGINT"
};

/// A change to a run of frames, or (with the scripted producer) their description.
struct FrameRule {
  std::optional<std::uint32_t> from = {};   ///< first sequence number, 0-based
  std::optional<std::uint32_t> count = {};  ///< 0: all later ones; default 1
  std::optional<std::uint32_t> every = {};  ///< only every so-manieth of them
  std::optional<double> probability = {};
  std::optional<bool> drop = {};  ///< never handed out
  std::optional<std::int64_t> latency_us = {};
  std::optional<std::int64_t> jitter_us = {};
  std::optional<std::int64_t> clock_step_us = {};
  std::optional<std::int64_t> utc_step_us = {};
  std::optional<std::int64_t> custom_us = {};
  std::optional<std::uint64_t> size = {};         ///< bytes of the made-up payload
  std::optional<std::uint64_t> header_size = {};  ///< bytes of codec header within it
  std::optional<std::uint32_t> chunks = {};       ///< cut into so many chunks
  std::optional<std::string> chunk_sizes = {};    ///< cut as said: "10;0;5"
  std::optional<std::uint32_t> null_chunk = {};   ///< this chunk's data pointer is NULL, 0-based
  std::optional<std::string> type = {};           ///< nick or number
  std::optional<bool> key = {};
  std::optional<bool> shown = {};
  std::optional<bool> segment_start = {};
  std::optional<std::string> empty = {};           ///< "true", "false" or "wide"
  std::optional<std::uint64_t> timestamp_us = {};  ///< absolute presentation time
  std::optional<std::uint64_t> capacity = {};
  std::optional<bool> take_fails = {};  ///< taking a chunk fails
};

/// The key file under construction. A fresh script is virtual pacing with the generated picture.
class CameraScript {
 public:
  CameraScript();

  /// A key of the group [camera], such as "pacing".
  CameraScript &set(const std::string &key, const std::string &value);
  CameraScript &fault(const Fault &fault);
  CameraScript &frames(const FrameRule &rule);

  /// Scripted frames: no encoder, made-up payload bytes; what `frames` says decides what each frame is.
  CameraScript &scripted() { return set("producer", "scripted"); }

  /// The text of the key file.
  std::string text() const;

 private:
  using Entry = std::pair<std::string, std::string>;
  std::map<std::string, std::string> camera_;
  std::vector<std::pair<std::string, std::vector<Entry>>> groups_;
};

#endif
