// The typed values that maps hold, and the ordered store of them.
#ifndef ZEL_CAMERA_VALUES_H
#define ZEL_CAMERA_VALUES_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include "zel/zel.h"

namespace camera {

using Value = std::variant<bool, std::uint32_t, double, std::string, zel_pair32u, zel_quad32u>;

/// Keys in the order of their bytes, so that a dump always reads the same.
using Values = std::map<std::string, Value, std::less<>>;

/// The value under `key` when it is a T, else null.
template <typename T>
const T *find_value(const Values &values, std::string_view key) {
  const auto found = values.find(key);
  return found == values.end() ? nullptr : std::get_if<T>(&found->second);
}

/// The value under `key` when it is a T, else `fallback`.
template <typename T>
T value_or(const Values &values, std::string_view key, T fallback) {
  const T *found = find_value<T>(values, key);
  return found == nullptr ? fallback : *found;
}

/// Stores `value`, replacing what `key` held. Allocates nothing when the key exists and no text is involved.
template <typename T>
void store_value(Values &values, std::string_view key, T &&value) {
  if (const auto found = values.find(key); found != values.end()) {
    found->second = std::forward<T>(value);
  } else {
    values.emplace(std::string(key), Value(std::forward<T>(value)));
  }
}

}  // namespace camera

#endif
