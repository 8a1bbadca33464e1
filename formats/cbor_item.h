// Where an item of a CBOR sequence ends, found without recursion and without looking into texts and bytes.
#ifndef ZEL_FORMATS_CBOR_ITEM_H
#define ZEL_FORMATS_CBOR_ITEM_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace formats {

enum class CborEnd : std::uint8_t {
  kFound,
  kBehind,  ///< the item goes on behind the bytes
  kNone,    ///< the bytes are no item that is taken
};

struct CborExtent {
  CborEnd end = CborEnd::kNone;
  std::size_t size = 0;  ///< of the item, when its end was found
};

/// How deeply arrays and maps may lie within each other.
inline constexpr std::size_t kCborDepth = 8;

/// The extent of the item that begins with `bytes`. What no recording has is not taken: tags, texts and bytes in parts,
/// keys that are no text, and more than kCborDepth levels.
CborExtent cbor_item_extent(std::span<const std::uint8_t> bytes);

}  // namespace formats

#endif
