// The calls about streams.
#include "api/stream.h"

#include <cerrno>

#include "api/call.h"
#include "common/wakeup.h"
#include "producer/captured.h"

namespace camera {

StreamState::~StreamState() {
  engine.reset();
  queue.reset();
  if (session != nullptr && session->replay != nullptr) session->replayed_buffers.release();
  if (session != nullptr) session->log.write("release", {{"object", "stream"}, {"id", std::uint64_t{number}}});
}

LogValue shown(const zel_stream *stream) {
  if (stream == nullptr) return nullptr;
  return std::uint64_t{stream->state.number};
}

namespace {

constexpr Answer<zel_stream *> kStream{nullptr, [](zel_stream *const &stream) { return shown(stream); },
                                       [](zel_stream *const &stream) { return stream == nullptr; }};
constexpr Answer<zel_buffer *> kBuffer{nullptr, [](zel_buffer *const &buffer) { return shown(buffer); },
                                       [](zel_buffer *const &buffer) { return buffer == nullptr; }};
/// A map that may be absent without that being a failure.
constexpr Answer<zel_map *> kMaybeMap{nullptr, [](zel_map *const &map) { return shown(map); },
                                      [](zel_map *const &) { return false; }};

/// A failure with the errno that goes with it.
bool fail_with(int number, GError **error, gint code, const char *message) {
  (void)fail(error, code, "%s", message);
  errno = number;
  return false;
}

bool check(const zel_stream *stream, GError **error) {
  return stream != nullptr || fail_with(EINVAL, error, kErrorMissing, "No stream provided");
}

/// A call on a stream: `work` gets the state of a stream that exists.
template <typename Result, typename Work>
Result on_stream(const char *call, const Answer<Result> &answer, zel_stream *stream, GError **error, Work work) {
  return run_call(call, CallKind::kOrdinary, answer, error, {{"stream", shown(stream)}}, [&](GError **slot) -> Result {
    return check(stream, slot) ? work(stream->state, slot) : answer.failed;
  });
}

BufferHandle to_handle(zel_buffer *buffer) {
  return {buffer, [](void *object) { g_object_unref(object); }};
}

/// What a buffer is made from, without the stream.
struct BufferRecipe {
  Session *session;
  std::uint32_t id;
  std::uint32_t stream;
  bool readable;
  std::size_t capacity;
  std::weak_ptr<FrameQueue> queue;
};

BufferRecipe next_recipe(StreamState &stream) {
  const bool readable = (stream.plan.access & kAccessRead) != 0;
  return {stream.session, ++stream.buffers, stream.number, readable, stream.capacity, stream.queue};
}

Ref<zel_buffer> make_buffer(const BufferRecipe &recipe) {
  Ref<zel_buffer> buffer(new_object<zel_buffer>());
  BufferState &state = buffer->state;
  state.session = recipe.session;
  state.number = ++recipe.session->buffers;
  state.id = recipe.id;
  state.stream = recipe.stream;
  state.readable = recipe.readable;
  state.capacity = recipe.capacity;
  return buffer;
}

/// Puts a buffer of the stream's own into the queue. When the client drops it instead of handing it back, another one
/// takes its place.
void give_service_buffer(const BufferRecipe &recipe) {
  const std::shared_ptr<FrameQueue> queue = recipe.queue.lock();
  if (queue == nullptr) return;
  Ref<zel_buffer> buffer = make_buffer(recipe);
  buffer->state.queued = true;
  buffer->state.replace = [recipe] { give_service_buffer(recipe); };
  queue->give(to_handle(buffer.release()));
}

/// A stream of the request, ready to start.
Ref<zel_stream> make_stream(Session &session, const Values &request, GError **error) {
  if (!session.problem.empty()) {
    (void)fail_with(EINVAL, error, kErrorKeyFile, session.problem.c_str());
    return nullptr;
  }
  auto messages = std::make_unique<AvLogCallback>();
  auto queue = std::make_shared<FrameQueue>();
  std::optional<Assembly> assembly;
  try {
    assembly = assemble(
        session.config, request, [queue] { return queue->is_stopping(); }, error);
  } catch (const UnusableFile &why) {
    (void)fail(error, kErrorKeyFile, "Camera configuration %s: %s", session.path.c_str(), why.what());
  }
  if (!assembly) {
    errno = EINVAL;
    return nullptr;
  }
  Ref<zel_stream> stream(new_object<zel_stream>());
  StreamState &state = stream->state;
  state.number = ++session.streams;
  state.settings = std::move(assembly->grant.settings);
  state.plan = assembly->grant.plan;
  state.capacity = assembly->capacity;
  state.messages = std::move(messages);
  state.queue = std::move(queue);
  state.engine = std::make_unique<Engine>(session.config, state.plan, state.number, state.capacity, session.log,
                                          *state.queue, std::move(assembly->producer));
  state.session = &session;
  for (std::uint32_t i = 0; state.plan.service_buffers && i < state.plan.buffer_count; ++i) {
    give_service_buffer(next_recipe(state));
  }
  return stream;
}

Values info_of(const StreamState &state) {
  Values info;
  info["width"] = state.plan.width;
  info["height"] = state.plan.height;
  info["framerate"] = state.plan.framerate;
  info["format"] = state.plan.format;
  info["buffer.capacity"] = static_cast<std::uint32_t>(state.capacity);
  return info;
}

/// Records a frame that is being handed out and writes its log line.
void log_frame(const StreamState &stream, const zel_buffer &buffer) {
  Session &session = *stream.session;
  const Frame &frame = buffer.state.frame;
  std::uint64_t offset = 0;
  if (session.recorder.is_open()) {
    offset = session.recorder.append(frame.payload->pieces);
  }
  if (!session.log.is_open()) return;
  const char *nick = nick_of(kFrameTypes, frame.type);
  const LogValue empty = frame.empty == EmptyMark::kWide ? LogValue("wide") : LogValue(frame.empty == EmptyMark::kTrue);
  session.log.write("frame", {{"stream", std::uint64_t{stream.number}},
                              {"sequence", std::uint64_t{frame.sequence}},
                              {"timestamp", frame.timestamp_us},
                              {"utc", frame.utc_us},
                              {"custom", frame.custom_us},
                              {"size", std::uint64_t{frame.payload->size}},
                              {"header_size", std::uint64_t{frame.header_size}},
                              {"type", std::string_view(nick != nullptr ? nick : "")},
                              {"type_value", std::uint64_t{frame.type}},
                              {"key", frame.key},
                              {"shown", frame.shown},
                              {"segment_start", frame.segment_start},
                              {"empty", empty},
                              {"buffer", std::uint64_t{buffer.state.number}},
                              {"buffer_id", std::uint64_t{buffer.state.id}},
                              {"capacity", std::uint64_t{frame.capacity}},
                              {"chunks", std::uint64_t{frame.payload->pieces.size()}},
                              {"offset", offset},
                              {"captured_us", frame.captured_us},
                              {"handed_us", frame.handed_us}});
}

/// Waits for the next frame as the stream's settings say. Null with errno set when there is none.
zel_buffer *fetch(StreamState &stream, GError **error) {
  while (true) {
    std::optional<Filled> filled;
    std::string reason;
    switch (stream.queue->fetch(filled, reason)) {
      case FetchStatus::kFrame: {
        auto *buffer = static_cast<zel_buffer *>(filled->buffer.release());
        buffer->state.queued = false;
        attach_frame(*buffer, std::move(filled->frame));
        log_frame(stream, *buffer);
        return buffer;
      }
      case FetchStatus::kEnded:
        (void)fail_expected(error, kErrorEnd, "%s", reason.c_str());
        errno = ENODATA;
        return nullptr;
      case FetchStatus::kStopped:
        if (stream.plan.blocking) {
          (void)fail_expected(error, kErrorEnd, "The stream is not started");
          errno = ENODATA;
          return nullptr;
        }
        break;
      case FetchStatus::kNothing:
        break;
    }
    if (!stream.plan.blocking) {
      (void)fail_with(EAGAIN, error, kErrorNothing, "No frame to fetch yet");
      return nullptr;
    }
    if (!wait_readable(stream.queue->frame_descriptor(), stream.queue->idle_descriptor(), -1)) {
      (void)fail_with(EINTR, error, kErrorInterrupted, "A signal interrupted the wait for a frame");
      return nullptr;
    }
  }
}

bool enqueue(StreamState &stream, zel_buffer *buffer, GError **error) {
  if (buffer == nullptr) return fail_with(EINVAL, error, kErrorMissing, "No buffer provided");
  BufferState &state = buffer->state;
  if (state.session != stream.session || state.stream != stream.number) {
    return fail_with(EINVAL, error, kErrorCompound, "The buffer belongs to another stream");
  }
  if (state.queued.exchange(true))
    return fail_with(EBUSY, error, kErrorCompound, "The buffer is in the stream already");
  try {
    stream.queue->give(to_handle(add_ref(buffer).release()));
  } catch (const std::exception &) {
    state.queued = false;
    throw;
  }
  return true;
}

}  // namespace
}  // namespace camera

