// A recording, put in order for being answered from.
#ifndef ZEL_CAMERA_RECORDED_RUN_H
#define ZEL_CAMERA_RECORDED_RUN_H

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/recording_reader.h"

namespace camera {

/// What happened to one object, in order.
struct RecordedEvent {
  const formats::RecordingItem *call = nullptr;  ///< null: the buffer was filled anew
  /// Whether it has its place in the order. What only looked, or fetched nothing, has none.
  bool is_step = true;
};

/// A signal that came between two calls of a thread.
struct RecordedSignal {
  int number = 0;
  std::uint64_t at_ns = 0;
  const formats::RecordingItem *after = nullptr;   ///< the call before it; null: none
  const formats::RecordingItem *before = nullptr;  ///< the call behind it; null: none
  bool is_in_wait = false;  ///< the thread waited on a stream's descriptors between the two, once or again and again
};

/// Bytes that a call hands out.
struct RecordedBytes {
  const std::uint8_t *data = nullptr;
  std::size_t size = 0;
};

/// The calls of a recording. Everything stays where it is once it is made.
class RecordedRun {
 public:
  /// Reads the whole file. Throws std::runtime_error with one line when it cannot be replayed: also when items are
  /// lost in it.
  explicit RecordedRun(const std::string &path);

  const std::string &path() const { return path_; }

  /// Empty when the recording does not have the object.
  const std::vector<RecordedEvent> &events_of(std::uint32_t object) const;

  /// The signals that came during a call, to be raised in it.
  const std::vector<int> &signals_in(const formats::RecordingItem &call) const;

  /// The signals that came during calls of that name that never returned.
  std::vector<int> signals_in_unreturned(std::string_view name) const;

  const std::vector<RecordedSignal> &signals_between() const { return between_; }

  /// What a call that takes a chunk hands out; made-up bytes where the recording has none.
  RecordedBytes bytes_of(const formats::RecordingItem &call) const;

  /// The values of the enumerations by their names: of all that the recording has calls for.
  const std::map<std::string, const formats::RecordedValue::List *> &types() const { return types_; }

  /// When the first call began.
  std::uint64_t begin_ns() const { return calls_.empty() ? 0 : calls_.front().at_ns; }

 private:
  struct Waiting {
    int number;
    std::uint64_t at_ns;
    std::string during;
  };
  struct ThreadSoFar {
    const formats::RecordingItem *last = nullptr;
    std::vector<Waiting> signals;  ///< since the last call
    bool has_waited = false;       ///< on a stream's descriptors, since the last call
  };

  void add(formats::RecordingItem item);
  void add_call(formats::RecordingItem item);
  void note_chunk(const formats::RecordingItem &call);
  /// The call whose bytes the chunk has again, itself where it has its own.
  const formats::RecordingItem *holder_of(const formats::RecordingItem &chunk) const;
  void end_threads();
  void check_types() const;

  std::string path_;
  std::deque<formats::RecordingItem> calls_;
  std::unordered_map<std::uint32_t, std::vector<RecordedEvent>> objects_;
  std::map<std::uint32_t, ThreadSoFar> threads_;
  std::unordered_map<const formats::RecordingItem *, std::vector<int>> during_;
  std::vector<Waiting> unreturned_;
  std::vector<RecordedSignal> between_;
  std::unordered_map<std::uint32_t, std::vector<const formats::RecordingItem *>> chunks_;  ///< of each buffer's frame
  std::unordered_map<const formats::RecordingItem *, const formats::RecordingItem *> again_;  ///< who holds its bytes
  std::map<std::string, const formats::RecordedValue::List *> types_;
  struct Free {
    void operator()(std::uint8_t *bytes) const { std::free(bytes); }
  };
  std::size_t largest_made_up_ = 0;                ///< bytes of the largest chunk that has none in the recording
  std::unique_ptr<std::uint8_t, Free> made_up_{};  ///< so many zeros, which take no memory until they are read
};

/// The object that a call is about: its first argument; 0: none.
std::uint32_t object_of(const formats::RecordedCall &row, const formats::RecordedValue::List &arguments);

}  // namespace camera

#endif
