/* The interface of libzel, the camera's video-service client library (soname libzel.so.1).
 *
 * A program describes one video stream in a settings map, creates the stream from it, gives it buffers, starts it,
 * and then fetches filled buffers and hands them back:
 *
 *     zel_map_new, zel_map_set_*          describe the stream
 *     zel_stream_new                      the service judges the settings and grants them
 *     zel_stream_buffer_alloc + _enqueue  once a buffer
 *     zel_stream_start
 *     zel_stream_get_buffer               the next filled buffer; zel_buffer_get_frame is its frame view
 *     zel_stream_buffer_enqueue           hands it back
 *     zel_stream_stop, g_object_unref
 *
 * These declarations are the binary interface: names, argument order, widths and struct layouts must not change.
 *
 * Times are microseconds throughout. A call that failed returns NULL, FALSE or a negative descriptor, and fills the
 * GError it was given, in the domain of zel_error_quark(). A NULL GError address is always allowed.
 */
#ifndef ZEL_ZEL_H
#define ZEL_ZEL_H

#include <glib-object.h>
#include <glib.h>

G_BEGIN_DECLS

/* ---- Objects ---------------------------------------------------------------------------------------------------- */

/** A typed key/value store; a GObject, released with g_object_unref(). Keys are lower-case and dot-separated. */
typedef struct zel_map zel_map;

/** One video stream of the service; a GObject, released with g_object_unref(). */
typedef struct zel_stream zel_stream;

/** Memory for one frame; a GObject, released with zel_stream_buffer_unref() or g_object_unref(). */
typedef struct zel_buffer zel_buffer;

/** The frame in a filled buffer. It is the buffer itself under another name: buffer calls take it without a cast, and
 * it lives as long as the buffer's reference is held. */
typedef zel_buffer zel_frame;

/** The value of a pair setting, such as "resolution" (width, height). 8 bytes, no padding. */
typedef struct {
  guint32 first, second;
} zel_pair32u;

/** The value of a quad setting, such as "crop" (x, y, width, height). 16 bytes, no padding. */
typedef struct {
  guint32 first, second, third, fourth;
} zel_quad32u;

/** A piece of a frame's data, owned by the frame. */
typedef struct {
  gpointer data; /**< start of the piece; may be NULL when the client has no access to the memory */
  gsize size;    /**< bytes; 0: the frame has no more chunks */
  gint32 mark;   /**< G_MININT32: taking the chunk failed */
} zel_chunk;

/* ---- Maps ------------------------------------------------------------------------------------------------------- */

/** Creates an empty map. Returns a new reference. */
zel_map *zel_map_new(void);

/** The setters replace whatever the key held, of whatever type. Key and text are copied. */
void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value);
void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value);
void zel_map_set_double(zel_map *map, const gchar *key, gdouble value);
void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value);
void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value);
void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value);

/** The getters give default_value when the key is absent or holds another type. */
gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value);
guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value);
gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value);

/** The value as a variant: a boolean serialises to 1 byte, an unsigned to 4, a double to 8, a string to its bytes and a
 * zero, a pair "(uu)" to 8, a quad "(uuuu)" to 16, in host order.
 * Returns a new reference, to the value or to default_value; NULL when the key is absent and default_value is NULL. */
GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value);

/** Takes keys, then NULL. Returns TRUE when the map holds all of them. */
gboolean zel_map_contains_va(const zel_map *map, ...) G_GNUC_NULL_TERMINATED;

/** Stores the value of source_key under target_key too, replacing what was there. Nothing happens without a source. */
void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key);

/** Removes every key that begins with prefix, compared as plain text. */
void zel_map_remove_prefix(zel_map *map, const gchar *prefix);

/** Copies every value of source into destination, replacing values under the same keys. */
void zel_map_merge(zel_map *destination, const zel_map *source);

/** Prints the keys and values to standard output. The text is the library's. */
void zel_map_dump(const zel_map *map);

/* ---- Streams ---------------------------------------------------------------------------------------------------- */

/** Asks the service for a stream with these settings. The map stays the caller's; later changes to it have no effect.
 * Returns a new reference, or NULL with the error set when the service refuses the settings. reserved is NULL. */
zel_stream *zel_stream_new(zel_map *settings, gpointer reserved, GError **error);

/** The descriptor that polls readable when a filled buffer waits. Owned by the stream: never close it. */
gint zel_stream_get_fd(zel_stream *stream, GError **error);

/** The descriptor that polls readable when an event waits, owned by the stream; negative when the stream has none. */
gint zel_stream_get_event_fd(zel_stream *stream, GError **error);

/** The service's number for this stream. */
guint32 zel_stream_get_id(zel_stream *stream);

/** What the stream delivers: "width", "height" (pixels), "framerate" (double, frames a second), "format" (a value of
 * zel_format_get_type()) and what the library adds. Returns a new reference. */
zel_map *zel_stream_get_info(zel_stream *stream, GError **error);

/** The settings as granted. Returns a new reference. */
zel_map *zel_stream_get_settings(zel_stream *stream, GError **error);

