// Taking a frame's data.
#include "compliance/support/frame.h"

#include <span>

namespace compliance {

zel_frame *frame_of(const BufferPtr &buffer) {
  zel_frame *frame = zel().buffer_get_frame(buffer.get());
  if (frame == nullptr) throw Finding("zel_buffer_get_frame gave NULL, expected the frame in the buffer");
  return frame;
}

zel_chunk take_chunk(zel_frame *frame, Take take) {
  ErrorSlot error;
  const bool plain = take == Take::kPlain;
  const zel_chunk chunk =
      plain ? zel().frame_take_chunk(frame, error.address()) : zel().frame_take_chunk_ex(frame, kAsStored);
  if (chunk.mark == G_MININT32) throw Finding("a chunk has the mark of a failure, " + error.text() + ", expected data");
  return chunk;
}

Bytes take_bytes(zel_frame *frame, Take take) {
  const gsize size = zel().frame_get_size(frame);
  Bytes bytes;
  while (true) {
    const zel_chunk chunk = take_chunk(frame, take);
    if (chunk.size == 0) return bytes;
    if (chunk.size > size - bytes.size()) {
      throw Finding("the chunks have " + std::to_string(bytes.size()) + " and " + std::to_string(chunk.size) +
                    " bytes, expected no more than the frame's " + std::to_string(size));
    }
    if (chunk.data == nullptr)
      throw Finding("a chunk of " + std::to_string(chunk.size) + " bytes has no data, expected some");
    const std::span data(static_cast<const std::uint8_t *>(chunk.data), chunk.size);
    bytes.insert(bytes.end(), data.begin(), data.end());
  }
}

}  // namespace compliance
