// Answering calls as a recording has them.
//
// Each object has a place in its own order. A call that changes something must be the next such call of its object,
// with the same arguments; one that only looks is answered from around the object's place, as often as it is made. The
// first call that the recording does not have makes the next one that can fail do so.
#ifndef ZEL_CAMERA_REPLAY_H
#define ZEL_CAMERA_REPLAY_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "common/wakeup.h"
#include "config/key_file.h"
#include "replay/recorded_run.h"

namespace camera {

/// What becomes of a call.
struct ReplayAnswer {
  const formats::RecordingItem *call = nullptr;  ///< as it was recorded; null: see below
  std::string divergence;                        ///< why there is none; the call fails with this text if it can
  bool was_interrupted = false;                  ///< a signal came while it waited
};

/// A recording that is being answered from, from any threads. Its own thread keeps the descriptors and the signals.
class Replay {
 public:
  /// Throws std::runtime_error with one line when the file cannot be replayed.
  Replay(const std::string &path, Pacing pacing);
  Replay(const Replay &) = delete;
  Replay &operator=(const Replay &) = delete;
  ~Replay();

  const RecordedRun &run() const { return run_; }

  /// The answer to a call. At the recorded pace it comes no earlier than it came then. Raises the signals that came
  /// during the call.
  ReplayAnswer answer(const formats::RecordedCall &row, const formats::RecordedValue::List &arguments);

  /// Whether the recording has the call at all, on whatever object.
  bool has_any(const formats::RecordedCall &row) const;

  /// Readable while the stream's next step is to fetch a frame, or an event.
  int frame_descriptor(std::uint32_t stream);
  int event_descriptor(std::uint32_t stream);

 private:
  using Item = formats::RecordingItem;
  struct Place {
    std::size_t next = 0;  ///< event of the object
  };
  struct StreamFiles {
    Wakeup frames;
    Wakeup events;
  };
  struct Armed {
    const RecordedSignal *signal;
    int thread;                ///< the kernel's number
    std::int64_t busy_us = 0;  ///< processor time that the thread had used then
  };

  const Item *look(const formats::RecordedCall &row, const formats::RecordedValue::List &arguments,
                   std::vector<int> &signals);
  const Item *find_step(const formats::RecordedCall &row, const formats::RecordedValue::List &arguments,
                        std::vector<int> &signals);
  const Item *nothing_to_fetch(std::uint32_t object, const formats::RecordedCall &row) const;
  const RecordedEvent *next_step(std::uint32_t object, std::size_t *index = nullptr) const;
  void consume(std::uint32_t object, std::size_t index, std::vector<int> &signals);
  void pass(const Item &call, std::vector<int> &signals);
  void diverge(const formats::RecordedCall &row, const formats::RecordedValue::List &arguments, const Item *recorded);
  std::int64_t due_us(std::uint64_t ns) const;
  std::int64_t due_us(const Item &call) const { return due_us(call.at_ns + call.took_ns); }
  bool wait_for(std::unique_lock<std::mutex> &lock, const Item &call, bool can_be_interrupted);
  StreamFiles &files_of(std::uint32_t stream);
  void show_readiness();
  void arm(const RecordedSignal &signal);
  void send_signals();
  void keep();

  RecordedRun run_;
  bool is_paced_;
  std::mutex mutex_;
  std::unordered_map<std::uint32_t, Place> places_;
  std::unordered_map<std::uint32_t, StreamFiles> files_;
  std::vector<Armed> armed_;
  std::vector<const RecordedSignal *> sent_;
  std::string divergence_;     ///< of the first call that the recording does not have; empty: none so far
  std::int64_t start_us_ = 0;  ///< when the first call came; 0: none did
  bool is_ending_ = false;
  std::condition_variable changed_;
  std::thread keeper_;
};

}  // namespace camera

#endif
