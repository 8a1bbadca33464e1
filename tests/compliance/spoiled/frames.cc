// Frames that say something else than they hold.
#include <array>
#include <cstring>

#include "spoil.h"

namespace {

constexpr guint64 kHourUs = 3600000000;

/// The distance of frames on the clock of the tests of times, which run at 12.5 frames a second.
constexpr guint64 kDistanceUs = 80000;

/// The chunk with another byte, in memory that lasts until the next one.
zel_chunk with_other_byte(zel_chunk chunk, gsize index, guint8 mask) {
  static std::vector<guint8> bytes;
  if (chunk.data == nullptr || index >= chunk.size) return chunk;
  const auto *data = static_cast<const guint8 *>(chunk.data);
  bytes.assign(data, data + chunk.size);
  bytes[index] ^= mask;
  chunk.data = bytes.data();
  return chunk;
}

/// Keeps the account of the frame's cursor. Whether the chunk is the frame's first one.
bool note_chunk(zel_frame *frame, const zel_chunk &chunk) {
  const bool is_first = number_of(frame, "taken") == 0;
  set_number(frame, "taken", chunk.size != 0 ? 1 : 0);
  if (is_first) set_number(frame, "data", reinterpret_cast<gintptr>(chunk.data));
  return is_first;
}

}  // namespace

SPOILED gssize zel_frame_get_header_size(zel_frame *frame) {
  return BEHIND(zel_frame_get_header_size)(frame) + (spoils("header-too-long") ? 1 : 0);
}

SPOILED guint32 zel_frame_get_frame_type(zel_frame *frame) {
  return spoils("unknown-type") ? 77 : BEHIND(zel_frame_get_frame_type)(frame);
}

SPOILED guint32 zel_frame_get_sequence_nbr(zel_frame *frame) {
  return BEHIND(zel_frame_get_sequence_nbr)(frame) | (spoils("numbers-repeat") ? 1U : 0U);
}

SPOILED guint64 zel_frame_get_timestamp(zel_frame *frame) {
  const guint64 time = BEHIND(zel_frame_get_timestamp)(frame);
  const guint64 number = BEHIND(zel_frame_get_sequence_nbr)(frame);
  if (spoils("an-hour-late")) return time - kHourUs;
  if (spoils("uneven-times")) return time + (number % 2) * kDistanceUs * 4 / 10;
  if (spoils("times-with-gaps")) return time + number / 10 * kDistanceUs;
  return time;
}

SPOILED guint64 zel_frame_get_utc_timestamp(zel_frame *frame) {
  const guint64 time = BEHIND(zel_frame_get_utc_timestamp)(frame);
  return spoils("utc-of-32-bits") ? static_cast<guint32>(time) : time;
}

SPOILED guint64 zel_frame_get_custom_timestamp(zel_frame *frame) {
  static guint64 calls = 0;
  return BEHIND(zel_frame_get_custom_timestamp)(frame) + (spoils("custom-changes") ? ++calls : 0);
}

SPOILED gboolean zel_frame_is_key(zel_frame *frame) {
  const gboolean key = BEHIND(zel_frame_is_key)(frame);
  return spoils("key-flag-inverted") ? !key : key;
}

SPOILED gboolean zel_frame_shown(zel_frame *frame) {
  return spoils("never-shown") ? FALSE : BEHIND(zel_frame_shown)(frame);
}

SPOILED gboolean zel_frame_is_segment_start(zel_frame *frame) {
  const gboolean flag = BEHIND(zel_frame_is_segment_start)(frame);
  if (spoils("segment-flag-changes") && number_of(frame, "handed-back") != 0) return flag == FALSE ? TRUE : FALSE;
  return spoils("segment-flag-is-two") ? 2 : flag;
}

SPOILED zel_map *zel_frame_get_extra_info(zel_frame *frame) {
  return spoils("no-extra-info") ? nullptr : BEHIND(zel_frame_get_extra_info)(frame);
}

SPOILED zel_chunk zel_frame_take_chunk(zel_frame *frame, GError **error) {
  if (spoils("cursor-stays") && number_of(frame, "left-off") != 0) return {.data = nullptr, .size = 0, .mark = 0};
  const zel_chunk chunk = BEHIND(zel_frame_take_chunk)(frame, error);
  const bool is_first = note_chunk(frame, chunk);
  const bool is_all = zel_buffer_is_contiguous(frame) != FALSE;
  if (is_first && spoils("first-byte-changed")) return with_other_byte(chunk, 0, 0x80);
  if (is_first && !is_all && spoils("header-differs-in-chunks")) return with_other_byte(chunk, chunk.size - 1, 0x40);
  if (!is_first && !is_all && spoils("rest-differs-in-chunks")) return with_other_byte(chunk, chunk.size - 1, 0x01);
  return chunk;
}

SPOILED zel_chunk zel_frame_take_chunk_ex(zel_frame *frame, guint32 flags) {
  const zel_chunk chunk = BEHIND(zel_frame_take_chunk_ex)(frame, flags);
  const bool is_first = note_chunk(frame, chunk);
  if (spoils("unread-without-end") && !is_readable) return {.data = nullptr, .size = 1, .mark = 0};
  if (is_first && spoils("first-stored-byte-changed")) return with_other_byte(chunk, 0, 0x80);
  if (!spoils("chunk-layout")) return chunk;
  return {.data = chunk.data, .size = static_cast<gsize>(chunk.mark), .mark = static_cast<gint32>(chunk.size)};
}
