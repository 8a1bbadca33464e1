// Walking over an item's heads.
#include "formats/cbor_item.h"

#include <array>
#include <optional>

#include "formats/cbor.h"

namespace formats {
namespace {

/// An array or a map that has begun.
struct Level {
  bool is_map = false;
  bool is_open = false;    ///< ends with a break
  bool at_key = false;     ///< of a map: a key comes next
  std::uint64_t left = 0;  ///< items, keys counted too; of one that is not open
};

/// The first byte of an item and its number.
struct Head {
  CborMajor major = CborMajor::kOther;
  unsigned low = 0;
  std::uint64_t number = 0;
  std::size_t size = 0;  ///< bytes
};

constexpr unsigned kOneByte = 24;
constexpr unsigned kEightBytes = 27;
constexpr unsigned kOpen = 31;

class Walker {
 public:
  explicit Walker(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  CborExtent walk() {
    do {
      if (at_ >= bytes_.size()) return {CborEnd::kBehind, 0};
      const CborEnd step = bytes_[at_] == kCborBreak ? close_open() : take();
      if (step != CborEnd::kFound) return {step, 0};
      while (depth_ != 0 && !level().is_open && level().left == 0)
        end_level();
    } while (depth_ != 0);
    return {CborEnd::kFound, at_};
  }

 private:
  Level &level() { return levels_[depth_ - 1]; }

  /// The level is complete, and with it one item of the level around it, which was counted when it began.
  void end_level() { --depth_; }

  CborEnd close_open() {
    if (depth_ == 0 || !level().is_open || (level().is_map && !level().at_key)) return CborEnd::kNone;
    ++at_;
    end_level();
    return CborEnd::kFound;
  }

  /// The head at the current place. `is_cut` says that it goes on behind the bytes; none otherwise: no head.
  std::optional<Head> head(bool &is_cut) const {
    Head found;
    found.major = static_cast<CborMajor>(bytes_[at_] >> 5U);
    found.low = bytes_[at_] & 0x1FU;
    found.number = found.low;
    found.size = 1;
    if (found.low < kOneByte || found.low == kOpen) return found;
    if (found.low > kEightBytes) return std::nullopt;
    const std::size_t more = std::size_t{1} << (found.low - kOneByte);
    is_cut = bytes_.size() - at_ - 1 < more;
    if (is_cut) return std::nullopt;
    found.number = 0;
    for (std::size_t i = 0; i < more; ++i)
      found.number = found.number << 8U | bytes_[at_ + 1 + i];
    found.size += more;
    return found;
  }

  /// Counts the item that begins here in the level around it. False where it cannot stand.
  bool count(const Head &head) {
    if (depth_ == 0) return true;
    Level &around = level();
    if (!around.is_open) --around.left;
    if (!around.is_map) return true;
    const bool is_key = around.at_key;
    around.at_key = !is_key;
    return !is_key || head.major == CborMajor::kText;
  }

  CborEnd take() {
    bool is_cut = false;
    const std::optional<Head> found = head(is_cut);
    if (!found) return is_cut ? CborEnd::kBehind : CborEnd::kNone;
    if (!count(*found)) return CborEnd::kNone;
    switch (found->major) {
      case CborMajor::kUnsigned:
      case CborMajor::kNegative:
        if (found->low == kOpen) return CborEnd::kNone;
        at_ += found->size;
        return CborEnd::kFound;
      case CborMajor::kBytes:
      case CborMajor::kText:
        return take_string(*found);
      case CborMajor::kArray:
      case CborMajor::kMap:
        return begin_level(*found);
      case CborMajor::kTag:
        return CborEnd::kNone;
      case CborMajor::kOther:
        break;
    }
    const std::uint8_t byte = bytes_[at_];
    if (byte != kCborFalse && byte != kCborTrue && byte != kCborNull && byte != kCborDouble) return CborEnd::kNone;
    at_ += found->size;
    return CborEnd::kFound;
  }

  CborEnd take_string(const Head &head) {
    if (head.low == kOpen) return CborEnd::kNone;
    if (bytes_.size() - at_ - head.size < head.number) return CborEnd::kBehind;
    at_ += head.size + static_cast<std::size_t>(head.number);
    return CborEnd::kFound;
  }

  CborEnd begin_level(const Head &head) {
    if (depth_ == levels_.size()) return CborEnd::kNone;
    const bool is_map = head.major == CborMajor::kMap;
    if (is_map && head.low != kOpen && head.number > UINT64_MAX / 2) return CborEnd::kNone;
    levels_[depth_++] = {is_map, head.low == kOpen, is_map, is_map ? head.number * 2 : head.number};
    at_ += head.size;
    return CborEnd::kFound;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
  std::array<Level, kCborDepth> levels_{};
  std::size_t depth_ = 0;
};

}  // namespace

CborExtent cbor_item_extent(std::span<const std::uint8_t> bytes) {
  return Walker(bytes).walk();
}

}  // namespace formats
