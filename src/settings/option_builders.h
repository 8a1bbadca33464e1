// One builder for each kind of stream option: registers it with the option context.
//
// An option is one option group with one entry, because GOption hands a callback nothing but the group's user data: the
// group carries the key that the parser writes. Keys and descriptions must stay valid as long as the context.
#ifndef ZEL_CLIENT_SETTINGS_OPTION_BUILDERS_H
#define ZEL_CLIENT_SETTINGS_OPTION_BUILDERS_H

#include <glib-object.h>
#include <glib.h>

/// The program's one option context. Made by the command line before any builder runs; lives until the process ends.
extern GOptionContext *option_context;

/// A `short_name` of 0 stands for none.
void add_bool_option(gchar short_name, const char *key, const char *description);
void add_uint_option(gchar short_name, const char *key, const char *description);
void add_double_option(gchar short_name, const char *key, const char *description);

/// String and enum options may stand without a value; the parser then fails, an enum showing what it accepts.
void add_string_option(gchar short_name, const char *key, const char *description);

/// The description is the enumeration's name and nicks, asked from the library.
void add_enum_option(gchar short_name, GType enum_type, const char *key);

/// Triples have no short name.
void add_triple_option(const char *key, const char *description);

#endif
