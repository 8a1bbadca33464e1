/* The stub libzel's maps: a GObject around a hash table of variants. */
#include "stub.h"
#include "zel/zel.h"

struct zel_map {
  GObject parent;
  GHashTable *values; /* owned; text -> GVariant */
};

typedef struct {
  GObjectClass parent;
} zel_mapClass;

G_DEFINE_TYPE(zel_map, zel_map, G_TYPE_OBJECT)

static void zel_map_finalize(GObject *object) {
  g_hash_table_unref(((zel_map *)object)->values);
  G_OBJECT_CLASS(zel_map_parent_class)->finalize(object);
}

static void zel_map_init(zel_map *map) {
  map->values = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, (GDestroyNotify)g_variant_unref);
}

static void zel_map_class_init(zel_mapClass *type) {
  G_OBJECT_CLASS(type)->finalize = zel_map_finalize;
}

static void set(zel_map *map, const gchar *key, GVariant *value) {
  g_hash_table_replace(map->values, g_strdup(key), g_variant_ref_sink(value));
}

/* The value under the key when it is of this type, else NULL. Stays the map's. */
static GVariant *get(const zel_map *map, const gchar *key, const GVariantType *type) {
  GVariant *value = g_hash_table_lookup(map->values, key);
  return value != NULL && g_variant_is_of_type(value, type) ? value : NULL;
}

zel_map *zel_map_new(void) {
  stub_report_first_call();
  return g_object_new(zel_map_get_type(), NULL);
}

void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value) {
  set(map, key, g_variant_new_boolean(value));
}
void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value) {
  set(map, key, g_variant_new_uint32(value));
}
void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  set(map, key, g_variant_new_double(value));
}
void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  set(map, key, g_variant_new_string(value));
}
void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  set(map, key, g_variant_new("(uu)", value.first, value.second));
}
void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  set(map, key, g_variant_new("(uuuu)", value.first, value.second, value.third, value.fourth));
}

gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value) {
  GVariant *value = get(map, key, G_VARIANT_TYPE_BOOLEAN);
  return value != NULL ? g_variant_get_boolean(value) : default_value;
}
guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  GVariant *value = get(map, key, G_VARIANT_TYPE_UINT32);
  return value != NULL ? g_variant_get_uint32(value) : default_value;
}
gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  GVariant *value = get(map, key, G_VARIANT_TYPE_DOUBLE);
  return value != NULL ? g_variant_get_double(value) : default_value;
}

GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  GVariant *value = g_hash_table_lookup(map->values, key);
  if (value == NULL) value = default_value;
  return value != NULL ? g_variant_ref(value) : NULL;
}

gboolean zel_map_contains_va(const zel_map *map, ...) {
  va_list keys;
  va_start(keys, map);
  gboolean all = TRUE;
  for (const gchar *key = va_arg(keys, const gchar *); key != NULL; key = va_arg(keys, const gchar *)) {
    if (!g_hash_table_contains(map->values, key)) all = FALSE;
  }
  va_end(keys);
  return all;
}

void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  GVariant *value = g_hash_table_lookup(map->values, source_key);
  if (value != NULL) set(map, target_key, value);
}

static gboolean has_prefix(gpointer key, gpointer value, gpointer prefix) {
  (void)value;
  return g_str_has_prefix(key, prefix);
}

void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  (void)g_hash_table_foreach_remove(map->values, has_prefix, (gpointer)prefix);
}

void zel_map_merge(zel_map *destination, const zel_map *source) {
  GHashTableIter position;
  g_hash_table_iter_init(&position, source->values);
  gpointer key = NULL;
  gpointer value = NULL;
  while (g_hash_table_iter_next(&position, &key, &value))
    set(destination, key, value);
}

void zel_map_dump(const zel_map *map) {
  (void)map;
}
