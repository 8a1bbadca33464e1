// The library's error domain. Whether an error was to be expected travels inside the error, so that it survives being
// copied and propagated.
#include "common/errors.h"

#include <cstdarg>

namespace camera {
namespace {

/// What every error of the domain carries besides code and message.
struct ErrorExtra {
  gboolean expected;
};

/// GLib keeps the extra data right in front of the error, its size rounded up to two machine words.
constexpr gsize kAlignment = 2 * sizeof(gsize);
constexpr gsize kExtraSize = (sizeof(ErrorExtra) + kAlignment - 1) / kAlignment * kAlignment;

ErrorExtra *extra_of(const GError *error) {
  return reinterpret_cast<ErrorExtra *>(reinterpret_cast<guint8 *>(const_cast<GError *>(error)) - kExtraSize);
}

GQuark register_domain() {
  return g_error_domain_register_static(
      "zel-error-quark", sizeof(ErrorExtra), [](GError *error) { extra_of(error)->expected = FALSE; },
      [](const GError *source, GError *copy) { extra_of(copy)->expected = extra_of(source)->expected; },
      [](GError *) {});
}

GError *make(gint code, const char *format, va_list arguments) {
  return g_error_new_valist(error_domain(), code, format, arguments);
}

}  // namespace

GQuark error_domain() {
  static const GQuark domain = register_domain();
  return domain;
}

bool fail(GError **error, gint code, const char *format, ...) {
  if (error == nullptr) return false;
  va_list arguments;
  va_start(arguments, format);
  g_propagate_error(error, make(code, format, arguments));
  va_end(arguments);
  return false;
}

bool fail_expected(GError **error, gint code, const char *format, ...) {
  if (error == nullptr) return false;
  va_list arguments;
  va_start(arguments, format);
  GError *made = make(code, format, arguments);
  va_end(arguments);
  extra_of(made)->expected = TRUE;
  g_propagate_error(error, made);
  return false;
}

bool is_expected(const GError *error) {
  return error != nullptr && error->domain == error_domain() && extra_of(error)->expected != FALSE;
}

}  // namespace camera