using namespace camera;

ZEL_EXPORT zel_stream *zel_stream_new(zel_map *settings, gpointer, GError **error) {
  return run_first_call("zel_stream_new", kStream, error,
                        {{"map", shown(settings)},
                         {"values", settings == nullptr ? LogValue(nullptr) : LogValue(&settings->state.values)}},
                        [&](Session &now, GError **slot) -> zel_stream * {
                          if (settings == nullptr) {
                            (void)fail_with(EINVAL, slot, kErrorMissing, "No settings provided");
                            return nullptr;
                          }
                          return make_stream(now, settings->state.values, slot).release();
                        });
}

ZEL_EXPORT gint zel_stream_get_fd(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_fd", kDescriptor, stream, error,
                   [](const StreamState &state, GError **) { return state.queue->frame_descriptor(); });
}

ZEL_EXPORT gint zel_stream_get_event_fd(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_event_fd", kDescriptor, stream, error,
                   [](const StreamState &state, GError **) { return state.queue->event_descriptor(); });
}

ZEL_EXPORT guint32 zel_stream_get_id(zel_stream *stream) {
  return on_stream("zel_stream_get_id", kUnsigned, stream, nullptr,
                   [](const StreamState &state, GError **) { return state.number; });
}

ZEL_EXPORT zel_map *zel_stream_get_info(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_info", kMap, stream, error, [](const StreamState &state, GError **) {
    return make_map(*state.session, info_of(state)).release();
  });
}

