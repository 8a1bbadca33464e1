// The fake libzel's buffers and frames.
#include <array>
#include <cstdio>

#include "fake_state.h"

struct zel_buffer {
  GObject parent;
  guint32 number;       ///< within the stream
  gsize capacity;       ///< when the frame names none; 0: the payload's size
  int next_chunk;       ///< the cursor
  gsize next_offset;    ///< payload bytes before the next chunk
  zel_map *extra_info;  ///< owned
  fake::Frame frame;
};

struct zel_bufferClass {
  GObjectClass parent;
};

G_DEFINE_TYPE(zel_buffer, zel_buffer, G_TYPE_OBJECT)

static void zel_buffer_finalize(GObject *object) {
  auto *buffer = reinterpret_cast<zel_buffer *>(object);
  fake::record("finalize " + fake::name_of(buffer));
  --fake::live().buffers;
  g_clear_object(&buffer->extra_info);
  std::destroy_at(&buffer->frame);
  G_OBJECT_CLASS(zel_buffer_parent_class)->finalize(object);
}

static void zel_buffer_init(zel_buffer *buffer) {
  std::construct_at(&buffer->frame);
  ++fake::live().buffers;
}

static void zel_buffer_class_init(zel_bufferClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_buffer_finalize;
}

namespace {

/// The chunk under the cursor; moves the cursor on.
zel_chunk take(zel_buffer *buffer) {
  const fake::Frame &frame = buffer->frame;
  const int index = buffer->next_chunk++;
  const bool whole = frame.chunks.empty();
  const gsize count = whole ? 1 : frame.chunks.size();
  if (static_cast<gsize>(index) >= count) return {nullptr, 0, 0};

  const gsize size = whole ? frame.payload.size() : frame.chunks[static_cast<gsize>(index)];
  const gsize offset = buffer->next_offset;
  g_assert(size <= frame.payload.size() - offset);  // a test cut more chunks than its payload holds
  buffer->next_offset += size;
  // The interface gives writable memory though nobody writes through it.
  void *data = index == frame.null_chunk ? nullptr : const_cast<std::uint8_t *>(frame.payload.data()) + offset;
  return {data, size, 0};
}

zel_chunk take_or_fail(zel_buffer *buffer, const std::string &call, GError **error) {
  constexpr zel_chunk kFailed = {nullptr, 0, G_MININT32};
  if (fake::record_and_maybe_fail(call, error)) return kFailed;
  if (buffer->next_chunk == buffer->frame.failing_chunk) {
    fake::apply({.message = "scripted chunk failure"}, error);
    return kFailed;
  }
  return take(buffer);
}

}  // namespace

namespace fake {

zel_buffer *new_buffer(guint32 number, gsize capacity) {
  auto *buffer = static_cast<zel_buffer *>(g_object_new(zel_buffer_get_type(), nullptr));
  buffer->number = number;
  buffer->capacity = capacity;
  return buffer;
}

std::string name_of(const zel_buffer *buffer) {
  return "buffer=" + std::to_string(buffer->frame.id.value_or(buffer->number));
}

BufferPtr make_buffer(Frame frame) {
  BufferPtr buffer(new_buffer(0, 0));
  refill(buffer.get(), std::move(frame));
  return buffer;
}

const std::uint8_t *payload_of(const zel_buffer *buffer) {
  return buffer->frame.payload.data();
}

void refill(zel_buffer *buffer, Frame frame) {
  g_clear_object(&buffer->extra_info);
  buffer->frame = std::move(frame);
  buffer->next_chunk = 0;
  buffer->next_offset = 0;
}

}  // namespace fake

using fake::name_of;
using fake::record;

zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  record("zel_buffer_get_frame " + name_of(buffer));
  return buffer;
}

gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  record("zel_buffer_get_capacity " + name_of(buffer));
  return buffer->frame.capacity.value_or(buffer->capacity != 0 ? buffer->capacity : buffer->frame.payload.size());
}

guint32 zel_buffer_get_id(zel_buffer *buffer) {
  record("zel_buffer_get_id " + name_of(buffer));
  return buffer->frame.id.value_or(buffer->number);
}

gboolean zel_buffer_is_contiguous(zel_buffer *buffer) {
  record("zel_buffer_is_contiguous " + name_of(buffer));
  return buffer->frame.contiguous ? TRUE : FALSE;
}

gsize zel_frame_get_size(zel_frame *frame) {
  record("zel_frame_get_size " + name_of(frame));
  return frame->frame.size.value_or(frame->frame.payload.size());
}

gssize zel_frame_get_header_size(zel_frame *frame) {
  record("zel_frame_get_header_size " + name_of(frame));
  return frame->frame.header_size;
}

guint32 zel_frame_get_frame_type(zel_frame *frame) {
  record("zel_frame_get_frame_type " + name_of(frame));
  return frame->frame.type;
}

guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  record("zel_frame_get_sequence_nbr " + name_of(frame));
  return frame->frame.sequence;
}

guint64 zel_frame_get_timestamp(zel_frame *frame) {
  record("zel_frame_get_timestamp " + name_of(frame));
  return frame->frame.timestamp;
}

guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  record("zel_frame_get_utc_timestamp " + name_of(frame));
  return frame->frame.utc_timestamp;
}

guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  record("zel_frame_get_custom_timestamp " + name_of(frame));
  return frame->frame.custom_timestamp;
}

gboolean zel_frame_is_key(zel_frame *frame) {
  record("zel_frame_is_key " + name_of(frame));
  return frame->frame.key ? TRUE : FALSE;
}

gboolean zel_frame_shown(zel_frame *frame) {
  record("zel_frame_shown " + name_of(frame));
  return frame->frame.shown ? TRUE : FALSE;
}

gboolean zel_frame_is_segment_start(zel_frame *frame) {
  record("zel_frame_is_segment_start " + name_of(frame));
  return frame->frame.segment_start ? TRUE : FALSE;
}

zel_map *zel_frame_get_extra_info(zel_frame *frame) {
  record("zel_frame_get_extra_info " + name_of(frame));
  if (frame->extra_info == nullptr) {
    frame->extra_info = zel_map_new();
    if (frame->frame.extra_info) frame->frame.extra_info(frame->extra_info);
  }
  return frame->extra_info;
}

zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  return take_or_fail(frame, "zel_frame_take_chunk " + name_of(frame), error);
}

zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), " flags=0x%x", flags);
  return take_or_fail(frame, "zel_frame_take_chunk_ex " + name_of(frame) + text.data(), nullptr);
}
