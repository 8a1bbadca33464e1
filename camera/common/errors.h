// The library's errors: codes, and how one is made.
#ifndef ZEL_CAMERA_ERRORS_H
#define ZEL_CAMERA_ERRORS_H

#include <glib.h>

namespace camera {

/// The codes in the domain of zel_error_quark(). The library's users rely on 3, 8, 11, 13 and 17.
enum ErrorCode : gint {
  kErrorMissing = 3,       ///< a missing argument, or an object that was never set up
  kErrorSetting = 4,       ///< a setting with an unusable value
  kErrorEnd = 5,           ///< the stream has ended or was stopped; always an expected error
  kErrorKeyFile = 6,       ///< the camera's own key file cannot be read or says something unknown
  kErrorFile = 8,          ///< a file operation failed
  kErrorOutOfMemory = 11,  ///< memory is exhausted
  kErrorNothing = 13,      ///< nothing to fetch yet
  kErrorInterrupted = 14,  ///< a signal interrupted the wait
  kErrorCompound = 17,     ///< an operation of several steps failed
};

/// Leaves an error in `error`, which may be null. Always returns false.
bool fail(GError **error, gint code, const char *format, ...) G_GNUC_PRINTF(3, 4);

/// The same for the end of a stream that was to be expected.
bool fail_expected(GError **error, gint code, const char *format, ...) G_GNUC_PRINTF(3, 4);

/// Whether `error` is of the library's domain and expected.
bool is_expected(const GError *error);

/// The library's error domain.
GQuark error_domain();

}  // namespace camera

#endif
