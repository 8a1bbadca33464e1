// Walking over the units of a coded frame.
#include "encoder/bitstream.h"

namespace camera {
namespace {

/// The place of the next start code from `from` on (its zeros included), or the frame's size.
std::size_t find_start_code(std::span<const std::uint8_t> frame, std::size_t from) {
  for (std::size_t i = from; i + 3 <= frame.size(); ++i) {
    if (frame[i] == 0 && frame[i + 1] == 0 && frame[i + 2] == 1) return i > from && frame[i - 1] == 0 ? i - 1 : i;
  }
  return frame.size();
}

/// Bytes up to the first unit for which `is_header` is false.
template <typename IsHeader>
std::size_t leading_units(std::span<const std::uint8_t> frame, IsHeader is_header) {
  std::size_t begin = find_start_code(frame, 0);
  while (begin < frame.size()) {
    const std::size_t unit = begin + (frame[begin + 2] == 1 ? 3 : 4);
    if (unit >= frame.size() || !is_header(frame[unit])) return begin;
    begin = find_start_code(frame, unit);
  }
  return frame.size();
}

/// Reads an AV1 variable-length size. Returns false when the frame ends inside it.
bool read_leb128(std::span<const std::uint8_t> frame, std::size_t &place, std::size_t &value) {
  value = 0;
  for (unsigned shift = 0; shift < 56 && place < frame.size(); shift += 7) {
    const std::uint8_t byte = frame[place++];
    value |= std::size_t{byte & 0x7FU} << (shift % (sizeof(std::size_t) * 8));
    if ((byte & 0x80U) == 0) return true;
  }
  return false;
}

}  // namespace

std::size_t h264_header_size(std::span<const std::uint8_t> frame) {
  constexpr unsigned kSequenceSet = 7;
  constexpr unsigned kPictureSet = 8;
  return leading_units(frame, [](std::uint8_t first) {
    const unsigned type = first & 0x1FU;
    return type == kSequenceSet || type == kPictureSet;
  });
}

std::size_t h265_header_size(std::span<const std::uint8_t> frame) {
  constexpr unsigned kVideoSet = 32;
  constexpr unsigned kPictureSet = 34;
  return leading_units(frame, [](std::uint8_t first) {
    const unsigned type = (first >> 1U) & 0x3FU;
    return type >= kVideoSet && type <= kPictureSet;
  });
}

std::size_t av1_header_size(std::span<const std::uint8_t> frame) {
  constexpr unsigned kSequenceHeader = 1;
  constexpr unsigned kTemporalDelimiter = 2;
  std::size_t place = 0;
  while (place < frame.size()) {
    const std::uint8_t head = frame[place];
    const unsigned type = (head >> 3U) & 0xFU;
    const bool has_extension = (head & 4U) != 0;
    const bool has_size = (head & 2U) != 0;
    if ((type != kTemporalDelimiter && type != kSequenceHeader) || !has_size) return 0;
    std::size_t next = place + (has_extension ? 2 : 1);
    std::size_t size = 0;
    if (!read_leb128(frame, next, size)) return 0;
    place = next + size;
    if (type == kSequenceHeader) return place <= frame.size() ? place : 0;
  }
  return 0;
}

}  // namespace camera
