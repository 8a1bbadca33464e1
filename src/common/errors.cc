// Errors: building one for the error slot, and ending the process before there is a stream.
#include "common/errors.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "zel/zel.h"

namespace {

/// The name before every message; a constant, whatever the program was called as.
constexpr const char *kProgramName = "zel-client";

}  // namespace

bool set_error(GError **error, ErrorCode code, const char *format, ...) {
  if (error == nullptr) return false;
  const int cause = errno;  // zel_error_quark may register the domain first
  const GQuark domain = zel_error_quark();
  va_list arguments;
  va_start(arguments, format);
  errno = cause;
  GError *made = g_error_new_valist(domain, code, format, arguments);
  va_end(arguments);
  g_propagate_error(error, made);
  return false;
}

GQuark client_error_quark() {
  return g_quark_from_static_string("zel-client-error");
}

const char *error_text(const GError *error) {
  return error != nullptr ? error->message : "unknown error";
}

void fatal_error(const char *format, ...) {
  const int cause = errno;
  (void)std::fprintf(stderr, "%s: ", kProgramName);
  va_list arguments;
  va_start(arguments, format);
  errno = cause;
  (void)std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::exit(EXIT_FAILURE);
}
