// The stub libzel's stream and its buffers.
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "stub.h"

namespace {

/// One frame of the loop.
struct Picture {
  std::size_t offset = 0;  ///< in the bytes
  std::size_t size = 0;
  std::size_t header_size = 0;
  guint32 type = 0;
};

/// The frame types of the stub: the key frame is the one with a codec header.
enum FrameType : guint32 { kIdr = 1, kP = 3 };

constexpr guint64 kPeriod = 33'333;

struct Loop {
  std::vector<guint8> bytes;
  std::vector<Picture> pictures;
  bool clocked = true;  ///< timestamps from the clock
};

std::vector<guint8> read_file(const std::string &name) {
  std::ifstream file(name, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A sidecar ends with four bytes that count its records.
void read_pictures(Loop &loop, const std::vector<guint8> &records) {
  constexpr std::size_t kRecord = 24;
  std::size_t offset = 0;
  for (std::size_t at = 0; at + kRecord <= records.size(); at += kRecord) {
    std::array<guint32, kRecord / sizeof(guint32)> fields{};
    std::memcpy(fields.data(), &records[at], kRecord);
    loop.pictures.push_back({offset, fields[4], fields[5], fields[5] > 0 ? kIdr : kP});
    offset += fields[4];
  }
  if (loop.pictures.empty() || offset > loop.bytes.size()) throw std::runtime_error("the sidecar does not fit");
}

Loop load() {
  Loop loop;
  if (const char *stream = std::getenv("ZEL_STUB_STREAM"); stream != nullptr) {
    loop.bytes = read_file(stream);
    read_pictures(loop, read_file(std::string(stream) + ".meta"));
    loop.clocked = false;
    return loop;
  }
  const char *size = std::getenv("ZEL_STUB_SIZE");
  loop.bytes.resize(size != nullptr ? std::stoul(size) : 16384, 0x5a);
  loop.pictures.push_back({0, loop.bytes.size(), 0, kP});
  return loop;
}

const Loop &the_loop() {
  static const Loop loop = load();
  return loop;
}

}  // namespace

struct zel_buffer {
  GObject parent;
  guint32 number;
  guint32 sequence;
  guint64 timestamp;
  gboolean taken;  ///< the one chunk
  const Picture *picture;
};
struct zel_bufferClass {
  GObjectClass parent;
};
G_DEFINE_TYPE(zel_buffer, zel_buffer, G_TYPE_OBJECT)
static void zel_buffer_init(zel_buffer *) {}
static void zel_buffer_class_init(zel_bufferClass *) {}

constexpr std::size_t kMostBuffers = 16;

struct zel_stream {
  GObject parent;
  std::array<zel_buffer *, kMostBuffers> queue;  ///< a ring of references
  std::size_t head;
  std::size_t waiting;
  guint32 buffers;   ///< made so far
  guint32 sequence;  ///< of the next frame
  gint fd;
};
struct zel_streamClass {
  GObjectClass parent;
};
G_DEFINE_TYPE(zel_stream, zel_stream, G_TYPE_OBJECT)
static void zel_stream_finalize(GObject *object) {
  auto *stream = reinterpret_cast<zel_stream *>(object);
  for (; stream->waiting > 0; --stream->waiting)
    g_object_unref(stream->queue[stream->head++ % kMostBuffers]);
  (void)close(stream->fd);
  G_OBJECT_CLASS(zel_stream_parent_class)->finalize(object);
}
static void zel_stream_init(zel_stream *stream) {
  stream->fd = eventfd(1, EFD_CLOEXEC);
}
static void zel_stream_class_init(zel_streamClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_stream_finalize;
}

namespace {

/// What every frame says besides; shared.
zel_map *extra_info() {
  static const std::unique_ptr<zel_map, decltype(&g_object_unref)> map(zel_map_new(), g_object_unref);
  return map.get();
}

void fill(zel_stream *stream, zel_buffer *buffer) {
  const Loop &loop = the_loop();
  buffer->sequence = stream->sequence++;
  buffer->picture = &loop.pictures[buffer->sequence % loop.pictures.size()];
  buffer->timestamp = loop.clocked ? static_cast<guint64>(g_get_monotonic_time()) - 5
                                   : 1'000'000 + std::uint64_t{buffer->sequence} * kPeriod;
  buffer->taken = FALSE;
}

GType register_nicks(const char *name, std::span<const GEnumValue> values) {
  return g_enum_register_static(name, values.data());
}

}  // namespace

zel_stream *zel_stream_new(zel_map *, gpointer, GError **) {
  (void)the_loop();
  (void)extra_info();
  return static_cast<zel_stream *>(g_object_new(zel_stream_get_type(), nullptr));
}
gint zel_stream_get_fd(zel_stream *stream, GError **) {
  return stream->fd;
}
gint zel_stream_get_event_fd(zel_stream *, GError **) {
  return -1;
}
guint32 zel_stream_get_id(zel_stream *) {
  return 1;
}
zel_map *zel_stream_get_info(zel_stream *, GError **) {
  zel_map *info = zel_map_new();
  zel_map_set_uint32(info, "width", 1920);
  zel_map_set_uint32(info, "height", 1080);
  zel_map_set_double(info, "framerate", 30);
  zel_map_set_uint32(info, "format", 0);
  return info;
}
zel_map *zel_stream_get_settings(zel_stream *, GError **) {
  return zel_map_new();
}
gboolean zel_stream_start(zel_stream *, GError **) {
  return TRUE;
}
gboolean zel_stream_play(zel_stream *, gpointer, GError **) {
  return TRUE;
}
gboolean zel_stream_stop(zel_stream *) {
  return TRUE;
}
gboolean zel_stream_force_key_frame(zel_stream *, GError **) {
  return TRUE;
}
zel_map *zel_stream_get_event(zel_stream *, GError **) {
  return nullptr;
}

zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer, GError **) {
  auto *buffer = static_cast<zel_buffer *>(g_object_new(zel_buffer_get_type(), nullptr));
  buffer->number = ++stream->buffers;
  return buffer;
}
gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **) {
  g_assert(stream->waiting < kMostBuffers);
  g_object_ref(buffer);
  stream->queue[(stream->head + stream->waiting++) % kMostBuffers] = buffer;
  return TRUE;
}
zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  if (stream->waiting == 0) {
    g_set_error_literal(error, zel_error_quark(), 5, "No buffer was enqueued");
    errno = EINVAL;
    return nullptr;
  }
  zel_buffer *buffer = stream->queue[stream->head];
  stream->head = (stream->head + 1) % kMostBuffers;
  --stream->waiting;
  fill(stream, buffer);
  return buffer;
}
gboolean zel_stream_buffer_unref(zel_stream *, zel_buffer **buffer, GError **) {
  g_clear_object(buffer);
  return TRUE;
}

zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  return buffer;
}
gsize zel_buffer_get_capacity(zel_buffer *) {
  return 3'110'400;
}
guint32 zel_buffer_get_id(zel_buffer *buffer) {
  return buffer->number;
}
gboolean zel_buffer_is_contiguous(zel_buffer *) {
  return TRUE;
}
gsize zel_frame_get_size(zel_frame *frame) {
  return frame->picture->size;
}
gssize zel_frame_get_header_size(zel_frame *frame) {
  return static_cast<gssize>(frame->picture->header_size);
}
guint32 zel_frame_get_frame_type(zel_frame *frame) {
  return frame->picture->type;
}
guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  return frame->sequence;
}
guint64 zel_frame_get_timestamp(zel_frame *frame) {
  return frame->timestamp;
}
guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  return frame->timestamp + 1'700'000'000'000'000;
}
guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  return frame->timestamp;
}
gboolean zel_frame_is_key(zel_frame *frame) {
  return frame->picture->type == kIdr;
}
gboolean zel_frame_shown(zel_frame *) {
  return TRUE;
}
gboolean zel_frame_is_segment_start(zel_frame *) {
  return FALSE;
}
zel_map *zel_frame_get_extra_info(zel_frame *) {
  return extra_info();
}
zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **) {
  if (frame->taken != FALSE) return {nullptr, 0, 0};
  frame->taken = TRUE;
  // The interface gives writable memory though nobody writes through it.
  return {const_cast<guint8 *>(&the_loop().bytes[frame->picture->offset]), frame->picture->size, 0};
}
zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32) {
  return zel_frame_take_chunk(frame, nullptr);
}

GType zel_frame_type_get_type() {
  static constexpr std::array<GEnumValue, 3> kValues{{{kIdr, "idr", "idr"}, {kP, "p", "p"}, {0, nullptr, nullptr}}};
  static const GType type = register_nicks("stub_frame_type", kValues);
  return type;
}

/// The other enumerations are never looked into: one stands for all.
static GType other_type() {
  static constexpr std::array<GEnumValue, 2> kValues{{{0, "none", "none"}, {0, nullptr, nullptr}}};
  static const GType type = register_nicks("stub_choice", kValues);
  return type;
}
GType zel_format_get_type() {
  return other_type();
}
GType zel_h264_profile_get_type() {
  return other_type();
}
GType zel_h265_profile_get_type() {
  return other_type();
}
GType zel_rate_control_mode_get_type() {
  return other_type();
}
GType zel_rate_control_priority_get_type() {
  return other_type();
}
GType zel_timestamp_get_type() {
  return other_type();
}
GType zel_buffer_access_get_type() {
  return other_type();
}
GType zel_buffer_strategy_get_type() {
  return other_type();
}
GType zel_lumostream_profile_get_type() {
  return other_type();
}
GType zel_lumostream_gdr_get_type() {
  return other_type();
}

GQuark zel_error_quark() {
  return g_quark_from_static_string("zel-error");
}
gboolean zel_error_is_expected(GError **error) {
  return error != nullptr && *error != nullptr && (*error)->code == 5;
}

void stub::report_first_call() {
  static const char *const descriptor = std::getenv("ZEL_STUB_FIRST");
  if (descriptor == nullptr) return;
  timespec now{};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t nanoseconds = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
  if (write(static_cast<int>(std::strtol(descriptor, nullptr, 10)), &nanoseconds, sizeof nanoseconds) < 0) _exit(1);
  _exit(0);
}
