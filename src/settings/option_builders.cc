// The builders of the stream options.
#include "settings/option_builders.h"

#include <array>

#include "settings/option_parsers.h"

GOptionContext *option_context = nullptr;

namespace {

/// What one option's group and entry are made of.
struct OptionShape {
  gchar short_name;
  const char *key;
  const char *description;
  gint flags;
  GOptionArgFunc parser;
  gpointer user_data;
  GDestroyNotify destroy_user_data;
};

void add_group(const OptionShape &shape) {
  GOptionGroup *group = g_option_group_new(shape.key, "", "", shape.user_data, shape.destroy_user_data);
  const std::array<GOptionEntry, 2> entries = {{
      {shape.key, shape.short_name, G_OPTION_FLAG_IN_MAIN | shape.flags, G_OPTION_ARG_CALLBACK,
       reinterpret_cast<gpointer>(shape.parser), shape.description, nullptr},
      {},
  }};
  g_option_group_add_entries(group, entries.data());
  g_option_context_add_group(option_context, group);  // takes the group
}

/// A group whose user data is the key: GOption takes it as writable, the parsers only read it.
void add_keyed_group(gchar short_name, const char *key, const char *description, gint flags, GOptionArgFunc parser) {
  add_group({.short_name = short_name,
             .key = key,
             .description = description,
             .flags = flags,
             .parser = parser,
             .user_data = const_cast<char *>(key),
             .destroy_user_data = nullptr});
}

}  // namespace

void add_bool_option(gchar short_name, const char *key, const char *description) {
  add_keyed_group(short_name, key, description, 0, parse_bool_option);
}

void add_uint_option(gchar short_name, const char *key, const char *description) {
  add_keyed_group(short_name, key, description, 0, parse_uint_option);
}

void add_double_option(gchar short_name, const char *key, const char *description) {
  add_keyed_group(short_name, key, description, 0, parse_double_option);
}

void add_string_option(gchar short_name, const char *key, const char *description) {
  add_keyed_group(short_name, key, description, G_OPTION_FLAG_OPTIONAL_ARG, parse_string_option);
}

void add_enum_option(gchar short_name, GType enum_type, const char *key) {
  auto *data = static_cast<EnumOptionData *>(g_malloc0(sizeof(EnumOptionData)));
  data->enum_type = enum_type;
  data->key = key;
  add_group({.short_name = short_name,
             .key = key,
             .description = g_intern_string(enum_choices(enum_type).get()),  // the context keeps the pointer
             .flags = G_OPTION_FLAG_OPTIONAL_ARG,
             .parser = parse_enum_option,
             .user_data = data,
             .destroy_user_data = g_free});
}

void add_triple_option(const char *key, const char *description) {
  add_keyed_group(0, key, description, 0, parse_triple_option);
}
