// Errors of the run and of the command line.
#include "common/errors.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "common/owned.h"
#include "zel/zel.h"

namespace {

/// The name before every message; a constant, whatever the program was called as.
constexpr const char *kProgramName = "zel-client";

}  // namespace

bool set_error(GError **error, ErrorCode code, const char *format, ...) {
  if (error == nullptr) return false;
  const int cause = errno;  // for "%m", whatever registering the domain does to it
  const GQuark domain = zel_error_quark();
  errno = cause;
  va_list arguments;
  va_start(arguments, format);
  g_propagate_error(error, g_error_new_valist(domain, code, format, arguments));
  va_end(arguments);
  return false;
}

bool set_client_error(GError **error, const char *format, ...) {
  if (error == nullptr) return false;
  const int cause = errno;
  const GQuark domain = g_quark_from_static_string("zel-client-error");
  errno = cause;
  va_list arguments;
  va_start(arguments, format);
  g_propagate_error(error, g_error_new_valist(domain, 0, format, arguments));
  va_end(arguments);
  return false;
}

void print_error(const GError *error) {
  (void)std::fprintf(stderr, "%s: %s\n", kProgramName, error != nullptr ? error->message : "unknown error");
}

void fatal_error(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const TextPtr message(g_strdup_vprintf(format, arguments));
  va_end(arguments);
  (void)std::fprintf(stderr, "%s: %s", kProgramName, message.get());
  std::exit(EXIT_FAILURE);
}
