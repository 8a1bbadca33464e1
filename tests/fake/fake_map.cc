// The fake libzel's settings map: a real one, kept in key order.
#include <cstdarg>
#include <cstdio>

#include "fake_state.h"

namespace {
using Values = std::map<std::string, fake::VariantPtr>;
}

struct zel_map {
  GObject parent;
  Values values;
};

struct zel_mapClass {
  GObjectClass parent;
};

G_DEFINE_TYPE(zel_map, zel_map, G_TYPE_OBJECT)

static void zel_map_finalize(GObject *object) {
  fake::record("finalize map");
  --fake::live().maps;
  std::destroy_at(&reinterpret_cast<zel_map *>(object)->values);
  G_OBJECT_CLASS(zel_map_parent_class)->finalize(object);
}

static void zel_map_init(zel_map *map) {
  std::construct_at(&map->values);
  ++fake::live().maps;
}

static void zel_map_class_init(zel_mapClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_map_finalize;
}

namespace {

void store(zel_map *map, const char *key, GVariant *value) {
  map->values[key] = fake::VariantPtr(g_variant_ref_sink(value));
}

/// Null when the key is absent or holds another type.
GVariant *find(const zel_map *map, const char *key, const char *type) {
  const auto found = map->values.find(key);
  if (found == map->values.end()) return nullptr;
  return g_variant_is_of_type(found->second.get(), G_VARIANT_TYPE(type)) ? found->second.get() : nullptr;
}

std::string text_of(GVariant *value) {
  gchar *printed = g_variant_print(value, FALSE);
  std::string text = printed;
  g_free(printed);
  return text;
}

void record_set(const char *type, const char *key, const std::string &value) {
  fake::record(std::string("zel_map_set_") + type + " key=" + key + " value=" + value);
}

void record_get(const char *type, const char *key) {
  fake::record(std::string("zel_map_get_") + type + " key=" + key);
}

}  // namespace

void fake::map_set_variant(zel_map *map, const char *key, GVariant *value) {
  store(map, key, value);
}

zel_map *zel_map_new(void) {
  if (fake::record_and_maybe_fail("zel_map_new", nullptr)) return nullptr;
  return static_cast<zel_map *>(g_object_new(zel_map_get_type(), nullptr));
}

void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value) {
  record_set("boolean", key, value != FALSE ? "TRUE" : "FALSE");
  store(map, key, g_variant_new_boolean(value));
}

void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value) {
  record_set("uint32", key, std::to_string(value));
  store(map, key, g_variant_new_uint32(value));
}

void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  GVariant *stored = g_variant_new_double(value);
  record_set("double", key, text_of(stored));
  store(map, key, stored);
}

void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  record_set("string", key, value);
  store(map, key, g_variant_new_string(value));
}

void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  record_set("pair32u", key, std::to_string(value.first) + "x" + std::to_string(value.second));
  store(map, key, g_variant_new("(uu)", value.first, value.second));
}

void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  record_set("quad32u", key,
             std::to_string(value.first) + "," + std::to_string(value.second) + "," + std::to_string(value.third) +
                 "," + std::to_string(value.fourth));
  store(map, key, g_variant_new("(uuuu)", value.first, value.second, value.third, value.fourth));
}

gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value) {
  record_get("boolean", key);
  GVariant *value = find(map, key, "b");
  return value != nullptr ? g_variant_get_boolean(value) : default_value;
}

guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  record_get("uint32", key);
  GVariant *value = find(map, key, "u");
  return value != nullptr ? g_variant_get_uint32(value) : default_value;
}

gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  record_get("double", key);
  GVariant *value = find(map, key, "d");
  return value != nullptr ? g_variant_get_double(value) : default_value;
}

GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  record_get("variant", key);
  const auto found = map->values.find(key);
  if (found != map->values.end()) return g_variant_ref(found->second.get());
  return default_value != nullptr ? g_variant_ref_sink(default_value) : nullptr;
}

gboolean zel_map_contains_va(const zel_map *map, ...) {
  std::string call = "zel_map_contains_va";
  gboolean all = TRUE;
  va_list keys;
  va_start(keys, map);
  while (const char *key = va_arg(keys, const char *)) {
    call += std::string(" key=") + key;
    if (!map->values.contains(key)) all = FALSE;
  }
  va_end(keys);
  fake::record(call);
  return all;
}

void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  fake::record(std::string("zel_map_copy_value from=") + source_key + " to=" + target_key);
  const auto source = map->values.find(source_key);
  if (source != map->values.end()) store(map, target_key, source->second.get());
}

void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  fake::record(std::string("zel_map_remove_prefix prefix=") + prefix);
  std::erase_if(map->values, [prefix](const auto &entry) { return entry.first.starts_with(prefix); });
}

void zel_map_merge(zel_map *destination, const zel_map *source) {
  fake::record("zel_map_merge");
  for (const auto &[key, value] : source->values)
    store(destination, key.c_str(), value.get());
}

void zel_map_dump(const zel_map *map) {
  fake::record("zel_map_dump");
  for (const auto &[key, value] : map->values) {
    (void)std::printf("%s: %s\n", key.c_str(), text_of(value.get()).c_str());
  }
}
