// What a frame's bytes say about it.
#include "formats/bitstream.h"

#include "formats/units.h"

namespace formats {
namespace {

using Bytes = std::span<const std::uint8_t>;

/// What a NAL unit is in a frame. The parameter sets are bits, to be gathered.
enum NalKind : unsigned {
  kOtherUnit = 0,
  kVideoSet = 1,
  kSequenceSet = 2,
  kPictureSet = 4,
  kKeyPicture = 8,
  kOtherPicture = 16,
};
constexpr unsigned kSets = kVideoSet | kSequenceSet | kPictureSet;
constexpr unsigned kPictures = kKeyPicture | kOtherPicture;

NalKind h264_kind(std::uint8_t header) {
  const unsigned type = h264_unit_type(header);
  if (type >= 1 && type <= 5) return type == 5 ? kKeyPicture : kOtherPicture;
  if (type == 7) return kSequenceSet;
  return type == 8 ? kPictureSet : kOtherUnit;
}

NalKind h265_kind(std::uint8_t header) {
  const unsigned type = h265_unit_type(header);
  if (type < 32) return type >= 16 && type <= 21 ? kKeyPicture : kOtherPicture;
  if (type == 32) return kVideoSet;
  if (type == 33) return kSequenceSet;
  return type == 34 ? kPictureSet : kOtherUnit;
}

NalKind nal_kind(Codec codec, std::uint8_t header) {
  return codec == Codec::kH264 ? h264_kind(header) : h265_kind(header);
}

bool has_nal_units(Codec codec) {
  return codec == Codec::kH264 || codec == Codec::kH265;
}

/// The kinds of the units up to the first picture, that one included.
unsigned nal_kinds(Codec codec, Bytes bytes) {
  unsigned kinds = 0;
  std::size_t from = 0;
  while ((kinds & kPictures) == 0) {
    const std::optional<NalUnit> unit = next_nal_unit(bytes, from);
    if (!unit) break;
    kinds |= nal_kind(codec, bytes[unit->payload]);
    from = unit->payload;
  }
  return kinds;
}

KeyState nal_key(Codec codec, Bytes bytes) {
  const unsigned kinds = nal_kinds(codec, bytes);
  if ((kinds & kPictures) == 0) return KeyState::kUnknown;
  return (kinds & kKeyPicture) != 0 ? KeyState::kKey : KeyState::kOther;
}

std::optional<std::size_t> nal_header_size(Codec codec, Bytes bytes, bool whole) {
  std::optional<NalUnit> unit = next_nal_unit(bytes, 0);
  if (!unit) return whole ? std::optional<std::size_t>(0) : std::nullopt;
  if ((nal_kind(codec, bytes[unit->payload]) & kSets) == 0) return 0;
  while (unit) {
    if ((nal_kind(codec, bytes[unit->payload]) & kSets) == 0) return unit->start;
    unit = next_nal_unit(bytes, unit->payload);
  }
  return whole ? std::optional(bytes.size()) : std::nullopt;
}

/// Types of AV1 units.
enum ObuType : unsigned {
  kSequenceHeader = 1,
  kTemporalDelimiter = 2,
  kFrameHeader = 3,
  kTileList = 8,
  kFrame = 6,
  kPadding = 15,
};

KeyState av1_key(Bytes bytes) {
  bool is_still = false;  // every frame of the sequence is a key frame, and frame headers do not say so
  for (std::optional<Obu> obu = obu_at(bytes, 0); obu && obu->payload < bytes.size(); obu = obu_at(bytes, obu->end)) {
    if (obu->end == obu->payload) continue;
    const std::uint8_t first = bytes[obu->payload];
    if (obu->type == kSequenceHeader) is_still = (first & 8U) != 0;
    if (obu->type != kFrameHeader && obu->type != kFrame) continue;
    constexpr unsigned kShowsEarlierAndType = 0xE0;  // 0 in a key frame of its own
    return is_still || (first & kShowsEarlierAndType) == 0 ? KeyState::kKey : KeyState::kOther;
  }
  return KeyState::kUnknown;
}

/// Every frame header begins with "show an earlier frame", the type in two bits, "show this one".
bool av1_is_shown(Bytes bytes) {
  bool has_frames = false;
  for (std::optional<Obu> obu = obu_at(bytes, 0); obu && obu->payload < bytes.size(); obu = obu_at(bytes, obu->end)) {
    if (obu->end == obu->payload) continue;
    const std::uint8_t first = bytes[obu->payload];
    const bool is_still = obu->type == kSequenceHeader && (first & 8U) != 0;  // its frames have no such beginning
    if (is_still) return true;
    if (obu->type != kFrameHeader && obu->type != kFrame) continue;
    constexpr unsigned kShown = 0x90;
    if ((first & kShown) != 0) return true;
    has_frames = true;
  }
  return !has_frames;
}

std::optional<std::size_t> av1_header_size(Bytes bytes, bool whole) {
  const std::optional<std::size_t> unknown = whole ? std::optional<std::size_t>(0) : std::nullopt;
  for (std::size_t from = 0;;) {
    const std::optional<Obu> obu = obu_at(bytes, from);
    if (!obu) return unknown;
    if ((obu->type != kTemporalDelimiter && obu->type != kSequenceHeader) || !obu->has_size) return 0;
    if (obu->end > bytes.size()) return unknown;
    if (obu->type == kSequenceHeader) return obu->end;
    from = obu->end;
  }
}

bool av1_has_sequence_header(Bytes bytes) {
  for (std::optional<Obu> obu = obu_at(bytes, 0); obu; obu = obu_at(bytes, obu->end)) {
    if (obu->type == kSequenceHeader) return true;
    if (obu->type == kFrameHeader || obu->type == kFrame) return false;
  }
  return false;
}

/// Whether the header of an H.264 unit is one that its standard gives to some unit.
bool h264_header_exists(std::uint8_t header) {
  const bool is_forbidden = (header & 0x80U) != 0;
  const unsigned type = h264_unit_type(header);
  return !is_forbidden && type >= 1 && type <= 21;
}

/// The same for the two bytes of an H.265 unit, whose time layer is counted from 1.
bool h265_header_exists(std::uint8_t first, std::uint8_t second) {
  const bool is_forbidden = (first & 0x80U) != 0;
  const unsigned type = h265_unit_type(first);
  const unsigned time_layer = second & 7U;
  return !is_forbidden && (type <= 9 || (type >= 16 && type <= 21) || (type >= 32 && type <= 40)) && time_layer != 0;
}

bool nal_starts_well(Codec codec, Bytes bytes) {
  const std::optional<NalUnit> unit = next_nal_unit(bytes.first(bytes.size() < 5 ? bytes.size() : 5), 0);
  if (!unit || unit->start != 0) return false;
  if (codec == Codec::kH264) return h264_header_exists(bytes[unit->payload]);
  return unit->payload + 1 < bytes.size() && h265_header_exists(bytes[unit->payload], bytes[unit->payload + 1]);
}

bool av1_starts_well(Bytes bytes) {
  const std::optional<Obu> obu = obu_at(bytes, 0);
  return obu && obu->has_size && ((obu->type >= kSequenceHeader && obu->type <= kTileList) || obu->type == kPadding);
}

}  // namespace

KeyState frame_key(Codec codec, Bytes bytes, bool whole) {
  if (!has_nal_units(codec) && codec != Codec::kAv1) return KeyState::kKey;
  const KeyState state = codec == Codec::kAv1 ? av1_key(bytes) : nal_key(codec, bytes);
  return state == KeyState::kUnknown && whole ? KeyState::kOther : state;
}

bool frame_is_shown(Codec codec, Bytes bytes) {
  return codec != Codec::kAv1 || av1_is_shown(bytes);
}

bool frame_starts_well(Codec codec, Bytes bytes) {
  if (has_nal_units(codec)) return nal_starts_well(codec, bytes);
  if (codec == Codec::kAv1) return av1_starts_well(bytes);
  if (codec != Codec::kJpeg) return true;
  return bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF;
}

std::optional<std::size_t> header_size(Codec codec, Bytes bytes, bool whole) {
  if (has_nal_units(codec)) return nal_header_size(codec, bytes, whole);
  return codec == Codec::kAv1 ? av1_header_size(bytes, whole) : 0;
}

bool has_parameter_sets(Codec codec, Bytes bytes) {
  constexpr unsigned kH264Sets = kSequenceSet | kPictureSet;
  if (codec == Codec::kAv1) return av1_has_sequence_header(bytes);
  if (!has_nal_units(codec)) return true;
  const unsigned needed = codec == Codec::kH264 ? kH264Sets : kSets;
  return (nal_kinds(codec, bytes) & needed) == needed;
}

}  // namespace formats
