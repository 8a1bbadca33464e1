// The camera's own configuration: the key file that the environment variable ZEL_CAMERA names.
#ifndef ZEL_CAMERA_KEY_FILE_H
#define ZEL_CAMERA_KEY_FILE_H

#include <glib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace camera {

enum class Pacing { kRealTime, kUnpaced, kVirtual };
enum class ProducerKind { kGenerated, kCached, kScripted };
enum class SourceKind { kTestPicture, kGraph, kFile, kDevice };

/// Which of the calls of one name a fault applies to: those from `nth` (1-based) on, or each with a probability.
struct Trigger {
  std::uint64_t nth = 1;
  std::uint64_t times = 1;  ///< 0: from then on
  std::optional<double> probability;
};

/// A group "[fault NAME]": what happens to a call of the interface.
struct CallFault {
  std::string name;
  std::string call;
  Trigger trigger;
  bool fails = true;
  gint code = 8;
  std::string message;
  bool sets_error = true;
  bool expected = false;
  int error_number = 0;  ///< errno after the call; 0: EIO
  std::uint64_t stall_us = 0;
  int signal = 0;
};

enum class EmptyMark { kFalse, kTrue, kWide };

/// A group "[frame NAME]": what happens to frames, chosen by sequence number.
struct FrameFault {
  std::string name;
  std::uint64_t from = 0;
  std::uint64_t count = 1;  ///< 0: all later ones
  std::uint64_t every = 1;
  std::optional<double> probability;
  bool drop = false;
  bool end = false;         ///< the stream ends before this frame
  bool take_fails = false;  ///< taking a chunk fails
  std::uint64_t latency_us = 0;
  std::uint64_t jitter_us = 0;
  std::int64_t clock_step_us = 0;
  std::int64_t utc_step_us = 0;
  std::optional<std::uint64_t> custom_us;
  std::optional<std::uint64_t> timestamp_us;
  std::optional<std::uint64_t> size;
  std::optional<std::uint64_t> header_size;
  std::optional<std::uint64_t> capacity;
  std::optional<std::uint64_t> chunks;
  std::vector<std::uint64_t> chunk_sizes;
  std::optional<std::uint64_t> null_chunk;
  std::optional<std::uint32_t> type;
  std::optional<bool> key;
  std::optional<bool> shown;
  std::optional<bool> segment_start;
  std::optional<EmptyMark> empty;
};

/// The whole configuration. The initial values are those of a camera without a key file.
struct CameraConfig {
  Pacing pacing = Pacing::kRealTime;
  ProducerKind producer = ProducerKind::kGenerated;
  bool has_producer = false;  ///< the file names one
  SourceKind source = SourceKind::kTestPicture;
  std::string source_text;  ///< the graph, file name or device name of the source
  std::string capture;      ///< what is played instead of a source and a producer; empty: nothing is
  std::string console;      ///< console text of the capture; empty: none
  bool loop = false;        ///< the capture is played again and again
  bool has_loop = false;    ///< the file says so, either way
  std::string recording;    ///< file name of what answers all calls; empty: the camera does
  std::string log;          ///< file name; empty: no log
  std::string record;       ///< file name; empty: frames are not recorded
  bool log_getters = true;
  std::optional<bool> marker;  ///< whether pictures carry the marker; absent: those that the camera draws do
  std::uint64_t seed = 1;
  std::optional<std::uint64_t> start_us;  ///< absent: the capture's first time, or 1000000
  std::uint64_t utc_start_us = 1'700'000'000'000'000;
  std::vector<CallFault> call_faults;
  std::vector<FrameFault> frame_faults;
};

/// Reads the key file at `path`. Every group, key and value must be known. Returns nothing and sets the error
/// (kErrorKeyFile, naming the file, group and key) otherwise.
std::optional<CameraConfig> read_key_file(const std::string &path, GError **error);

}  // namespace camera

#endif
