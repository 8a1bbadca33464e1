// The sidecar: a small binary file beside the raw output that describes every stored frame.
//
// Format (docs/sidecar-format.md): N records of 24 bytes, then the 4-byte count N. All numbers are unsigned and
// little-endian; no magic, no version, no header.
//
//     offset 0   4 bytes   frame type, a value of zel_frame_type_get_type()
//            4   4         reserved, always zero: keeps the time stamp 8-byte aligned
//            8   8         time stamp, us on the service's clock
//           16   4         size, bytes of the frame in the raw output, codec header included
//           20   4         header size, bytes of codec header at the frame's start
//
// Every record is flushed on its own, so that the file can be read while the capture runs and survives a crash: without
// the count its size is a multiple of 24.
#ifndef ZEL_FORMATS_SIDECAR_H
#define ZEL_FORMATS_SIDECAR_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/little_endian.h"

namespace formats {

inline constexpr std::size_t kSidecarRecordSize = 24;
inline constexpr std::size_t kSidecarTrailerSize = 4;

/// What a sidecar's name has behind that of the raw output.
inline constexpr std::string_view kSidecarSuffix = ".meta";

/// One record's values; any value of each field can stand in a file.
struct SidecarRecord {
  std::uint32_t frame_type = 0;   ///< the library's number
  std::uint32_t reserved = 0;     ///< written as 0; what a file holds when read
  std::uint64_t time_us = 0;      ///< on the service's clock; signed for who needs times before zero
  std::uint32_t size = 0;         ///< bytes
  std::uint32_t header_size = 0;  ///< bytes, counted in `size` too
};

/// The record as it lies in the file.
std::array<std::uint8_t, kSidecarRecordSize> sidecar_record_bytes(const SidecarRecord &record);

/// The record in the 24 bytes from `bytes` on, at any alignment.
inline SidecarRecord sidecar_record(const std::uint8_t *bytes) {
  return {.frame_type = load_little_endian<std::uint32_t>(bytes),
          .reserved = load_little_endian<std::uint32_t>(bytes + 4),
          .time_us = load_little_endian<std::uint64_t>(bytes + 8),
          .size = load_little_endian<std::uint32_t>(bytes + 16),
          .header_size = load_little_endian<std::uint32_t>(bytes + 20)};
}

/// The trailer of a file of `count` records.
std::array<std::uint8_t, kSidecarTrailerSize> sidecar_trailer_bytes(std::uint32_t count);

/// The count in the 4 bytes from `bytes` on.
inline std::uint32_t sidecar_trailer(const std::uint8_t *bytes) {
  return load_little_endian<std::uint32_t>(bytes);
}

}  // namespace formats

#endif