ZEL_EXPORT zel_map *zel_stream_get_settings(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_settings", kMap, stream, error, [](const StreamState &state, GError **) {
    return make_map(*state.session, state.settings).release();
  });
}

ZEL_EXPORT gboolean zel_stream_start(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_start", kSuccess, stream, error, [](StreamState &state, GError **) -> gboolean {
    const std::lock_guard lock(state.control);
    state.engine->start();
    return TRUE;
  });
}

ZEL_EXPORT gboolean zel_stream_play(zel_stream *stream, gpointer, GError **error) {
  return on_stream("zel_stream_play", kSuccess, stream, error, [](StreamState &state, GError **) -> gboolean {
    const std::lock_guard lock(state.control);
    state.engine->play();
    return TRUE;
  });
}

ZEL_EXPORT gboolean zel_stream_stop(zel_stream *stream) {
  return on_stream("zel_stream_stop", kSuccess, stream, nullptr, [](StreamState &state, GError **) -> gboolean {
    const std::lock_guard lock(state.control);
    state.engine->stop();
    return TRUE;
  });
}

ZEL_EXPORT gboolean zel_stream_force_key_frame(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_force_key_frame", kSuccess, stream, error,
                   [](StreamState &state, GError **) -> gboolean {
                     state.engine->force_key();
                     return TRUE;
                   });
}

ZEL_EXPORT zel_map *zel_stream_get_event(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_event", kMaybeMap, stream, error,
                   [](const StreamState &state, GError **) -> zel_map * {
                     std::optional<Values> event = state.queue->take_event();
                     return event ? make_map(*state.session, *std::move(event)).release() : nullptr;
                   });
}

ZEL_EXPORT zel_buffer *zel_stream_buffer_alloc(zel_stream *stream, gpointer, GError **error) {
  return on_stream("zel_stream_buffer_alloc", kBuffer, stream, error,
                   [](StreamState &state, GError **slot) -> zel_buffer * {
                     if (state.plan.service_buffers) {
                       (void)fail_with(EINVAL, slot, kErrorCompound, "The stream brings its own buffers");
                       return nullptr;
                     }
                     return make_buffer(next_recipe(state)).release();
                   });
}

ZEL_EXPORT gboolean zel_stream_buffer_enqueue(zel_stream *stream, zel_buffer *buffer, GError **error) {
  return run_call("zel_stream_buffer_enqueue", CallKind::kOrdinary, kSuccess, error,
                  {{"stream", shown(stream)}, {"buffer", shown(buffer)}}, [&](GError **slot) -> gboolean {
                    return check(stream, slot) && enqueue(stream->state, buffer, slot) ? TRUE : FALSE;
                  });
}

ZEL_EXPORT zel_buffer *zel_stream_get_buffer(zel_stream *stream, GError **error) {
  return on_stream("zel_stream_get_buffer", kBuffer, stream, error,
                   [](StreamState &state, GError **slot) { return fetch(state, slot); });
}

ZEL_EXPORT gboolean zel_stream_buffer_unref(zel_stream *stream, zel_buffer **buffer, GError **error) {
  zel_buffer *held = buffer != nullptr ? *buffer : nullptr;
  const gboolean done = run_call("zel_stream_buffer_unref", CallKind::kOrdinary, kSuccess, error,
                                 {{"stream", shown(stream)}, {"buffer", shown(held)}}, [&](GError **slot) -> gboolean {
                                   if (!check(stream, slot)) return FALSE;
                                   if (held == nullptr)
                                     return fail_with(EINVAL, slot, kErrorMissing, "No buffer provided");
                                   *buffer = nullptr;
                                   g_object_unref(held);
                                   return TRUE;
                                 });
  const bool is_replayed =
      done != FALSE && held != nullptr && *buffer == held;  // the reference is dropped all the same
  if (is_replayed) {
    *buffer = nullptr;
    g_object_unref(held);
  }
  return done;
}
