// A libzel.so.1 that costs next to nothing, so that the client alone can be measured: a JPEG stream of 1280x720 whose
// frames are the same 64 kB at 25 frames a second, delivered as fast as they are fetched, without end. Maps forget what
// they are given. At the end of the process its peak memory is written to the file that STILL_CAMERA_PEAK names.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zel/zel.h"

enum { kFrameSize = 65536, kMicrosecondsPerFrame = 40000 };

static guint8 payload[kFrameSize];
static guint32 sequence;
static gboolean taken;

__attribute__((destructor)) static void report_peak(void) {
  const char *name = getenv("STILL_CAMERA_PEAK");
  FILE *status = name != NULL ? fopen("/proc/self/status", "r") : NULL;
  FILE *report = status != NULL ? fopen(name, "w") : NULL;
  if (report == NULL) return;
  char line[128];
  while (fgets(line, sizeof line, status) != NULL) {
    if (strncmp(line, "VmHWM:", strlen("VmHWM:")) == 0) fputs(line, report);
  }
  fclose(report);
}

static gpointer object(void) {
  return g_object_new(G_TYPE_OBJECT, NULL);
}

zel_map *zel_map_new(void) {
  return object();
}
void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value) {
  (void)map, (void)key, (void)value;
}
void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value) {
  (void)map, (void)key, (void)value;
}
void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  (void)map, (void)key, (void)value;
}
void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  (void)map, (void)key, (void)value;
}
void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  (void)map, (void)key, (void)value;
}
void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  (void)map, (void)key, (void)value;
}
gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value) {
  (void)map, (void)key;
  return default_value;
}
guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  (void)map;
  if (g_str_equal(key, "format")) return 2;
  if (g_str_equal(key, "width")) return 1280;
  if (g_str_equal(key, "height")) return 720;
  if (g_str_equal(key, "buffer.access")) return 1;
  if (g_str_equal(key, "buffer.count")) return 3;
  return default_value;
}
gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  (void)map;
  return g_str_equal(key, "framerate") ? 25 : default_value;
}
GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  (void)map, (void)key;
  return default_value != NULL ? g_variant_ref(default_value) : NULL;
}
gboolean zel_map_contains_va(const zel_map *map, ...) {
  (void)map;
  return FALSE;
}
void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  (void)map, (void)source_key, (void)target_key;
}
void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  (void)map, (void)prefix;
}
void zel_map_merge(zel_map *destination, const zel_map *source) {
  (void)destination, (void)source;
}
void zel_map_dump(const zel_map *map) {
  (void)map;
}

zel_stream *zel_stream_new(zel_map *settings, gpointer reserved, GError **error) {
  (void)settings, (void)reserved, (void)error;
  return object();
}
gint zel_stream_get_fd(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return 0;
}
gint zel_stream_get_event_fd(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return -1;
}
guint32 zel_stream_get_id(zel_stream *stream) {
  (void)stream;
  return 1;
}
zel_map *zel_stream_get_info(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return object();
}
zel_map *zel_stream_get_settings(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return object();
}
gboolean zel_stream_start(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return TRUE;
}
gboolean zel_stream_play(zel_stream *stream, gpointer reserved, GError **error) {
  (void)stream, (void)reserved, (void)error;
  return TRUE;
}
gboolean zel_stream_stop(zel_stream *stream) {
  (void)stream;
  return TRUE;
}
gboolean zel_stream_force_key_frame(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return TRUE;
}
zel_map *zel_stream_get_event(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return NULL;
}
zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer reserved, GError **error) {
  (void)stream, (void)reserved, (void)error;
  return object();
}
gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  (void)stream, (void)buffer, (void)error;
  return TRUE;
}
zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  ++sequence;
  taken = FALSE;
  return object();
}
gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error) {
  (void)stream, (void)error;
  g_clear_object((GObject **)buffer);
  return TRUE;
}

zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  return buffer;
}
gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  (void)buffer;
  return kFrameSize;
}
guint32 zel_buffer_get_id(zel_buffer *buffer) {
  (void)buffer;
  return 1;
}
gboolean zel_buffer_is_contiguous(zel_buffer *buffer) {
  (void)buffer;
  return TRUE;
}
gsize zel_frame_get_size(zel_frame *frame) {
  (void)frame;
  return kFrameSize;
}
gssize zel_frame_get_header_size(zel_frame *frame) {
  (void)frame;
  return 0;
}
guint32 zel_frame_get_frame_type(zel_frame *frame) {
  (void)frame;
  return 0;
}
guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  (void)frame;
  return sequence;
}
guint64 zel_frame_get_timestamp(zel_frame *frame) {
  (void)frame;
  return (guint64)sequence * kMicrosecondsPerFrame;
}
guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  return zel_frame_get_timestamp(frame);
}
guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  return zel_frame_get_timestamp(frame);
}
gboolean zel_frame_is_key(zel_frame *frame) {
  (void)frame;
  return TRUE;
}
gboolean zel_frame_shown(zel_frame *frame) {
  (void)frame;
  return TRUE;
}
gboolean zel_frame_is_segment_start(zel_frame *frame) {
  (void)frame;
  return FALSE;
}
zel_map *zel_frame_get_extra_info(zel_frame *frame) {
  (void)frame;
  return NULL;
}
zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  (void)error;
  return zel_frame_take_chunk_ex(frame, 0);
}
zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  (void)frame, (void)flags;
  const zel_chunk chunk = {.data = payload, .size = taken ? 0 : kFrameSize, .mark = 0};
  taken = TRUE;
  return chunk;
}

static GType enumeration(GType *type, const char *name) {
  static const GEnumValue values[] = {{0, "first", "first"}, {0, NULL, NULL}};
  if (*type == 0) *type = g_enum_register_static(name, values);
  return *type;
}
#define ENUMERATION(name)             \
  GType name##_get_type(void) {       \
    static GType type;                \
    return enumeration(&type, #name); \
  }
ENUMERATION(zel_format)
ENUMERATION(zel_h264_profile)
ENUMERATION(zel_h265_profile)
ENUMERATION(zel_rate_control_mode)
ENUMERATION(zel_rate_control_priority)
ENUMERATION(zel_timestamp)
ENUMERATION(zel_buffer_access)
ENUMERATION(zel_buffer_strategy)
ENUMERATION(zel_lumostream_profile)
ENUMERATION(zel_lumostream_gdr)
ENUMERATION(zel_frame_type)

GQuark zel_error_quark(void) {
  return g_quark_from_static_string("zel-error-quark");
}
gboolean zel_error_is_expected(GError **error) {
  (void)error;
  return FALSE;
}
