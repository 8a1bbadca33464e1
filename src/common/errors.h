// Errors: making one, printing one, and ending the process.
#ifndef ZEL_CLIENT_COMMON_ERRORS_H
#define ZEL_CLIENT_COMMON_ERRORS_H

#include <glib.h>

/// The codes that the client uses in the library's error domain, zel_error_quark().
enum ErrorCode : gint {
  kErrorMissing = 3,          ///< an argument is missing or an object was never set up
  kErrorFile = 8,             ///< a file operation failed
  kErrorOutOfMemory = 11,     ///< memory is exhausted
  kErrorNothingToFetch = 13,  ///< no filled buffer waits yet
  kErrorCompound = 17,        ///< an operation of several steps failed
};

/// Leaves a GError of the library's domain in `error`, which may be null: then nothing is made.
/// `format` is printf's and may use "%m" for the system's text of errno. Always returns false, so that a caller can
/// return the result.
bool set_error(GError **error, ErrorCode code, const char *format, ...) G_GNUC_PRINTF(3, 4);

/// The same in the client's own domain ("zel-client-error", code 0): output names, output files, enum option values.
bool set_client_error(GError **error, const char *format, ...) G_GNUC_PRINTF(2, 3);

/// Writes "zel-client: ", the error's text and a newline to standard error. Null, of a library call that failed without
/// saying why, is an "unknown error".
void print_error(const GError *error);

/// Writes "zel-client: " and the formatted message to standard error and ends the process with status 1. Only for what
/// goes wrong before the stream exists; later failures travel in an error slot to the end of the run.
[[noreturn]] void fatal_error(const char *format, ...) G_GNUC_PRINTF(1, 2);

#endif
