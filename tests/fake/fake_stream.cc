// The fake libzel's stream: answers from the script, fetches from the queue.
#include <fcntl.h>

#include <utility>

#include "fake_state.h"

struct zel_stream {
  GObject parent;
  guint32 buffers_made;
  std::deque<fake::BufferPtr> enqueued;
};

struct zel_streamClass {
  GObjectClass parent;
};

G_DEFINE_TYPE(zel_stream, zel_stream, G_TYPE_OBJECT)

static void zel_stream_finalize(GObject *object) {
  auto *stream = reinterpret_cast<zel_stream *>(object);
  fake::record("finalize stream");
  --fake::live().streams;
  fake::state().enqueued -= stream->enqueued.size();
  std::destroy_at(&stream->enqueued);
  G_OBJECT_CLASS(zel_stream_parent_class)->finalize(object);
}

static void zel_stream_init(zel_stream *stream) {
  std::construct_at(&stream->enqueued);
  ++fake::live().streams;
}

static void zel_stream_class_init(zel_streamClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_stream_finalize;
}

using fake::record;
using fake::record_and_maybe_fail;
using fake::state;

namespace {

/// A descriptor that always polls readable; open until the process ends.
int readable_descriptor() {
  static const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  return descriptor;
}

zel_map *map_filled_by(const fake::FillMap &fill) {
  zel_map *map = zel_map_new();
  if (fill) fill(map);
  return map;
}

/// The buffer that waits longest, or a fresh one; the caller owns the reference.
zel_buffer *next_empty_buffer(zel_stream *stream) {
  if (stream->enqueued.empty()) return fake::new_buffer(stream->buffers_made++, state().script.buffer_capacity);
  fake::BufferPtr buffer = std::move(stream->enqueued.front());
  stream->enqueued.pop_front();
  --state().enqueued;
  return buffer.release();
}

/// Runs the actions at the head of the queue, then takes the answer behind them.
std::optional<fake::Fetch> next_fetch() {
  while (!state().fetches.empty()) {
    fake::Fetch fetch = std::move(state().fetches.front());
    state().fetches.pop_front();
    if (const auto *action = std::get_if<std::function<void()>>(&fetch)) {
      (*action)();
    } else {
      return fetch;
    }
  }
  return std::nullopt;
}

}  // namespace

namespace fake {

void queue_frame(Frame frame) {
  state().fetches.emplace_back(std::move(frame));
}

void queue_fetch_error(Failure failure) {
  state().fetches.emplace_back(std::move(failure));
}

void queue_fetch_null() {
  state().fetches.emplace_back(NullFetch{});
}

void queue_action(std::function<void()> action) {
  state().fetches.emplace_back(std::move(action));
}

void queue_event(FillMap fill) {
  state().events.push_back(std::move(fill));
}

const zel_map *requested_settings() {
  return state().requested.get();
}

std::size_t enqueued_buffers() {
  return state().enqueued;
}

}  // namespace fake

zel_stream *zel_stream_new(zel_map *settings, gpointer, GError **error) {
  if (record_and_maybe_fail("zel_stream_new", error)) return nullptr;
  state().requested = fake::MapPtr(zel_map_new());
  zel_map_merge(state().requested.get(), settings);
  return static_cast<zel_stream *>(g_object_new(zel_stream_get_type(), nullptr));
}

gint zel_stream_get_fd(zel_stream *, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_fd", error)) return -1;
  return state().script.fd.value_or(readable_descriptor());
}

gint zel_stream_get_event_fd(zel_stream *, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_event_fd", error)) return -1;
  return state().script.event_fd;
}

guint32 zel_stream_get_id(zel_stream *) {
  record("zel_stream_get_id");
  return state().script.stream_id;
}

zel_map *zel_stream_get_info(zel_stream *, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_info", error)) return nullptr;
  return map_filled_by(state().script.info);
}

zel_map *zel_stream_get_settings(zel_stream *, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_settings", error)) return nullptr;
  zel_map *granted = map_filled_by(state().script.settings);
  if (!state().script.settings) zel_map_merge(granted, state().requested.get());
  return granted;
}

gboolean zel_stream_start(zel_stream *, GError **error) {
  return record_and_maybe_fail("zel_stream_start", error) ? FALSE : TRUE;
}

gboolean zel_stream_play(zel_stream *, gpointer, GError **error) {
  return record_and_maybe_fail("zel_stream_play", error) ? FALSE : TRUE;
}

gboolean zel_stream_stop(zel_stream *) {
  return record_and_maybe_fail("zel_stream_stop", nullptr) ? FALSE : TRUE;
}

gboolean zel_stream_force_key_frame(zel_stream *, GError **error) {
  return record_and_maybe_fail("zel_stream_force_key_frame", error) ? FALSE : TRUE;
}

zel_map *zel_stream_get_event(zel_stream *, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_event", error) || state().events.empty()) return nullptr;
  const fake::FillMap fill = std::move(state().events.front());
  state().events.pop_front();
  return map_filled_by(fill);
}

zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer, GError **error) {
  if (record_and_maybe_fail("zel_stream_buffer_alloc", error)) return nullptr;
  return fake::new_buffer(stream->buffers_made++, state().script.buffer_capacity);
}

gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  if (record_and_maybe_fail("zel_stream_buffer_enqueue " + fake::name_of(buffer), error)) return FALSE;
  stream->enqueued.emplace_back(static_cast<zel_buffer *>(g_object_ref(buffer)));
  ++state().enqueued;
  return TRUE;
}

zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  if (record_and_maybe_fail("zel_stream_get_buffer", error)) return nullptr;
  std::optional<fake::Fetch> fetch = next_fetch();
  if (!fetch) {
    fake::apply({.message = "end of script", .expected = true}, error);
    return nullptr;
  }
  if (const auto *failure = std::get_if<fake::Failure>(&*fetch)) fake::apply(*failure, error);
  auto *frame = std::get_if<fake::Frame>(&*fetch);
  if (frame == nullptr) return nullptr;
  zel_buffer *buffer = next_empty_buffer(stream);
  fake::refill(buffer, std::move(*frame));
  return buffer;
}

gboolean zel_stream_buffer_unref(zel_stream *, zel_buffer **buffer, GError **error) {
  if (record_and_maybe_fail("zel_stream_buffer_unref " + fake::name_of(*buffer), error)) return FALSE;
  g_clear_object(buffer);
  return TRUE;
}
