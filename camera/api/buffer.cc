// The calls about buffers and frames.
#include "api/buffer.h"

#include "api/call.h"

namespace camera {

BufferState::~BufferState() {
  if (session != nullptr) session->log.write("release", {{"object", "buffer"}, {"id", std::uint64_t{number}}});
  if (!replace) return;
  try {
    replace();
  } catch (const std::exception &) {
    // Memory is exhausted: the stream goes on with one buffer less.
  }
}

namespace {

/// Writes what the service says about a frame besides its own calls. "empty" is a boolean of one byte; the wide form is
/// a four-byte number, which a reader must not take for it.
void describe(const Frame &frame, Values &values) {
  if (frame.empty == EmptyMark::kWide) {
    store_value(values, "empty", std::uint32_t{1});
  } else {
    store_value(values, "empty", frame.empty == EmptyMark::kTrue);
  }
}

}  // namespace

void attach_frame(zel_buffer &buffer, Frame frame) {
  buffer.state.frame = std::move(frame);
  buffer.state.next_piece = 0;
  if (buffer.state.extra != nullptr) describe(buffer.state.frame, buffer.state.extra->state.values);
}

LogValue shown(const zel_buffer *buffer) {
  if (buffer == nullptr) return nullptr;
  return std::uint64_t{buffer->state.number};
}

}  // namespace camera

using namespace camera;

namespace {

constexpr Answer<zel_frame *> kFrame{nullptr, [](zel_frame *const &frame) { return shown(frame); },
                                     [](zel_frame *const &frame) { return frame == nullptr; }};
constexpr Answer<zel_map *> kExtraMap{nullptr, [](zel_map *const &map) { return shown(map); },
                                      [](zel_map *const &map) { return map == nullptr; }};
constexpr Answer<gsize> kSize{0, [](const gsize &size) -> LogValue { return std::uint64_t{size}; },
                              [](const gsize &) { return false; }};
constexpr Answer<gssize> kSignedSize{0, [](const gssize &size) -> LogValue { return std::int64_t{size}; },
                                     [](const gssize &) { return false; }};
constexpr Answer<zel_chunk> kChunk{{nullptr, 0, G_MININT32},
                                   [](const zel_chunk &chunk) -> LogValue { return std::uint64_t{chunk.size}; },
                                   [](const zel_chunk &chunk) { return chunk.mark == G_MININT32; }};

/// A getter: `read` looks at the state of a buffer that exists.
template <typename Result, typename Read>
Result get(const char *call, const Answer<Result> &answer, zel_buffer *buffer, Read read) {
  return run_call(call, CallKind::kGetter, answer, nullptr, {{"buffer", shown(buffer)}},
                  [&](GError **) -> Result { return buffer == nullptr ? answer.failed : read(buffer->state); });
}

bool is_contiguous(const Frame &frame) {
  return frame.payload == nullptr || frame.payload->pieces.size() <= 1;
}

/// The next chunk. After the last one the cursor stays at the end.
zel_chunk take_chunk(zel_buffer *buffer, GError **error) {
  if (buffer == nullptr) {
    fail(error, kErrorMissing, "No frame provided");
    return kChunk.failed;
  }
  BufferState &state = buffer->state;
  if (state.frame.take_fails) {
    fail(error, kErrorFile, "The frame's data cannot be read");
    return kChunk.failed;
  }
  if (state.frame.payload == nullptr || state.next_piece >= state.frame.payload->pieces.size()) return {nullptr, 0, 0};
  const std::size_t index = state.next_piece++;
  const std::span<const std::uint8_t> bytes = state.frame.payload->pieces[index].bytes;
  const bool hidden = !state.readable || state.frame.null_chunk == index;
  // The interface gives chunks as writable memory; what a frame holds is only ever read.
  return {hidden ? nullptr : const_cast<std::uint8_t *>(bytes.data()), bytes.size(), 0};
}

}  // namespace

