// One parser for each kind of stream option: converts the option's text and stores it in the settings map.
//
// All have GOption's callback signature (GOptionArgFunc): the option's name as typed, its text (null when an option
// with an optional value is given without one), the option group's user data, and the error to fill. They return
// whether the text was taken; a failure without an error makes GOption report its own, naming the option.
#ifndef ZEL_CLIENT_SETTINGS_OPTION_PARSERS_H
#define ZEL_CLIENT_SETTINGS_OPTION_PARSERS_H

#include <glib-object.h>
#include <glib.h>

#include "common/owned.h"

/// User data of an enum option's group. For every other kind the user data is the setting key itself.
struct EnumOptionData {
  GType enum_type;  ///< the library's enumeration of the setting
  const char *key;  ///< the setting key; static lifetime
};

/// Numbers are read as sscanf's "%i" does: sign, decimal, "0x" hexadecimal or leading-zero octal, and whatever follows
/// the number is ignored. An empty text counts as 0: sscanf then reports the end of input, not a mismatch, and only a
/// mismatch fails.
gboolean parse_bool_option(const gchar *name, const gchar *value, gpointer key, GError **error);

/// As parse_bool_option; a negative number is stored as its 32-bit two's complement.
gboolean parse_uint_option(const gchar *name, const gchar *value, gpointer key, GError **error);

/// As parse_bool_option, with "%lf".
gboolean parse_double_option(const gchar *name, const gchar *value, gpointer key, GError **error);

/// Stores the text as it is. Fails without one.
gboolean parse_string_option(const gchar *name, const gchar *value, gpointer key, GError **error);

/// Stores the number of the value whose nick is given. Otherwise prints the accepted nicks on standard error and sets
/// an error of the client's domain, which replaces one that is there. `data` is an EnumOptionData.
gboolean parse_enum_option(const gchar *name, const gchar *value, gpointer data, GError **error);

/// Stores "min,target,max" as the quad (min, target, max, 0); numbers that are missing at the end are 0.
gboolean parse_triple_option(const gchar *name, const gchar *value, gpointer key, GError **error);

/// The enumeration's name and nicks as "Name(first, second)"; "Name)" when it has none. Ends the process with status 1,
/// without a message, when no memory stream can be opened.
TextPtr enum_choices(GType enum_type);

#endif
