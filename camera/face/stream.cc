// Streams and buffers.
#include "face/call.h"
#include "zel/zel.h"

using namespace camera;

ZEL_EXPORT zel_stream *zel_stream_new(zel_map *, gpointer, GError **error) {
  fail(error, kErrorMissing, "zel_stream_new: no stream");
  return nullptr;
}
ZEL_EXPORT gint zel_stream_get_fd(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_fd: no stream");
  return -1;
}
ZEL_EXPORT gint zel_stream_get_event_fd(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_event_fd: no stream");
  return -1;
}
ZEL_EXPORT guint32 zel_stream_get_id(zel_stream *) {
  return 0;
}
ZEL_EXPORT zel_map *zel_stream_get_info(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_info: no stream");
  return nullptr;
}
ZEL_EXPORT zel_map *zel_stream_get_settings(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_settings: no stream");
  return nullptr;
}
ZEL_EXPORT gboolean zel_stream_start(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_start: no stream");
  return FALSE;
}
ZEL_EXPORT gboolean zel_stream_play(zel_stream *, gpointer, GError **error) {
  fail(error, kErrorMissing, "zel_stream_play: no stream");
  return FALSE;
}
ZEL_EXPORT gboolean zel_stream_stop(zel_stream *) {
  return FALSE;
}
ZEL_EXPORT gboolean zel_stream_force_key_frame(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_force_key_frame: no stream");
  return FALSE;
}
ZEL_EXPORT zel_map *zel_stream_get_event(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_event: no stream");
  return nullptr;
}
ZEL_EXPORT zel_buffer *zel_stream_buffer_alloc(zel_stream *, gpointer, GError **error) {
  fail(error, kErrorMissing, "zel_stream_buffer_alloc: no stream");
  return nullptr;
}
ZEL_EXPORT gboolean zel_stream_buffer_enqueue(zel_stream *, zel_buffer *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_buffer_enqueue: no stream");
  return FALSE;
}
ZEL_EXPORT zel_buffer *zel_stream_get_buffer(zel_stream *, GError **error) {
  fail(error, kErrorMissing, "zel_stream_get_buffer: no stream");
  return nullptr;
}
ZEL_EXPORT gboolean zel_stream_buffer_unref(zel_stream *, zel_buffer **, GError **error) {
  fail(error, kErrorMissing, "zel_stream_buffer_unref: no stream");
  return FALSE;
}
ZEL_EXPORT zel_frame *zel_buffer_get_frame(zel_buffer *) {
  return nullptr;
}
ZEL_EXPORT gsize zel_buffer_get_capacity(zel_buffer *) {
  return 0;
}
ZEL_EXPORT guint32 zel_buffer_get_id(zel_buffer *) {
  return 0;
}
ZEL_EXPORT gboolean zel_buffer_is_contiguous(zel_buffer *) {
  return FALSE;
}
ZEL_EXPORT gsize zel_frame_get_size(zel_frame *) {
  return 0;
}
ZEL_EXPORT gssize zel_frame_get_header_size(zel_frame *) {
  return 0;
}
ZEL_EXPORT guint32 zel_frame_get_frame_type(zel_frame *) {
  return 0;
}
ZEL_EXPORT guint32 zel_frame_get_sequence_nbr(zel_frame *) {
  return 0;
}
ZEL_EXPORT guint64 zel_frame_get_timestamp(zel_frame *) {
  return 0;
}
ZEL_EXPORT guint64 zel_frame_get_utc_timestamp(zel_frame *) {
  return 0;
}
ZEL_EXPORT guint64 zel_frame_get_custom_timestamp(zel_frame *) {
  return 0;
}
ZEL_EXPORT gboolean zel_frame_is_key(zel_frame *) {
  return FALSE;
}
ZEL_EXPORT gboolean zel_frame_shown(zel_frame *) {
  return FALSE;
}
ZEL_EXPORT gboolean zel_frame_is_segment_start(zel_frame *) {
  return FALSE;
}
ZEL_EXPORT zel_map *zel_frame_get_extra_info(zel_frame *) {
  return nullptr;
}
ZEL_EXPORT zel_chunk zel_frame_take_chunk(zel_frame *, GError **error) {
  fail(error, kErrorMissing, "zel_frame_take_chunk: no stream");
  return {nullptr, 0, G_MININT32};
}
ZEL_EXPORT zel_chunk zel_frame_take_chunk_ex(zel_frame *, guint32) {
  return {nullptr, 0, G_MININT32};
}
