// Any bytes as a frame of any codec: what its first bytes tell stays so with more of them, and nothing beyond is read.
#include <optional>
#include <vector>

#include "formats/bitstream.h"
#include "formats/units.h"
#include "input.h"

namespace {

using formats::Codec;
using Bytes = std::span<const std::uint8_t>;

void check_prefix(Codec codec, Bytes frame, std::size_t length) {
  // A block of its own, so that a read beyond it is seen.
  const std::vector<std::uint8_t> first(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length));
  const formats::KeyState key = formats::frame_key(codec, first, false);
  require(key == formats::KeyState::kUnknown || key == formats::frame_key(codec, frame, true), "key stays");
  const std::optional<std::size_t> header = formats::header_size(codec, first, false);
  require(!header || header == formats::header_size(codec, frame, true), "the header's size stays");
  require(!header || *header <= length, "the header is within the bytes");
  constexpr std::size_t kEnough = 10;
  const bool good = formats::frame_starts_well(codec, first);
  require(!good || formats::frame_starts_well(codec, frame), "a good beginning stays");
  require(length < kEnough || good == formats::frame_starts_well(codec, frame), "a bad beginning stays");
  require(!formats::has_parameter_sets(codec, first) || formats::has_parameter_sets(codec, frame), "sets stay");
}

void walk(Bytes frame) {
  std::size_t from = 0;
  while (const std::optional<formats::NalUnit> unit = formats::next_nal_unit(frame, from)) {
    require(unit->start >= from && unit->payload > unit->start && unit->payload < frame.size(), "units go on");
    from = unit->payload;
  }
  from = 0;
  while (const std::optional<formats::Obu> obu = formats::obu_at(frame, from)) {
    require(obu->payload > from && obu->payload <= frame.size() && obu->end >= obu->payload, "units go on");
    from = obu->end;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0) return 0;
  const auto codec = static_cast<Codec>(data[0] % 8);
  const std::vector<std::uint8_t> frame(data + 1, data + size);
  require(formats::frame_key(codec, frame, true) != formats::KeyState::kUnknown, "a whole frame tells");
  const std::optional<std::size_t> header = formats::header_size(codec, frame, true);
  require(header && *header <= frame.size(), "a whole frame has its header's size");
  constexpr std::size_t kPrefixes = 64;
  for (std::size_t length = 0; length <= frame.size() && length <= kPrefixes; ++length)
    check_prefix(codec, frame, length);
  check_prefix(codec, frame, frame.size() / 2);
  walk(frame);
  return 0;
}
