// Maps that store, find and give out something else.
#include <cstdarg>
#include <string>
#include <utility>

#include "spoil.h"

namespace {

bool holds(const zel_map *map, const gchar *key, const GVariantType *type) {
  GVariant *value = BEHIND(zel_map_get_variant)(map, key, nullptr);
  const bool is_so = value != nullptr && g_variant_is_of_type(value, type) != FALSE;
  if (value != nullptr) g_variant_unref(value);
  return is_so;
}

}  // namespace

SPOILED zel_map *zel_map_new() {
  zel_map *map = BEHIND(zel_map_new)();
  if (spoils("map-kept")) g_object_ref(map);
  return map;
}

SPOILED guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  if (spoils("doubles-become-unsigned") && holds(map, key, G_VARIANT_TYPE_DOUBLE)) return 1;
  const guint32 value = BEHIND(zel_map_get_uint32)(map, key, default_value);
  return spoils("unsigned-of-31-bits") && value != default_value ? value & 0x7FFFFFFFU : value;
}

SPOILED gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  const gdouble value = BEHIND(zel_map_get_double)(map, key, default_value);
  return spoils("doubles-of-32-bits") ? static_cast<gdouble>(static_cast<gfloat>(value)) : value;
}

SPOILED void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  if (spoils("unsigned-stays") && holds(map, key, G_VARIANT_TYPE_UINT32)) return;
  BEHIND(zel_map_set_double)(map, key, value);
}

SPOILED void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  std::string text = value;
  if (spoils("texts-cut") && !text.empty()) text.pop_back();
  BEHIND(zel_map_set_string)(map, key, text.c_str());
}

SPOILED void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  if (spoils("pairs-swapped")) std::swap(value.first, value.second);
  BEHIND(zel_map_set_pair32u)(map, key, value);
}

SPOILED void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  if (spoils("quads-by-reference")) value = {.first = 0, .second = value.first, .third = value.second, .fourth = 0};
  BEHIND(zel_map_set_quad32u)(map, key, value);
}

SPOILED GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  GVariant *value = BEHIND(zel_map_get_variant)(map, key, default_value);
  if (value != nullptr && value == default_value && spoils("default-borrowed")) g_variant_unref(value);
  if (value == nullptr || !spoils("booleans-wide") || !g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN))
    return value;
  GVariant *wide = g_variant_ref_sink(g_variant_new_uint32(g_variant_get_boolean(value) != FALSE ? 1 : 0));
  g_variant_unref(value);
  return wide;
}

SPOILED gboolean zel_map_contains_va(const zel_map *map, ...) {
  va_list arguments;
  va_start(arguments, map);
  gboolean contains = TRUE;
  for (const gchar *key = va_arg(arguments, const gchar *); key != nullptr; key = va_arg(arguments, const gchar *)) {
    if (BEHIND(zel_map_contains_va)(map, key, nullptr) == FALSE) contains = FALSE;
    if (spoils("first-key-only")) break;
  }
  va_end(arguments);
  return contains;
}

SPOILED void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  if (spoils("target-stays") && BEHIND(zel_map_contains_va)(map, target_key, nullptr) != FALSE) return;
  BEHIND(zel_map_copy_value)(map, source_key, target_key);
}

SPOILED void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  std::string text = prefix;
  if (spoils("prefix-without-point")) text.pop_back();
  BEHIND(zel_map_remove_prefix)(map, text.c_str());
}

SPOILED void zel_map_merge(zel_map *destination, const zel_map *source) {
  auto *other = const_cast<zel_map *>(source);
  if (spoils("merge-turned-round")) std::swap(destination, other);
  BEHIND(zel_map_merge)(destination, other);
}

SPOILED void zel_map_dump(const zel_map *map) {
  if (!spoils("no-dump")) BEHIND(zel_map_dump)(map);
}
