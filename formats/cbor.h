// Writing CBOR (RFC 8949), without memory of its own: everything goes to a sink, which has put(bytes, count).
#ifndef ZEL_FORMATS_CBOR_H
#define ZEL_FORMATS_CBOR_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace formats {

/// The three highest bits of an item's first byte.
enum class CborMajor : std::uint8_t {
  kUnsigned = 0,
  kNegative = 1,
  kBytes = 2,
  kText = 3,
  kArray = 4,
  kMap = 5,
  kTag = 6,
  kOther = 7,
};

inline constexpr std::uint8_t kCborFalse = 0xF4;
inline constexpr std::uint8_t kCborTrue = 0xF5;
inline constexpr std::uint8_t kCborNull = 0xF6;
inline constexpr std::uint8_t kCborDouble = 0xFB;
inline constexpr std::uint8_t kCborOpenMap = 0xBF;    ///< a map up to kCborBreak
inline constexpr std::uint8_t kCborOpenArray = 0x9F;  ///< an array up to kCborBreak
inline constexpr std::uint8_t kCborBreak = 0xFF;

template <typename Sink>
void put_cbor_byte(Sink &sink, std::uint8_t byte) {
  sink.put(&byte, 1);
}

/// An item's first byte and the number that follows it, in as few bytes as it needs.
template <typename Sink>
void put_cbor_head(Sink &sink, CborMajor major, std::uint64_t number) {
  constexpr std::uint64_t kLargestInside = 23;
  const auto high = static_cast<std::uint8_t>(static_cast<unsigned>(major) << 5U);
  std::uint8_t bytes[9];
  if (number <= kLargestInside) {
    put_cbor_byte(sink, static_cast<std::uint8_t>(high | number));
    return;
  }
  const unsigned power = number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFFFFFF ? 2 : 3;
  const std::size_t length = std::size_t{1} << power;
  bytes[0] = static_cast<std::uint8_t>(high | (24U + power));
  for (std::size_t i = 0; i < length; ++i)
    bytes[1 + i] = static_cast<std::uint8_t>(number >> (8 * (length - 1 - i)));
  sink.put(bytes, 1 + length);
}

template <typename Sink, std::integral Number>
void put_cbor_number(Sink &sink, Number number) {
  if (number >= 0) {
    put_cbor_head(sink, CborMajor::kUnsigned, static_cast<std::uint64_t>(number));
  } else {
    put_cbor_head(sink, CborMajor::kNegative, ~static_cast<std::uint64_t>(number));
  }
}

template <typename Sink>
void put_cbor_double(Sink &sink, double number) {
  const auto bits = std::bit_cast<std::uint64_t>(number);
  std::uint8_t bytes[9] = {kCborDouble};
  for (unsigned i = 0; i < 8; ++i)
    bytes[1 + i] = static_cast<std::uint8_t>(bits >> (56U - 8 * i));
  sink.put(bytes, sizeof bytes);
}

/// A text, which must be UTF-8.
template <typename Sink>
void put_cbor_text(Sink &sink, std::string_view text) {
  put_cbor_head(sink, CborMajor::kText, text.size());
  sink.put(text.data(), text.size());
}

template <typename Sink>
void put_cbor_bytes(Sink &sink, const void *bytes, std::size_t size) {
  put_cbor_head(sink, CborMajor::kBytes, size);
  sink.put(bytes, size);
}

}  // namespace formats

#endif
