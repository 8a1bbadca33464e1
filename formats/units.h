// Walking over the units that a coded frame is made of.
#ifndef ZEL_FORMATS_UNITS_H
#define ZEL_FORMATS_UNITS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace formats {

/// A NAL unit of an H.264 or H.265 stream with start codes. It ends where the next one starts, or with the bytes.
struct NalUnit {
  std::size_t start = 0;    ///< of its start code of 3 or 4 bytes
  std::size_t payload = 0;  ///< behind the start code: the unit's own header, which has its first byte
};

/// The first unit that starts at `from` or behind; none when no start code is followed by a byte.
std::optional<NalUnit> next_nal_unit(std::span<const std::uint8_t> bytes, std::size_t from);

/// The type in the first byte of a NAL unit.
constexpr unsigned h264_unit_type(std::uint8_t header) {
  return header & 0x1FU;
}
constexpr unsigned h265_unit_type(std::uint8_t header) {
  return header >> 1U & 0x3FU;
}

/// An open bitstream unit of AV1.
struct Obu {
  unsigned type = 0;
  bool has_size = false;    ///< without a size it goes to the end of the bytes
  std::size_t payload = 0;  ///< behind its header and size
  std::size_t end = 0;      ///< of its payload; beyond the bytes when they hold only its beginning
};

/// The unit that starts at `from`; none when its header or its size does not end within the bytes or is not valid.
std::optional<Obu> obu_at(std::span<const std::uint8_t> bytes, std::size_t from);

}  // namespace formats

#endif
