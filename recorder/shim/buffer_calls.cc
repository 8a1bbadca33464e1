// The calls about buffers and frames.
#include "recorder/shim/chunks.h"
#include "recorder/shim/crossing.h"

using namespace recorder;

ZEL_SHIM zel_frame *zel_buffer_get_frame(zel_buffer *buffer) {
  return cross<"zel_buffer_get_frame", zel_buffer_get_frame>(buffer);
}
ZEL_SHIM gsize zel_buffer_get_capacity(zel_buffer *buffer) {
  return cross<"zel_buffer_get_capacity", zel_buffer_get_capacity>(buffer);
}
ZEL_SHIM guint32 zel_buffer_get_id(zel_buffer *buffer) {
  return cross<"zel_buffer_get_id", zel_buffer_get_id>(buffer);
}
ZEL_SHIM gboolean zel_buffer_is_contiguous(zel_buffer *buffer) {
  return cross<"zel_buffer_is_contiguous", zel_buffer_is_contiguous>(buffer);
}
ZEL_SHIM gsize zel_frame_get_size(zel_frame *frame) {
  return cross<"zel_frame_get_size", zel_frame_get_size>(frame);
}
ZEL_SHIM gssize zel_frame_get_header_size(zel_frame *frame) {
  return cross<"zel_frame_get_header_size", zel_frame_get_header_size>(frame);
}
ZEL_SHIM guint32 zel_frame_get_frame_type(zel_frame *frame) {
  return cross<"zel_frame_get_frame_type", zel_frame_get_frame_type>(frame);
}
ZEL_SHIM guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  return cross<"zel_frame_get_sequence_nbr", zel_frame_get_sequence_nbr>(frame);
}
ZEL_SHIM guint64 zel_frame_get_timestamp(zel_frame *frame) {
  return cross<"zel_frame_get_timestamp", zel_frame_get_timestamp>(frame);
}
ZEL_SHIM guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  return cross<"zel_frame_get_utc_timestamp", zel_frame_get_utc_timestamp>(frame);
}
ZEL_SHIM guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  return cross<"zel_frame_get_custom_timestamp", zel_frame_get_custom_timestamp>(frame);
}
ZEL_SHIM gboolean zel_frame_is_key(zel_frame *frame) {
  return cross<"zel_frame_is_key", zel_frame_is_key>(frame);
}
ZEL_SHIM gboolean zel_frame_shown(zel_frame *frame) {
  return cross<"zel_frame_shown", zel_frame_shown>(frame);
}
ZEL_SHIM gboolean zel_frame_is_segment_start(zel_frame *frame) {
  return cross<"zel_frame_is_segment_start", zel_frame_is_segment_start>(frame);
}
ZEL_SHIM zel_map *zel_frame_get_extra_info(zel_frame *frame) {
  return cross<"zel_frame_get_extra_info", zel_frame_get_extra_info>(frame);
}

// ---- Chunks ------------------------------------------------------------------------------------------------------

namespace {

/// Takes a chunk with `take` and writes it down; `encode_more` puts the arguments behind the frame, of which there are
/// so many.
template <Name kName, typename Take, typename EncodeMore>
zel_chunk record_chunk(zel_frame *frame, SlotState state, GError **slot, const Take &take, std::size_t more,
                       const EncodeMore &encode_more) {
  const int errno_before = errno;
  const ObjectNumber object = snapshot(frame);
  errno = errno_before;
  InsideCall call(kName.text);
  const zel_chunk chunk = take();
  const CallTimes &times = call.returned();
  const ShownChunk shown = shown_chunk(object.id, chunk);
  const GError *error = state == SlotState::kEmpty ? *slot : nullptr;
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    encode_call_head(sink, kName.text, thread, times);
    formats::put_cbor_text(sink, formats::kKeyWith);
    formats::put_cbor_head(sink, formats::CborMajor::kArray, 1 + more);
    encode(sink, object);
    encode_more(sink);
    formats::put_cbor_text(sink, formats::kKeyGave);
    encode(sink, shown);
    encode_failure(sink, state, error, looks_failed(chunk), times);
  });
  return chunk;
}

}  // namespace

ZEL_SHIM zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  const auto next = next_function<"zel_frame_take_chunk", decltype(zel_frame_take_chunk)>();
  if (!is_recorded()) return next(frame, error);
  return record_chunk<"zel_frame_take_chunk">(
      frame, state_of(error), error, [&] { return next(frame, error); }, 0, [](auto &) {});
}

ZEL_SHIM zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  const auto next = next_function<"zel_frame_take_chunk_ex", decltype(zel_frame_take_chunk_ex)>();
  if (!is_recorded()) return next(frame, flags);
  return record_chunk<"zel_frame_take_chunk_ex">(
      frame, SlotState::kNotTaken, nullptr, [&] { return next(frame, flags); }, 1,
      [flags](auto &sink) { formats::put_cbor_number(sink, flags); });
}
