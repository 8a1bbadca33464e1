// The buffer object, which is also its frame.
#ifndef ZEL_CAMERA_BUFFER_H
#define ZEL_CAMERA_BUFFER_H

#include <atomic>
#include <memory>

#include "api/map.h"
#include "api/object.h"
#include "api/session.h"
#include "producer/frame.h"
#include "producer/frame_queue.h"

namespace camera {

struct BufferState {
  BufferState() = default;
  BufferState(const BufferState &) = delete;
  BufferState &operator=(const BufferState &) = delete;
  ~BufferState();  ///< logs the release; the stream replaces a buffer of its own

  Session *session = nullptr;
  std::uint32_t number = 0;          ///< which buffer of the session this is, from 1
  std::uint32_t id = 0;              ///< which buffer of its stream this is, from 1
  std::uint32_t stream = 0;          ///< the stream's number
  std::atomic<bool> queued = false;  ///< the stream holds it
  bool readable = true;              ///< "buffer.access" lets the client read the data
  std::size_t capacity = 0;          ///< while it holds no frame
  /// Set in buffers that the stream brought itself: makes another one when the client releases this one.
  std::function<void()> replace;

  // What the last fetch attached. It stays readable through the client's reference until the next fetch, also after the
  // buffer was handed back, for only fetching changes it.
  Frame frame;
  std::size_t next_piece = 0;  ///< the chunk cursor
  Ref<zel_map> extra;          ///< made when it is first asked for
};

}  // namespace camera

struct zel_buffer {
  static constexpr const char *kTypeName = "zel_buffer";
  GObject parent;
  camera::BufferState state;
};

namespace camera {

/// Attaches a fetched frame.
void attach_frame(zel_buffer &buffer, Frame frame);

/// How a buffer appears in log arguments: its number, or null.
LogValue shown(const zel_buffer *buffer);

}  // namespace camera

#endif
