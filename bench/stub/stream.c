/* The stub libzel's stream and its buffers. */
#include <errno.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "pictures.h"
#include "stub.h"
#include "zel/zel.h"

enum {
  kMostBuffers = 16,
  kWidth = 1920,
  kHeight = 1080,
  kFrameRate = 30,
  kCapacity = 1920 * 1080 * 3 / 2,
  kStreamEnded = 5, /* error code */
};

/* Frame types, as zel_frame_type_get_type() names them. */
enum { kIdr = 1, kP = 3 };

/* The empty map that all frames share. Made with the first stream, kept until the process ends. */
static zel_map *extra_info;

struct zel_buffer {
  GObject parent;
  guint32 number;
  guint32 sequence;
  guint64 timestamp;
  gboolean taken; /* the one chunk */
  const Picture *picture;
};
typedef struct {
  GObjectClass parent;
} zel_bufferClass;
G_DEFINE_TYPE(zel_buffer, zel_buffer, G_TYPE_OBJECT)
static void zel_buffer_init(zel_buffer *buffer) {
  (void)buffer;
}
static void zel_buffer_class_init(zel_bufferClass *type) {
  (void)type;
}

struct zel_stream {
  GObject parent;
  Pictures *pictures;              /* owned */
  zel_buffer *queue[kMostBuffers]; /* a ring of references */
  gsize head;
  gsize waiting;
  guint32 buffers;  /* made so far */
  guint32 sequence; /* of the next frame */
  gint fd;
};
typedef struct {
  GObjectClass parent;
} zel_streamClass;
G_DEFINE_TYPE(zel_stream, zel_stream, G_TYPE_OBJECT)

static zel_buffer *dequeue(zel_stream *stream) {
  zel_buffer *buffer = stream->queue[stream->head];
  stream->head = (stream->head + 1) % kMostBuffers;
  --stream->waiting;
  return buffer;
}
static void zel_stream_finalize(GObject *object) {
  zel_stream *stream = (zel_stream *)object;
  while (stream->waiting > 0)
    g_object_unref(dequeue(stream));
  free_pictures(stream->pictures);
  (void)close(stream->fd);
  G_OBJECT_CLASS(zel_stream_parent_class)->finalize(object);
}
static void zel_stream_init(zel_stream *stream) {
  stream->pictures = load_pictures();
  stream->fd = eventfd(1, EFD_CLOEXEC);
}
static void zel_stream_class_init(zel_streamClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_stream_finalize;
}

zel_stream *zel_stream_new(zel_map *settings, gpointer reserved, GError **error) {
  (void)settings, (void)reserved, (void)error;
  if (extra_info == NULL) extra_info = zel_map_new();
  return g_object_new(zel_stream_get_type(), NULL);
}
gint zel_stream_get_fd(zel_stream *stream, GError **error) {
  (void)error;
  return stream->fd;
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
  (void)error;
  zel_map *info = zel_map_new();
  zel_map_set_uint32(info, "width", kWidth);
  zel_map_set_uint32(info, "height", kHeight);
  zel_map_set_double(info, "framerate", kFrameRate);
  zel_map_set_uint32(info, "format", stream->pictures->format);
  return info;
}
zel_map *zel_stream_get_settings(zel_stream *stream, GError **error) {
  (void)stream, (void)error;
  return zel_map_new();
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
  (void)reserved, (void)error;
  zel_buffer *buffer = g_object_new(zel_buffer_get_type(), NULL);
  buffer->number = ++stream->buffers;
  return buffer;
}
gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  (void)error;
  g_assert(stream->waiting < kMostBuffers);
  g_object_ref(buffer);
  stream->queue[(stream->head + stream->waiting++) % kMostBuffers] = buffer;
  return TRUE;
}
zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  if (stream->waiting == 0) {
    g_set_error_literal(error, zel_error_quark(), kStreamEnded, "No buffer was enqueued");
    errno = EINVAL;
    return NULL;
  }
  zel_buffer *buffer = dequeue(stream);
  buffer->sequence = stream->sequence++;
  buffer->picture = &stream->pictures->pictures[buffer->sequence % stream->pictures->count];
  buffer->timestamp = (guint64)picture_time(buffer->sequence);
  buffer->taken = FALSE;
  return buffer;
}
gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error) {
  (void)stream, (void)error;
  g_clear_object(buffer);
  return TRUE;
}

zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  return buffer;
}
gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  (void)buffer;
  return kCapacity;
}
guint32 zel_buffer_get_id(zel_buffer *buffer) {
  return buffer->number;
}
gboolean zel_buffer_is_contiguous(zel_buffer *buffer) {
  (void)buffer;
  return TRUE;
}
gsize zel_frame_get_size(zel_frame *frame) {
  return frame->picture->size;
}
gssize zel_frame_get_header_size(zel_frame *frame) {
  return (gssize)frame->picture->header_size;
}
guint32 zel_frame_get_frame_type(zel_frame *frame) {
  return frame->picture->key ? kIdr : kP;
}
guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  return frame->sequence;
}
guint64 zel_frame_get_timestamp(zel_frame *frame) {
  return frame->timestamp;
}
guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  return frame->timestamp + G_GUINT64_CONSTANT(1700000000000000);
}
guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  return frame->timestamp;
}
gboolean zel_frame_is_key(zel_frame *frame) {
  return frame->picture->key;
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
  return extra_info;
}
zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  (void)error;
  if (frame->taken) return (zel_chunk){NULL, 0, 0};
  frame->taken = TRUE;
  // The interface gives writable memory though nobody writes through it.
  return (zel_chunk){(gpointer)frame->picture->data, frame->picture->size, 0};
}
zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  (void)flags;
  return zel_frame_take_chunk(frame, NULL);
}

GType zel_frame_type_get_type(void) {
  static const GEnumValue values[] = {{kIdr, "idr", "idr"}, {kP, "p", "p"}, {0, NULL, NULL}};
  static GType type;
  if (type == 0) type = g_enum_register_static("stub_frame_type", values);
  return type;
}

GQuark zel_error_quark(void) {
  return g_quark_from_static_string("zel-error");
}
gboolean zel_error_is_expected(GError **error) {
  return error != NULL && *error != NULL && (*error)->code == kStreamEnded;
}
