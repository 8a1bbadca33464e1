// The library's error domain. Whether an error was to be expected travels inside the error, so that it survives being
// copied and propagated.
#include "common/errors.h"

#include <cstdarg>

namespace {

/// What every error of the domain carries besides code and message.
struct ZelErrorPrivate {
  gboolean expected;
};

void camera_error_private_init(ZelErrorPrivate *extra) {
  extra->expected = FALSE;
}

void camera_error_private_copy(const ZelErrorPrivate *source, ZelErrorPrivate *copy) {
  *copy = *source;
}

void camera_error_private_clear(ZelErrorPrivate *) {}

}  // namespace

static GQuark camera_error_quark();
G_DEFINE_EXTENDED_ERROR(ZelError, camera_error)

namespace camera {
namespace {

G_GNUC_PRINTF(2, 0)
GError *make(gint code, const char *format, va_list arguments) {
  return g_error_new_valist(error_domain(), code, format, arguments);
}

}  // namespace

GQuark error_domain() {
  return camera_error_quark();
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
  camera_error_get_private(made)->expected = TRUE;
  g_propagate_error(error, made);
  return false;
}

bool is_expected(const GError *error) {
  return error != nullptr && error->domain == error_domain() && camera_error_get_private(error)->expected != FALSE;
}

}  // namespace camera
