// A frame on its way to the client: what is said about it, and its bytes, which are shared and never change.
#ifndef ZEL_CAMERA_FRAME_H
#define ZEL_CAMERA_FRAME_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "config/key_file.h"

namespace camera {

/// The bytes of a frame in one or more pieces, each in memory of its own.
struct Payload {
  struct Piece {
    std::shared_ptr<const void> owner;  ///< keeps `bytes` alive
    std::span<const std::uint8_t> bytes;
  };
  std::vector<Piece> pieces;  ///< none: a frame of size 0
  std::size_t size = 0;       ///< of all pieces together
};

struct Frame {
  std::shared_ptr<const Payload> payload;
  std::uint32_t sequence = 0;
  std::uint32_t type = 0;
  std::uint64_t timestamp_us = 0;
  std::uint64_t utc_us = 0;
  std::uint64_t custom_us = 0;
  std::uint64_t captured_us = 0;  ///< when it was due, on the pacing's clock
  std::uint64_t handed_us = 0;    ///< when it was put where the client can fetch it, on the same clock
  std::size_t header_size = 0;
  std::size_t capacity = 0;  ///< of the buffer that holds it
  std::optional<std::uint64_t> null_chunk;
  EmptyMark empty = EmptyMark::kFalse;
  bool key = false;
  bool shown = true;
  bool segment_start = false;
  bool take_fails = false;
};

/// A payload of one piece that owns `bytes`.
std::shared_ptr<const Payload> make_payload(std::vector<std::uint8_t> bytes);

/// The same, the codec header in a piece of its own if `in_chunks`, as "frame.chunks" asks.
std::shared_ptr<const Payload> delivered_payload(std::vector<std::uint8_t> bytes, std::size_t header_size,
                                                 bool in_chunks);

/// `payload` cut into pieces of these sizes, copied so that no two touch. What is left makes one more piece; sizes
/// beyond the end are cut.
std::shared_ptr<const Payload> cut_payload(const Payload &payload, std::span<const std::uint64_t> sizes);

/// `size` made-up bytes that depend on `variant` only.
std::shared_ptr<const Payload> made_up_payload(std::size_t size, std::uint64_t variant);

}  // namespace camera

#endif
