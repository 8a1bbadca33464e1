// Takes coded video apart, far enough to compare what a container holds with what was put in.
#include "coded_units.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace {

/// Reads a number of AV1's leb128 coding; moves the offset behind it.
std::size_t read_leb128(std::string_view bytes, std::size_t &offset) {
  std::size_t value = 0;
  for (unsigned shift = 0; offset < bytes.size(); shift += 7) {
    const auto byte = static_cast<std::uint8_t>(bytes[offset++]);
    value |= static_cast<std::size_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) break;
  }
  return value;
}

struct Unit {
  int type;
  std::size_t start;    ///< of the start code or OBU header
  std::size_t payload;  ///< behind the start code; the OBU header again for AV1
  std::size_t end;
};

std::vector<Unit> obus(std::string_view bytes) {
  std::vector<Unit> found;
  std::size_t offset = 0;
  while (offset < bytes.size()) {
    const std::size_t start = offset;
    const auto header = static_cast<std::uint8_t>(bytes[offset]);
    offset += (header & 4) != 0 ? 2 : 1;
    if ((header & 2) == 0) throw std::runtime_error("an OBU without a size");
    const std::size_t size = read_leb128(bytes, offset);
    offset += size;
    found.push_back({header >> 3 & 0xF, start, start, offset});
  }
  return found;
}

std::vector<Unit> nal_units(std::uint32_t format, std::string_view bytes) {
  constexpr std::string_view kStartCode("\0\0\1", 3);
  std::vector<Unit> found;
  for (std::size_t at = bytes.find(kStartCode); at != std::string_view::npos;) {
    const std::size_t payload = at + kStartCode.size();
    const std::size_t next = bytes.find(kStartCode, payload);
    std::size_t end = next == std::string_view::npos ? bytes.size() : next;
    if (next != std::string_view::npos && bytes[next - 1] == 0) --end;  // the zero of a start code of four bytes
    const auto header = static_cast<std::uint8_t>(bytes[payload]);
    const std::size_t start = at > 0 && bytes[at - 1] == 0 ? at - 1 : at;
    found.push_back({format == 0 ? header & 0x1F : header >> 1 & 0x3F, start, payload, end});
    at = next;
  }
  return found;
}

bool is_picture(std::uint32_t format, int type) {
  switch (format) {
    case 0:
      return type >= 1 && type <= 5;
    case 1:
      return type < 32;
    default:
      return type == 3 || type == 6;  // frame header, frame
  }
}

}  // namespace

std::size_t header_size(std::uint32_t format, std::string_view bytes) {
  for (const Unit &unit : format == 10 ? obus(bytes) : nal_units(format, bytes)) {
    if (is_picture(format, unit.type)) return unit.start;
  }
  return 0;
}

std::vector<std::string> coded_units(std::uint32_t format, const std::string &raw) {
  constexpr int kTemporalDelimiter = 2;
  if (format == 2) return {raw};
  std::vector<std::string> units;
  for (const Unit &unit : format == 10 ? obus(raw) : nal_units(format, raw)) {
    if (format == 10 && unit.type == kTemporalDelimiter) continue;
    units.push_back(raw.substr(unit.payload, unit.end - unit.payload));
  }
  return units;
}

std::vector<std::string> stored_units(std::uint32_t format, const std::string &stored) {
  constexpr std::size_t kLengthBytes = 4;
  if (format != 0 && format != 1) return coded_units(format, stored);
  std::vector<std::string> units;
  for (std::size_t at = 0; at + kLengthBytes <= stored.size();) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthBytes; ++i)
      length = length << 8 | static_cast<std::uint8_t>(stored[at + i]);
    units.push_back(stored.substr(at + kLengthBytes, length));
    at += kLengthBytes + length;
  }
  return units;
}
