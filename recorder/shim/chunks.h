// The bytes of frames: each frame's once.
#ifndef ZEL_RECORDER_CHUNKS_H
#define ZEL_RECORDER_CHUNKS_H

#include <optional>

#include "formats/xxh64.h"
#include "recorder/shim/values.h"

namespace recorder {

/// The chunks of a buffer count from 0 again.
void begin_frame(std::uint32_t buffer);

/// Counts a chunk of the buffer's frame. Gives the number of an earlier one with the same bytes, if it is remembered.
std::optional<std::uint32_t> earlier_chunk(std::uint32_t buffer, const zel_chunk &chunk);

/// How zel_stream_get_buffer's result is written down.
struct FilledBuffer {
  static ObjectNumber of(zel_buffer *buffer) {
    const ObjectNumber number = snapshot(buffer);
    begin_frame(number.id);
    return number;
  }
};

/// A chunk as it stands in the recording.
struct ShownChunk {
  zel_chunk chunk;
  std::optional<std::uint32_t> again;
  std::uint64_t hash;  ///< where pictures are left out
};

ShownChunk shown_chunk(std::uint32_t buffer, const zel_chunk &chunk);

template <typename Sink>
void encode(Sink &sink, const ShownChunk &shown) {
  const zel_chunk &chunk = shown.chunk;
  formats::put_cbor_byte(sink, formats::kCborOpenMap);
  put_field(sink, formats::kChunkSize, chunk.size);
  if (chunk.mark != 0) put_field(sink, formats::kChunkMark, chunk.mark);
  if (chunk.data == nullptr) {
    formats::put_cbor_text(sink, formats::kChunkData);
    formats::put_cbor_byte(sink, formats::kCborNull);
  } else if (shown.again) {
    put_field(sink, formats::kChunkAgain, *shown.again);
  } else if (keep_pictures) {
    formats::put_cbor_text(sink, formats::kChunkData);
    formats::put_cbor_bytes(sink, chunk.data, chunk.size);
  } else {
    put_field(sink, formats::kChunkHash, shown.hash);
  }
  formats::put_cbor_byte(sink, formats::kCborBreak);
}

}  // namespace recorder

#endif