ZEL_EXPORT zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  return run_call("zel_buffer_get_frame", CallKind::kGetter, kFrame, nullptr, {{"buffer", shown(buffer)}},
                  [&](GError **) { return buffer; });
}

ZEL_EXPORT gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  return get("zel_buffer_get_capacity", kSize, buffer, [](const BufferState &state) {
    return state.frame.payload != nullptr ? state.frame.capacity : state.capacity;
  });
}

ZEL_EXPORT guint32 zel_buffer_get_id(zel_buffer *buffer) {
  return get("zel_buffer_get_id", kUnsigned, buffer, [](const BufferState &state) { return state.id; });
}

ZEL_EXPORT gboolean zel_buffer_is_contiguous(zel_buffer *buffer) {
  return get("zel_buffer_is_contiguous", kTruth, buffer,
             [](const BufferState &state) -> gboolean { return is_contiguous(state.frame) ? TRUE : FALSE; });
}

ZEL_EXPORT gsize zel_frame_get_size(zel_frame *frame) {
  return get("zel_frame_get_size", kSize, frame,
             [](const BufferState &state) { return state.frame.payload != nullptr ? state.frame.payload->size : 0; });
}

ZEL_EXPORT gssize zel_frame_get_header_size(zel_frame *frame) {
  return get("zel_frame_get_header_size", kSignedSize, frame,
             [](const BufferState &state) { return static_cast<gssize>(state.frame.header_size); });
}

ZEL_EXPORT guint32 zel_frame_get_frame_type(zel_frame *frame) {
  return get("zel_frame_get_frame_type", kUnsigned, frame, [](const BufferState &state) { return state.frame.type; });
}

ZEL_EXPORT guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  return get("zel_frame_get_sequence_nbr", kUnsigned, frame,
             [](const BufferState &state) { return state.frame.sequence; });
}

ZEL_EXPORT guint64 zel_frame_get_timestamp(zel_frame *frame) {
  return get("zel_frame_get_timestamp", kUnsigned64, frame,
             [](const BufferState &state) { return state.frame.timestamp_us; });
}

ZEL_EXPORT guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  return get("zel_frame_get_utc_timestamp", kUnsigned64, frame,
             [](const BufferState &state) { return state.frame.utc_us; });
}

ZEL_EXPORT guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  return get("zel_frame_get_custom_timestamp", kUnsigned64, frame,
             [](const BufferState &state) { return state.frame.custom_us; });
}

ZEL_EXPORT gboolean zel_frame_is_key(zel_frame *frame) {
  return get("zel_frame_is_key", kTruth, frame,
             [](const BufferState &state) -> gboolean { return state.frame.key ? TRUE : FALSE; });
}

ZEL_EXPORT gboolean zel_frame_shown(zel_frame *frame) {
  return get("zel_frame_shown", kTruth, frame,
             [](const BufferState &state) -> gboolean { return state.frame.shown ? TRUE : FALSE; });
}

ZEL_EXPORT gboolean zel_frame_is_segment_start(zel_frame *frame) {
  return get("zel_frame_is_segment_start", kTruth, frame,
             [](const BufferState &state) -> gboolean { return state.frame.segment_start ? TRUE : FALSE; });
}

ZEL_EXPORT zel_map *zel_frame_get_extra_info(zel_frame *frame) {
  return get("zel_frame_get_extra_info", kExtraMap, frame, [](BufferState &state) {
    if (state.extra == nullptr) {
      state.extra = make_map(*state.session, {});
      describe(state.frame, state.extra->state.values);
    }
    return state.extra.get();
  });
}

ZEL_EXPORT zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  return run_call("zel_frame_take_chunk", CallKind::kGetter, kChunk, error, {{"buffer", shown(frame)}},
                  [&](GError **slot) { return take_chunk(frame, slot); });
}

ZEL_EXPORT zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  return run_call("zel_frame_take_chunk_ex", CallKind::kGetter, kChunk, nullptr,
                  {{"buffer", shown(frame)}, {"flags", std::uint64_t{flags}}},
                  [&](GError **slot) { return take_chunk(frame, slot); });
}
