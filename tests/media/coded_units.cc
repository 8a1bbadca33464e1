// Takes coded video apart, far enough to compare what a container holds with what was put in.
#include "coded_units.h"

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>

#include "formats/stream_format.h"
#include "formats/units.h"

namespace {

struct Unit {
  unsigned type;
  std::size_t start;    ///< of the start code or OBU header
  std::size_t payload;  ///< behind the start code; the OBU header again for AV1
  std::size_t end;
};

std::span<const std::uint8_t> numbers(std::string_view bytes) {
  return {reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size()};
}

std::vector<Unit> obus(std::string_view bytes) {
  std::vector<Unit> found;
  std::size_t offset = 0;
  while (const std::optional<formats::Obu> obu = formats::obu_at(numbers(bytes), offset)) {
    found.push_back({obu->type, offset, offset, obu->end});
    offset = obu->end;
  }
  if (offset != bytes.size()) throw std::runtime_error("an OBU that is not whole");
  return found;
}

std::vector<Unit> nal_units(std::uint32_t format, std::string_view bytes) {
  std::vector<Unit> found;
  std::size_t from = 0;
  while (const std::optional<formats::NalUnit> unit = formats::next_nal_unit(numbers(bytes), from)) {
    const auto header = static_cast<std::uint8_t>(bytes[unit->payload]);
    const unsigned type =
        format == formats::kFormatH264 ? formats::h264_unit_type(header) : formats::h265_unit_type(header);
    if (!found.empty()) found.back().end = unit->start;
    found.push_back({type, unit->start, unit->payload, bytes.size()});
    from = unit->payload;
  }
  return found;
}

bool is_picture(std::uint32_t format, unsigned type) {
  switch (format) {
    case formats::kFormatH264:
      return type >= 1 && type <= 5;
    case formats::kFormatH265:
      return type < 32;
    default:
      return type == 3 || type == 6;  // frame header, frame
  }
}

}  // namespace

std::size_t header_size(std::uint32_t format, std::string_view bytes) {
  for (const Unit &unit : format == formats::kFormatAv1 ? obus(bytes) : nal_units(format, bytes)) {
    if (is_picture(format, unit.type)) return unit.start;
  }
  return 0;
}

std::vector<std::string> coded_units(std::uint32_t format, const std::string &raw) {
  constexpr unsigned kTemporalDelimiter = 2;
  if (format == formats::kFormatJpeg) return {raw};
  std::vector<std::string> units;
  for (const Unit &unit : format == formats::kFormatAv1 ? obus(raw) : nal_units(format, raw)) {
    if (format == formats::kFormatAv1 && unit.type == kTemporalDelimiter) continue;
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
