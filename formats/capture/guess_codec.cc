// Tells coded streams apart by how they begin.
#include <algorithm>
#include <array>

#include "formats/bitstream.h"
#include "formats/capture/source.h"
#include "formats/units.h"

namespace formats {
namespace {

/// Types of the units with which a frame of the codec can begin: parameter sets, delimiters, information, slices.
constexpr std::array<unsigned, 6> kH264Starts = {1, 5, 6, 7, 8, 9};
constexpr std::array<unsigned, 12> kH265Starts = {0, 1, 16, 17, 18, 19, 20, 21, 32, 33, 34, 35};

template <std::size_t N>
bool is_one_of(unsigned type, const std::array<unsigned, N> &types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

/// H.264 and H.265 begin alike; the second byte of an H.265 unit's header is 1 in all that a camera sends (no layers).
std::optional<Codec> guess_by_unit(std::span<const std::uint8_t> start) {
  const auto unit = next_nal_unit(start, 0);
  if (!unit || unit->start != 0 || unit->payload + 1 >= start.size()) return std::nullopt;
  const std::uint8_t first = start[unit->payload];
  const std::uint8_t second = start[unit->payload + 1];
  if ((first & 0x80U) != 0) return std::nullopt;
  constexpr unsigned kInformation = 39;
  const unsigned h265_type = h265_unit_type(first);
  const bool is_h265 = second == 1 && (is_one_of(h265_type, kH265Starts) || h265_type == kInformation);
  if (is_h265) return Codec::kH265;
  return is_one_of(h264_unit_type(first), kH264Starts) ? std::optional(Codec::kH264) : std::nullopt;
}

/// AV1 begins with a temporal delimiter or, without one, with a sequence header; the unit behind must be one too.
bool is_av1(std::span<const std::uint8_t> start) {
  constexpr unsigned kSequenceHeader = 1;
  constexpr unsigned kTemporalDelimiter = 2;
  const auto first = obu_at(start, 0);
  if (!first || !first->has_size || !frame_starts_well(Codec::kAv1, start)) return false;
  if (first->type == kTemporalDelimiter) return first->end == first->payload;
  return first->type == kSequenceHeader && first->end <= start.size() && obu_at(start, first->end).has_value();
}

}  // namespace

std::optional<Codec> guess_codec(std::span<const std::uint8_t> start) {
  if (frame_starts_well(Codec::kJpeg, start)) return Codec::kJpeg;
  if (const auto codec = guess_by_unit(start)) return codec;
  return is_av1(start) ? std::optional(Codec::kAv1) : std::nullopt;
}

}  // namespace formats
