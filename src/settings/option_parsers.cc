// The parsers of the stream options.
#include "settings/option_parsers.h"

#include <cstdio>
#include <cstdlib>

#include "common/errors.h"
#include "settings/settings_map.h"
#include "zel/zel.h"

namespace {

/// Whether sscanf's result counts as success: anything but "nothing matched". End of input (-1, an empty text) is kept
/// as success, so that "--bitrate=" stores 0.
bool scanned(int result) {
  return result != 0;
}

const char *key_of(gpointer key) {
  return static_cast<const char *>(key);
}

// Trailing characters and out-of-range numbers are accepted as sscanf takes them; kept so.
// NOLINTBEGIN(cert-err34-c)

bool scan_integer(const gchar *value, gint *number) {
  return value != nullptr && scanned(std::sscanf(value, "%i", number));
}

bool scan_double(const gchar *value, gdouble *number) {
  return value != nullptr && scanned(std::sscanf(value, "%lf", number));
}

bool scan_triple(const gchar *value, gint *min, gint *target, gint *max) {
  return value != nullptr && scanned(std::sscanf(value, "%i,%i,%i", min, target, max));
}

// NOLINTEND(cert-err34-c)

}  // namespace

gboolean parse_bool_option(const gchar * /*name*/, const gchar *value, gpointer key, GError ** /*error*/) {
  gint number = 0;
  if (!scan_integer(value, &number)) return FALSE;
  zel_map_set_boolean(settings_map(), key_of(key), number);
  return TRUE;
}

gboolean parse_uint_option(const gchar * /*name*/, const gchar *value, gpointer key, GError ** /*error*/) {
  gint number = 0;
  if (!scan_integer(value, &number)) return FALSE;
  zel_map_set_uint32(settings_map(), key_of(key), static_cast<guint32>(number));
  return TRUE;
}

gboolean parse_double_option(const gchar * /*name*/, const gchar *value, gpointer key, GError ** /*error*/) {
  gdouble number = 0.0;
  if (!scan_double(value, &number)) return FALSE;
  zel_map_set_double(settings_map(), key_of(key), number);
  return TRUE;
}

gboolean parse_string_option(const gchar * /*name*/, const gchar *value, gpointer key, GError ** /*error*/) {
  if (value == nullptr) return FALSE;
  zel_map_set_string(settings_map(), key_of(key), value);
  return TRUE;
}

gboolean parse_enum_option(const gchar *name, const gchar *value, gpointer data, GError **error) {
  const auto *option = static_cast<const EnumOptionData *>(data);
  const EnumClassPtr type = enum_class(option->enum_type);
  if (value != nullptr && type != nullptr) {
    if (const GEnumValue *found = g_enum_get_value_by_nick(type.get(), value)) {
      zel_map_set_uint32(settings_map(), option->key, static_cast<guint32>(found->value));
      return TRUE;
    }
  }
  // GOption calls with no text, and its own error in the slot, when it cannot convert the text from the locale.
  g_clear_error(error);
  set_client_error(error, "Failed to parse %s: %s %s", g_type_name(option->enum_type), name, value);
  (void)std::fprintf(stderr, "%s\n", enum_choices(option->enum_type).get());
  return FALSE;
}

gboolean parse_triple_option(const gchar * /*name*/, const gchar *value, gpointer key, GError ** /*error*/) {
  gint min = 0;
  gint target = 0;
  gint max = 0;
  if (!scan_triple(value, &min, &target, &max)) return FALSE;
  const zel_quad32u quad = {static_cast<guint32>(min), static_cast<guint32>(target), static_cast<guint32>(max), 0};
  zel_map_set_quad32u(settings_map(), key_of(key), quad);
  return TRUE;
}

TextPtr enum_choices(GType enum_type) {
  char *text = nullptr;
  size_t size = 0;
  FILE *stream = open_memstream(&text, &size);
  if (stream == nullptr) std::exit(EXIT_FAILURE);
  const EnumClassPtr type = enum_class(enum_type);
  const guint count = type != nullptr ? type->n_values : 0;
  (void)std::fputs(type != nullptr ? g_type_name(enum_type) : "", stream);
  for (guint i = 0; i < count; ++i) {
    (void)std::fprintf(stream, "%s%s", i == 0 ? "(" : ", ", type->values[i].value_nick);
  }
  (void)std::fputs(")", stream);
  (void)std::fclose(stream);
  return TextPtr(text);
}
