// The name of a raw output file: the option "output", used as a printf format for one integer.
#ifndef ZEL_CLIENT_CAPTURE_OUTPUT_NAME_H
#define ZEL_CLIENT_CAPTURE_OUTPUT_NAME_H

#include <glib.h>

#include <climits>
#include <cstddef>
#include <span>

/// Room for any name that the system can open, and for the few characters by which a number may lengthen `output`.
inline constexpr size_t kOutputNameRoom = PATH_MAX + 16;

/// Whether `output` may name split files: it needs a "%d", with an optional width. The width may be a "0" and then
/// digits 1 to 9, no other zero: "%05d" passes, "%10d" does not. This narrow pattern is kept on purpose.
/// Failure sets an error of the client's domain.
bool check_split_output_name(const char *output, GError **error);

/// Whether printf with `format` and one int does something that C defines: at most one conversion, of an integer,
/// without "*" and without a length beyond int.
bool takes_at_most_one_integer(const char *format);

/// Formats `output` with `number` into `name`, cut to strlen(`output`) + 15 characters. False, with errno EINVAL and an
/// empty name, when `output` is no format for one integer.
bool format_output_name(const char *output, gint32 number, std::span<char> name);

#endif
