// The stream object.
#ifndef ZEL_CAMERA_STREAM_H
#define ZEL_CAMERA_STREAM_H

#include <memory>
#include <mutex>

#include "api/buffer.h"
#include "api/object.h"
#include "api/session.h"
#include "common/av_messages.h"
#include "producer/assemble.h"
#include "producer/engine.h"

namespace camera {

/// The members' order is their lifetime: the engine's thread ends before anything that it uses.
struct StreamState {
  StreamState() = default;
  StreamState(const StreamState &) = delete;
  StreamState &operator=(const StreamState &) = delete;
  ~StreamState();  ///< ends the thread and logs the release

  Session *session = nullptr;
  std::uint32_t number = 0;  ///< which stream of the session this is, from 1; also its id
  Values settings;           ///< as granted
  Plan plan;
  std::size_t capacity = 0;
  std::mutex control;                      ///< one start, stop or play at a time
  std::atomic<std::uint32_t> buffers = 0;  ///< made so far
  /// Shared with the stream's own buffers, which may be released after the stream.
  std::shared_ptr<FrameQueue> queue;
  std::unique_ptr<AvLogCallback> messages;
  std::unique_ptr<Engine> engine;
};

}  // namespace camera

struct zel_stream {
  static constexpr const char *kTypeName = "zel_stream";
  GObject parent;
  camera::StreamState state;
};

namespace camera {

/// How a stream appears in log arguments: its number, or null.
LogValue shown(const zel_stream *stream);

}  // namespace camera

#endif
