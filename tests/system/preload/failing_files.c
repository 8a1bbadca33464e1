// Preloaded into the client: one call on a file that the client or libavformat writes fails. ZEL_TEST_FILE_FAULT is
// "<call> <nth> <kind>":
//   call  open, write, flush, truncate, seek or close
//   nth   which of these calls strikes, counted from 1
//   kind  ENOSPC or EIO: the call does nothing and fails; "short": a write puts half of the bytes into the file, and
//   the
//         rest fails with ENOSPC; "partial": write(2) puts half of the bytes into the file and says so, which is no
//         error
// When the fault has struck, "<call> <file name>" stands in the file that ZEL_TEST_FILE_FAULT_LOG names. Only files
// that were opened for writing by a name without a slash count: those in the working directory.

// Functions with 64-bit offsets have names of their own here, beside the plain ones.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "own_calls.h"

enum { kMaxDescriptors = 256 };

/// Names of the watched files by descriptor; NULL: not watched.
static char *names[kMaxDescriptors];
static long calls;
static _Atomic int rest_fails_on = -1;  ///< descriptor whose next write fails too, after a short one; all threads look

/// The function behind the one that stands here.
#define REAL(function) ((__typeof__(&(function)))dlsym(RTLD_NEXT, #function))

struct Plan {
  char call[16];
  long nth;
  char kind[16];
};

static struct Plan plan(void) {
  struct Plan result = {"", 0, ""};
  const char *text = getenv("ZEL_TEST_FILE_FAULT");
  // NOLINTNEXTLINE(cert-err34-c): the numbers are the tests' own
  if (text != NULL && sscanf(text, "%15s %ld %15s", result.call, &result.nth, result.kind) != 3) abort();
  return result;
}

static void report(const char *call, const char *name) {
  const int file = REAL(open)(getenv("ZEL_TEST_FILE_FAULT_LOG"), O_WRONLY | O_CREAT | O_APPEND, 0666);
  char line[PATH_MAX + 32];
  const int length = snprintf(line, sizeof line, "%s %s", call, name);
  if (file < 0 || REAL(write)(file, line, (size_t)length) != length) abort();
  REAL(close)(file);
}

static int error_of(const char *kind) {
  return strcmp(kind, "EIO") == 0 ? EIO : ENOSPC;
}

/// Counts this call; whether it is the one that strikes.
static bool strikes(const char *call, const char *name, struct Plan *planned) {
  *planned = plan();
  if (name == NULL || strcmp(planned->call, call) != 0 || ++calls != planned->nth) return false;
  report(call, name);
  return true;
}

/// The same for calls that have nothing but success and failure.
static bool fails(const char *call, const char *name) {
  struct Plan planned;
  if (!strikes(call, name, &planned)) return false;
  errno = error_of(planned.kind);
  return true;
}

static const char *name_of(int descriptor) {
  return descriptor >= 0 && descriptor < kMaxDescriptors ? names[descriptor] : NULL;
}

static void watch(int descriptor, const char *name) {
  if (descriptor < 0 || descriptor >= kMaxDescriptors || strchr(name, '/') != NULL) return;
  free(names[descriptor]);
  names[descriptor] = strdup(name);
}

static void forget(int descriptor) {
  if (name_of(descriptor) == NULL) return;
  free(names[descriptor]);
  names[descriptor] = NULL;
}

// ---- stdio, as the client uses it --------------------------------------------------------------------------------

static FILE *open_stream(FILE *(*open_it)(const char *, const char *), const char *name, const char *mode) {
  const bool watched = strchr(name, '/') == NULL && strchr(mode, 'w') != NULL;
  if (watched && fails("open", name)) return NULL;
  FILE *file = open_it(name, mode);
  if (file != NULL && watched) watch(fileno(file), name);
  return file;
}

FILE *fopen(const char *name, const char *mode) {
  return open_stream(REAL(fopen), name, mode);
}

FILE *fopen64(const char *name, const char *mode) {
  return open_stream(REAL(fopen64), name, mode);
}

size_t fwrite(const void *data, size_t size, size_t count, FILE *file) {
  struct Plan planned;
  size_t (*real)(const void *, size_t, size_t, FILE *) = REAL(fwrite);
  if (strikes("write", name_of(fileno(file)), &planned)) {
    if (strcmp(planned.kind, "partial") == 0) return real(data, size, count, file);
    if (strcmp(planned.kind, "short") == 0) real(data, 1, size * count / 2, file);
    errno = error_of(planned.kind);
    return 0;
  }
  return real(data, size, count, file);
}

int fflush(FILE *file) {
  if (file != NULL && fails("flush", name_of(fileno(file)))) return EOF;
  return REAL(fflush)(file);
}

// What the stream still holds is lost, and the descriptor is closed: as fclose does it.
int fclose(FILE *file) {
  const int descriptor = fileno(file);
  const char *name = name_of(descriptor);
  if (name != NULL && fails("close", name)) {
    const int cause = errno;
    const int full = REAL(open)("/dev/full", O_WRONLY);
    dup2(full, descriptor);
    REAL(close)(full);
    forget(descriptor);
    REAL(fclose)(file);
    errno = cause;
    return EOF;
  }
  forget(descriptor);
  return REAL(fclose)(file);
}

int ftruncate(int descriptor, off_t length) {
  if (fails("truncate", name_of(descriptor))) return -1;
  return REAL(ftruncate)(descriptor, length);
}

int ftruncate64(int descriptor, off64_t length) {
  if (fails("truncate", name_of(descriptor))) return -1;
  return REAL(ftruncate64)(descriptor, length);
}

// ---- descriptors, as libavformat uses them -----------------------------------------------------------------------

typedef int (*OpenFunction)(const char *, int, ...);

static int open_descriptor(const char *call, const char *name, int flags, mode_t mode) {
  const bool watched = strchr(name, '/') == NULL && (flags & O_ACCMODE) != O_RDONLY;
  if (watched && fails("open", name)) return -1;
  const int descriptor = ((OpenFunction)dlsym(RTLD_NEXT, call))(name, flags, mode);
  if (watched) watch(descriptor, name);
  return descriptor;
}

int open(const char *name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return open_descriptor("open", name, flags, mode);
}

int open64(const char *name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return open_descriptor("open64", name, flags, mode);
}

ssize_t write(int descriptor, const void *data, size_t size) {
  struct Plan planned;
  if (descriptor >= 0 && descriptor == rest_fails_on) {
    errno = ENOSPC;
    return -1;
  }
  if (strikes("write", name_of(descriptor), &planned)) {
    if (strcmp(planned.kind, "short") == 0) rest_fails_on = descriptor;
    if (planned.kind[0] != 'E') return REAL(write)(descriptor, data, size / 2);
    errno = error_of(planned.kind);
    return -1;
  }
  return REAL(write)(descriptor, data, size);
}

off_t lseek(int descriptor, off_t offset, int whence) {
  if (fails("seek", name_of(descriptor))) return -1;
  return REAL(lseek)(descriptor, offset, whence);
}

off64_t lseek64(int descriptor, off64_t offset, int whence) {
  if (fails("seek", name_of(descriptor))) return -1;
  return REAL(lseek64)(descriptor, offset, whence);
}

int close(int descriptor) {
  const bool failed = fails("close", name_of(descriptor));
  forget(descriptor);
  const int cause = errno;
  const int result = REAL(close)(descriptor);
  if (!failed) return result;
  errno = cause;
  return -1;
}
