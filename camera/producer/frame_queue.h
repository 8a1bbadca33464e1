// The queues between the producer's thread and the client's: free buffers and filled ones.
#ifndef ZEL_CAMERA_FRAME_QUEUE_H
#define ZEL_CAMERA_FRAME_QUEUE_H

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/wakeup.h"
#include "producer/frame.h"
#include "settings/values.h"

namespace camera {

/// An owned buffer; destroying the handle releases it.
using BufferHandle = std::unique_ptr<void, void (*)(void *)>;

/// A buffer with its frame.
struct Filled {
  BufferHandle buffer;
  Frame frame;
};

enum class FetchStatus { kFrame, kNothing, kEnded, kStopped };

/// All state that both sides touch, under one mutex. The descriptors are changed under it too, so that they are
/// readable exactly when something waits.
class FrameQueue {
 public:
  FrameQueue() = default;
  FrameQueue(const FrameQueue &) = delete;
  FrameQueue &operator=(const FrameQueue &) = delete;

  // The client's side.

  /// A buffer to fill.
  void give(BufferHandle buffer);
  /// The oldest filled buffer. kEnded and kStopped come only after the last one.
  FetchStatus fetch(std::optional<Filled> &filled, std::string &end_reason);
  /// Readable when a filled buffer, or the end of the stream, waits to be fetched.
  int frame_descriptor() const { return frames_.descriptor(); }
  /// Readable while a blocking fetch must not wait: nothing is going to come.
  int idle_descriptor() const { return idle_.descriptor(); }
  int event_descriptor() const { return event_signal_.descriptor(); }
  std::optional<Values> take_event();

  /// A run begins: frames are kept back when `holds`, until release_held().
  void begin(bool holds);
  /// Delivers kept frames, beginning with a key frame, handed over at `now_us` if there is such a time. Appends the
  /// sequence numbers of those before it, which are lost, to `lost`. Returns false when there was no key frame; frames
  /// are lost then until one is delivered.
  bool release_held(std::optional<std::uint64_t> now_us, std::vector<std::uint32_t> &lost);
  /// Tells the producer to end.
  void request_stop();
  /// After the producer has ended: unfetched frames are discarded and their buffers free again. Returns their sequence
  /// numbers. is_stopping() is false from then on.
  std::vector<std::uint32_t> finish_stop();

  // The producer's side.

  bool is_stopping();
  /// Whether end() was called in this run: the producer's thread is at its end or about to be.
  bool has_ended();
  /// A free buffer, or nothing.
  std::optional<BufferHandle> take_free();
  /// Gives back a buffer that take_free() gave, to be taken next.
  void return_free(BufferHandle buffer);
  /// Waits for a free buffer or the request to stop.
  void wait_for_free();
  /// Waits until the deadline on the monotonic clock, or the request to stop.
  void wait_until(std::int64_t deadline_us);
  /// Takes a filled buffer for the client. Returns false when the frame is lost because a key frame has to come first.
  /// When it throws, `filled` is as it was.
  bool deliver(Filled &&filled);
  /// Whether frames are kept back, and of how many microseconds.
  std::optional<std::uint64_t> held_span_us();
  /// Frees the oldest kept frame and returns its sequence number; nothing when none is kept.
  std::optional<std::uint32_t> recycle_held();
  /// Waits until frames are no longer kept back, or the request to stop.
  void wait_for_release();
  void post_event(Values event);
  /// Nothing more comes in this run but for the frames that are kept back, if any.
  void end(std::string reason);

 private:
  bool is_at_end() const;
  void refresh_frames();

  std::mutex mutex_;
  std::deque<BufferHandle> free_;
  std::deque<Filled> filled_;
  std::deque<Filled> held_;
  std::deque<Values> events_;
  std::optional<std::string> end_reason_;
  bool running_ = false;
  bool holding_ = false;
  bool awaits_key_ = false;  ///< there was no key frame among the kept frames
  bool stopping_ = false;
  bool waits_for_change_ = false;  ///< the producer waits for a buffer, a release or the stop
  Wakeup frames_;
  Wakeup idle_;
  Wakeup event_signal_;
  Wakeup changed_;  ///< ends the producer's wait
};

}  // namespace camera

#endif
