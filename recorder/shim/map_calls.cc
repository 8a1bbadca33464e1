// The calls about maps.
#include <cstdarg>

#include "recorder/shim/crossing.h"
#include "recorder/shim/dump_text.h"

using namespace recorder;

ZEL_SHIM zel_map *zel_map_new(void) {
  return cross<"zel_map_new", zel_map_new>();
}
ZEL_SHIM void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value) {
  cross<"zel_map_set_boolean", zel_map_set_boolean>(map, key, value);
}
ZEL_SHIM void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value) {
  cross<"zel_map_set_uint32", zel_map_set_uint32>(map, key, value);
}
ZEL_SHIM void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  cross<"zel_map_set_double", zel_map_set_double>(map, key, value);
}
ZEL_SHIM void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  cross<"zel_map_set_string", zel_map_set_string>(map, key, value);
}
ZEL_SHIM void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  cross<"zel_map_set_pair32u", zel_map_set_pair32u>(map, key, value);
}
ZEL_SHIM void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  cross<"zel_map_set_quad32u", zel_map_set_quad32u>(map, key, value);
}
ZEL_SHIM gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value) {
  return cross<"zel_map_get_boolean", zel_map_get_boolean>(map, key, default_value);
}
ZEL_SHIM guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  return cross<"zel_map_get_uint32", zel_map_get_uint32>(map, key, default_value);
}
ZEL_SHIM gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  return cross<"zel_map_get_double", zel_map_get_double>(map, key, default_value);
}
ZEL_SHIM GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  return cross<"zel_map_get_variant", zel_map_get_variant>(map, key, default_value);
}
ZEL_SHIM void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  cross<"zel_map_copy_value", zel_map_copy_value>(map, source_key, target_key);
}
ZEL_SHIM void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  cross<"zel_map_remove_prefix", zel_map_remove_prefix>(map, prefix);
}
ZEL_SHIM void zel_map_merge(zel_map *destination, const zel_map *source) {
  cross<"zel_map_merge", zel_map_merge>(destination, source);
}

// ---- Keys without a number ---------------------------------------------------------------------------------------

namespace {

/// What one call can be given: behind the last key stand null pointers, which the library does not look at.
constexpr std::size_t kMostKeys = 16;

struct Keys {
  const gchar *keys[kMostKeys + 1] = {};
  std::size_t count = 0;
};

template <typename Sink>
void encode(Sink &sink, const Keys &keys) {
  formats::put_cbor_head(sink, formats::CborMajor::kArray, keys.count);
  for (std::size_t i = 0; i < keys.count; ++i)
    recorder::encode(sink, Text{keys.keys[i]});
}

template <std::size_t... kIndex>
gboolean contains(const zel_map *map, const Keys &keys, std::index_sequence<kIndex...>) {
  const auto next = next_function<"zel_map_contains_va", decltype(zel_map_contains_va)>();
  return next(map, keys.keys[kIndex]..., static_cast<const gchar *>(nullptr));
}

gboolean contains_recorded(const zel_map *map, const Keys &keys) {
  constexpr std::make_index_sequence<kMostKeys> kAll;
  if (!is_recorded()) return contains(map, keys, kAll);
  const int errno_before = errno;
  const ObjectNumber object = snapshot(map);
  errno = errno_before;
  InsideCall call("zel_map_contains_va");
  const gboolean result = contains(map, keys, kAll);
  const CallTimes &times = call.returned();
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    encode_call_head(sink, "zel_map_contains_va", thread, times);
    formats::put_cbor_text(sink, formats::kKeyWith);
    formats::put_cbor_head(sink, formats::CborMajor::kArray, 2);
    recorder::encode(sink, object);
    encode(sink, keys);
    put_field(sink, formats::kKeyGave, result);
    encode_failure(sink, SlotState::kNotTaken, nullptr, false, times);
  });
  return result;
}

}  // namespace

/// More keys than fit into one call become several, of which each must say yes.
ZEL_SHIM gboolean zel_map_contains_va(const zel_map *map, ...) {
  va_list arguments;
  va_start(arguments, map);
  gboolean result = TRUE;
  const gchar *key = va_arg(arguments, const gchar *);
  do {
    Keys keys;
    for (; key != nullptr && keys.count < kMostKeys; key = va_arg(arguments, const gchar *))
      keys.keys[keys.count++] = key;
    result = contains_recorded(map, keys);
  } while (result != FALSE && key != nullptr);
  va_end(arguments);
  return result;
}

// ---- Printing ----------------------------------------------------------------------------------------------------

ZEL_SHIM void zel_map_dump(const zel_map *map) {
  const auto next = next_function<"zel_map_dump", decltype(zel_map_dump)>();
  if (!is_recorded()) {
    next(map);
    return;
  }
  const int errno_before = errno;
  const ObjectNumber object = snapshot(map);
  DumpText text;
  errno = errno_before;
  InsideCall call("zel_map_dump");
  thread_state.dump = &text;
  next(map);
  thread_state.dump = nullptr;
  const CallTimes &times = call.returned();
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    encode_call_head(sink, "zel_map_dump", thread, times);
    formats::put_cbor_text(sink, formats::kKeyWith);
    formats::put_cbor_head(sink, formats::CborMajor::kArray, 1);
    encode(sink, object);
    formats::put_cbor_text(sink, formats::kKeyGave);
    encode(sink, Text{text.text()});
    encode_failure(sink, SlotState::kNotTaken, nullptr, false, times);
  });
}
