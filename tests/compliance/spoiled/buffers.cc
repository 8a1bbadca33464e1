// Buffers that are counted, kept and handed out in another way.
#include <poll.h>

#include <cerrno>

#include "spoil.h"

namespace {

gpointer longest_out = nullptr;  ///< the buffer that the client has had for the most fetches; null once it is gone
int fetches = 0;                 ///< since that buffer was fetched
bool has_stopped = false;

void forget_longest_out() {
  if (longest_out != nullptr) g_object_remove_weak_pointer(G_OBJECT(longest_out), &longest_out);
  longest_out = nullptr;
  fetches = 0;
}

/// Keeps the account of the buffer that is out for longest.
void note_fetch(zel_buffer *buffer) {
  ++fetches;
  if (longest_out != nullptr) return;
  fetches = 0;
  longest_out = buffer;
  g_object_add_weak_pointer(G_OBJECT(buffer), &longest_out);
}

/// Writes into the data of which the client has taken the first chunk.
void change_data_of(gpointer buffer) {
  auto *data = reinterpret_cast<guint8 *>(number_of(buffer, "data"));
  if (data != nullptr) *data = static_cast<guint8>(*data ^ 0xFFU);
  set_number(buffer, "data", 0);
}

/// The next buffer from the camera, with the faults of fetching.
zel_buffer *fetch(zel_stream *stream, GError **error) {
  if (spoils("always-ready")) {  // which only a fetch that waits can stand
    pollfd one = {.fd = BEHIND(zel_stream_get_fd)(stream, nullptr), .events = POLLIN, .revents = 0};
    (void)poll(&one, 1, 1000);
  }
  zel_buffer *buffer = BEHIND(zel_stream_get_buffer)(stream, error);
  const bool is_first = buffer != nullptr && number_of(stream, "blocking") != 0 && number_of(stream, "lost") == 0;
  if (is_first && spoils("first-frame-lost")) {
    set_number(stream, "lost", 1);
    (void)BEHIND(zel_stream_buffer_enqueue)(stream, buffer, nullptr);
    g_object_unref(buffer);
    buffer = BEHIND(zel_stream_get_buffer)(stream, error);
  }
  return buffer;
}

}  // namespace

SPOILED gboolean zel_stream_stop(zel_stream *stream) {
  has_stopped = true;
  return spoils("never-stops") ? TRUE : BEHIND(zel_stream_stop)(stream);
}

SPOILED zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer reserved, GError **error) {
  const gintptr buffers = number_of(stream, "buffers") + 1;
  set_number(stream, "buffers", buffers);
  if (buffers == 10 && spoils("nine-buffers")) {
    g_set_error_literal(error, BEHIND(zel_error_quark)(), 11, "Out of memory");
    return nullptr;
  }
  return BEHIND(zel_stream_buffer_alloc)(stream, reserved, error);
}

SPOILED gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  if (spoils("service-takes-none-back") && number_of(stream, "service") != 0) {
    g_set_error_literal(error, BEHIND(zel_error_quark)(), 17, "The buffer is the service's");
    return FALSE;
  }
  if (buffer == longest_out) forget_longest_out();
  set_number(buffer, "handed-back", 1);
  return BEHIND(zel_stream_buffer_enqueue)(stream, buffer, error);
}

SPOILED zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  has_stopped = false;
  if (spoils("no-frames") && number_of(stream, "blocking") != 0) {
    g_set_error_literal(error, BEHIND(zel_error_quark)(), 17, "The sensor is asleep");
    errno = EIO;
    return nullptr;
  }
  if (spoils("kept-buffer-is-filled") && longest_out != nullptr && fetches > 5) change_data_of(longest_out);
  if (spoils("kept-buffer-comes-again") && longest_out != nullptr && fetches > 5) {
    return static_cast<zel_buffer *>(g_object_ref(longest_out));
  }
  zel_buffer *buffer = fetch(stream, error);
  if (buffer == nullptr) {
    if (error != nullptr && *error != nullptr && spoils("other-code") && (*error)->code == 13) (*error)->code = 12;
    if (spoils("no-errno")) errno = 0;
    return nullptr;
  }
  note_fetch(buffer);
  set_number(buffer, "handed-back", 0);
  set_number(buffer, "left-off", number_of(buffer, "taken"));
  set_number(buffer, "taken", 0);
  set_number(buffer, "data", 0);
  if (spoils("buffers-kept")) g_object_ref(buffer);
  return buffer;
}

SPOILED gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error) {
  zel_buffer *held = *buffer;
  const gboolean done = BEHIND(zel_stream_buffer_unref)(stream, buffer, error);
  if (spoils("pointer-stays")) *buffer = held;
  return done;
}

SPOILED zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  zel_frame *frame = BEHIND(zel_buffer_get_frame)(buffer);
  if (spoils("frame-with-reference")) g_object_ref(frame);
  return frame;
}

SPOILED gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  return spoils("small-capacity") ? 1 : BEHIND(zel_buffer_get_capacity)(buffer);
}

SPOILED guint32 zel_buffer_get_id(zel_buffer *buffer) {
  return spoils("one-number-for-all") ? 7 : BEHIND(zel_buffer_get_id)(buffer);
}

SPOILED gsize zel_frame_get_size(zel_frame *frame) {
  return spoils("stop-empties-frames") && has_stopped ? 0 : BEHIND(zel_frame_get_size)(frame);
}
