// A value in a recording, as a tree.
#ifndef ZEL_FORMATS_RECORDED_VALUE_H
#define ZEL_FORMATS_RECORDED_VALUE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace formats {

struct RecordedField;

struct RecordedValue {
  struct Null {
    bool operator==(const Null &) const = default;
  };
  using Bytes = std::vector<std::uint8_t>;
  using List = std::vector<RecordedValue>;
  using Fields = std::vector<RecordedField>;

  /// A number that is not negative is unsigned.
  std::variant<Null, bool, std::uint64_t, std::int64_t, double, std::string, Bytes, List, Fields> held;

  bool operator==(const RecordedValue &other) const;

  bool is_null() const { return std::holds_alternative<Null>(held); }

  /// The value as one type; null when it is another.
  template <typename T>
  const T *as() const {
    return std::get_if<T>(&held);
  }

  /// A number that is not negative; none for anything else.
  std::optional<std::uint64_t> as_unsigned() const;

  /// A whole number; none for anything else, and for what does not fit.
  std::optional<std::int64_t> as_integer() const;

  /// A text, be it UTF-8 or not; "" for anything else.
  std::string any_text() const;

  /// The value under a key; null when this is no map or has no such key.
  const RecordedValue *find(std::string_view key) const;
};

/// A key and its value.
struct RecordedField {
  std::string name;
  RecordedValue value;
};

inline bool operator==(const RecordedField &one, const RecordedField &other) {
  return one.name == other.name && one.value == other.value;
}

/// The value of one whole CBOR item, whose extent was found; none when it is none after all.
std::optional<RecordedValue> parse_cbor_item(std::span<const std::uint8_t> item);

}  // namespace formats

#endif