/** Starts delivering frames into the enqueued buffers. */
gboolean zel_stream_start(zel_stream *stream, GError **error);

/** Lets a stream that was created with "buffer_us" play from its buffer. reserved is NULL. */
gboolean zel_stream_play(zel_stream *stream, gpointer reserved, GError **error);

/** Stops delivering frames. A stream that is not running is left as it is. */
gboolean zel_stream_stop(zel_stream *stream);

/** Asks the encoder to make the next frame a key frame. */
gboolean zel_stream_force_key_frame(zel_stream *stream, GError **error);

/** Takes the oldest waiting event. Returns a new reference, or NULL when none waits. Never blocks. */
zel_map *zel_stream_get_event(zel_stream *stream, GError **error);

/** Makes a buffer for this stream. Returns a new reference. reserved is NULL. */
zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer reserved, GError **error);

/** Gives a buffer to the stream to fill. The stream takes a reference of its own; the caller keeps theirs. */
gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error);

/** Fetches the next filled buffer. Returns a new reference.
 * Blocks until there is one; with the setting "socket.blocking" FALSE it returns NULL at once with error code 13 when
 * none waits. A signal that arrives while it blocks makes it return NULL with errno EINTR. errno is meaningful after
 * every failure. */
zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error);

/** Drops the reference at *buffer and clears the pointer. */
gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error);

/* ---- Buffers and frames ----------------------------------------------------------------------------------------- */

/** The frame in a filled buffer; no new reference. */
zel_frame *zel_buffer_get_frame(zel_buffer *buffer);

/** Bytes that the buffer can hold. */
gsize zel_buffer_get_capacity(zel_buffer *buffer);

/** The buffer's number within its stream. */
guint32 zel_buffer_get_id(zel_buffer *buffer);

/** TRUE when the frame's data is one piece: taking chunks then gives exactly one. */
gboolean zel_buffer_is_contiguous(zel_buffer *buffer);

/** Bytes of the frame's data, codec header included. */
gsize zel_frame_get_size(zel_frame *frame);

/** Bytes of codec header (parameter sets, sequence header) at the frame's start; 0 when it carries none. */
gssize zel_frame_get_header_size(zel_frame *frame);

/** A value of zel_frame_type_get_type(). */
guint32 zel_frame_get_frame_type(zel_frame *frame);

/** Counts the frames that the service captured, dropped ones included: a gap shows a drop. */
guint32 zel_frame_get_sequence_nbr(zel_frame *frame);

/** Presentation time: microseconds on the service's monotonic clock. */
guint64 zel_frame_get_timestamp(zel_frame *frame);

/** Wall-clock time: microseconds since the Unix epoch. */
guint64 zel_frame_get_utc_timestamp(zel_frame *frame);

/** A time whose meaning the setting "timestamp.type" decides; microseconds. */
guint64 zel_frame_get_custom_timestamp(zel_frame *frame);

/** TRUE when decoding can start at this frame. */
gboolean zel_frame_is_key(zel_frame *frame);

/** FALSE for a frame that is decoded but not shown. */
gboolean zel_frame_shown(zel_frame *frame);

/** 1 when the frame starts a segment, else 0. */
gboolean zel_frame_is_segment_start(zel_frame *frame);

/** What else the service says about the frame, such as "empty" (boolean). Owned by the frame. */
zel_map *zel_frame_get_extra_info(zel_frame *frame);

/** Takes the next chunk of the frame's data. Taking is a cursor: each call gives the next chunk, from the frame's start
 * once the buffer has been filled anew; after the last one comes a chunk of size 0. On failure the chunk's mark is
 * G_MININT32 and the error is set. */
zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error);

/** The same with flags; bit 31 asks for the data as it is stored. Failure shows in the mark only. */
zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags);

/* ---- Enumerations ----------------------------------------------------------------------------------------------- */

/** GEnum types. The nicks are what a user types. Fixed values: format 0 H.264, 1 H.265, 2 JPEG, 10 AV1, 0xFFFFFFFF
 * unknown; timestamp type 0 presentation time, 1 wall clock, 2 and more custom; buffer access bit 0: the client may
 * read the data; buffer strategy 4: the service brings its own buffers. All other values and all nicks are the
 * library's. */
GType zel_format_get_type(void);
GType zel_h264_profile_get_type(void);
GType zel_h265_profile_get_type(void);
GType zel_rate_control_mode_get_type(void);
GType zel_rate_control_priority_get_type(void);
GType zel_timestamp_get_type(void);
GType zel_buffer_access_get_type(void);
GType zel_buffer_strategy_get_type(void);
GType zel_lumostream_profile_get_type(void);
GType zel_lumostream_gdr_get_type(void);
GType zel_frame_type_get_type(void);

/* ---- Errors ----------------------------------------------------------------------------------------------------- */

/** The domain of the library's errors. Codes: 3 missing argument or object never set up, 8 failed file operation, 11
 * out of memory, 13 nothing to fetch yet, 17 a compound operation failed. */
GQuark zel_error_quark(void);

/** TRUE when *error marks the end of a stream that was to be expected. */
gboolean zel_error_is_expected(GError **error);

G_END_DECLS

#endif
