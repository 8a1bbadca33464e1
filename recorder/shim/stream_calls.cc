// The calls about streams.
#include "recorder/shim/chunks.h"
#include "recorder/shim/crossing.h"
#include "recorder/shim/stream_files.h"

using namespace recorder;

namespace {

/// A descriptor that the program may wait on from now on.
gint noted(zel_stream *stream, gint descriptor, bool is_event) {
  if (is_recorded()) {
    const ErrnoKept kept;
    note_stream_file(descriptor, {object_id(stream), is_event});
  }
  return descriptor;
}

}  // namespace

ZEL_SHIM zel_stream *zel_stream_new(zel_map *settings, gpointer reserved, GError **error) {
  return cross<"zel_stream_new", zel_stream_new>(settings, reserved, error);
}
ZEL_SHIM gint zel_stream_get_fd(zel_stream *stream, GError **error) {
  return noted(stream, cross<"zel_stream_get_fd", zel_stream_get_fd>(stream, error), false);
}
ZEL_SHIM gint zel_stream_get_event_fd(zel_stream *stream, GError **error) {
  return noted(stream, cross<"zel_stream_get_event_fd", zel_stream_get_event_fd>(stream, error), true);
}
ZEL_SHIM guint32 zel_stream_get_id(zel_stream *stream) {
  return cross<"zel_stream_get_id", zel_stream_get_id>(stream);
}
ZEL_SHIM zel_map *zel_stream_get_info(zel_stream *stream, GError **error) {
  return cross<"zel_stream_get_info", zel_stream_get_info>(stream, error);
}
ZEL_SHIM zel_map *zel_stream_get_settings(zel_stream *stream, GError **error) {
  return cross<"zel_stream_get_settings", zel_stream_get_settings>(stream, error);
}
ZEL_SHIM gboolean zel_stream_start(zel_stream *stream, GError **error) {
  return cross<"zel_stream_start", zel_stream_start>(stream, error);
}
ZEL_SHIM gboolean zel_stream_play(zel_stream *stream, gpointer reserved, GError **error) {
  return cross<"zel_stream_play", zel_stream_play>(stream, reserved, error);
}
ZEL_SHIM gboolean zel_stream_stop(zel_stream *stream) {
  return cross<"zel_stream_stop", zel_stream_stop>(stream);
}
ZEL_SHIM gboolean zel_stream_force_key_frame(zel_stream *stream, GError **error) {
  return cross<"zel_stream_force_key_frame", zel_stream_force_key_frame>(stream, error);
}
ZEL_SHIM zel_map *zel_stream_get_event(zel_stream *stream, GError **error) {
  return cross<"zel_stream_get_event", zel_stream_get_event>(stream, error);
}
ZEL_SHIM zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer reserved, GError **error) {
  return cross<"zel_stream_buffer_alloc", zel_stream_buffer_alloc>(stream, reserved, error);
}
ZEL_SHIM gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  return cross<"zel_stream_buffer_enqueue", zel_stream_buffer_enqueue>(stream, buffer, error);
}
ZEL_SHIM zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  return cross<"zel_stream_get_buffer", zel_stream_get_buffer, FilledBuffer>(stream, error);
}
ZEL_SHIM gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error) {
  return cross<"zel_stream_buffer_unref", zel_stream_buffer_unref>(stream, buffer, error);
}
