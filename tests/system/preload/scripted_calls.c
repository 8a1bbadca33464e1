// Preloaded into the client: system and C library calls of its own fail by script and are noted.
//
// ZEL_TEST_CALL_SCRIPT is a list of "<call> <nth> <number>;": the nth such call (1-based) does nothing and fails,
// "poll", "ftruncate", "open_memstream", "fwrite-4" (an fwrite of one item of 4 bytes) and "fopen-meta" (an fopen of a
// name ending in ".meta") with that errno, "regcomp" and "regexec" with that result. ZEL_TEST_CALL_LOG names a file
// that gets a line for each usleep ("usleep <us>"), poll ("poll <descriptors> <timeout>"), ftruncate ("ftruncate
// <length>"), "fwrite-4" and "av_write_trailer".
#undef _FILE_OFFSET_BITS  // ftruncate and ftruncate64 are two functions here
#undef _TIME_BITS
#include <errno.h>
#include <fcntl.h>
#include <inttypes.h>
#include <poll.h>
#include <regex.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "own_calls.h"

/// The scripted number for the `nth` use of `call`, or 0.
static int scripted(const char *call, unsigned nth) {
  const char *rest = getenv("ZEL_TEST_CALL_SCRIPT");
  const size_t length = strlen(call);
  while (rest != NULL && *rest != '\0') {
    if (strncmp(rest, call, length) == 0 && rest[length] == ' ') {
      char *end = NULL;
      const unsigned long place = strtoul(rest + length, &end, 10);
      if (place == nth) return (int)strtol(end, NULL, 10);
    }
    rest = strchr(rest, ';');
    if (rest != NULL) ++rest;
  }
  return 0;
}

__attribute__((format(printf, 1, 2))) static void note(const char *format, ...) {
  const char *path = getenv("ZEL_TEST_CALL_LOG");
  if (path == NULL) return;
  const int cause = errno;
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  va_list arguments;
  va_start(arguments, format);
  (void)vdprintf(descriptor, format, arguments);
  va_end(arguments);
  (void)close(descriptor);
  errno = cause;
}

int poll(struct pollfd *entries, nfds_t count, int timeout) {
  static unsigned uses = 0;
  if (in_the_program(__builtin_return_address(0))) {
    note("poll %u %d\n", (unsigned)count, timeout);
    const int failure = scripted("poll", ++uses);
    if (failure != 0) {
      errno = failure;
      return -1;
    }
  }
  return ((int (*)(struct pollfd *, nfds_t, int))dlsym(RTLD_NEXT, "poll"))(entries, count, timeout);
}

int usleep(useconds_t us) {
  if (in_the_program(__builtin_return_address(0))) note("usleep %u\n", us);
  return ((int (*)(useconds_t))dlsym(RTLD_NEXT, "usleep"))(us);
}

static int truncate_file(int descriptor, int64_t length, const void *caller) {
  static unsigned uses = 0;
  if (in_the_program(caller)) {
    note("ftruncate %" PRId64 "\n", length);
    const int failure = scripted("ftruncate", ++uses);
    if (failure != 0) {
      errno = failure;
      return -1;
    }
  }
  return ((int (*)(int, int64_t))dlsym(RTLD_NEXT, "ftruncate64"))(descriptor, length);
}

int ftruncate(int descriptor, off_t length) {
  return truncate_file(descriptor, length, __builtin_return_address(0));
}

int ftruncate64(int descriptor, int64_t length) {
  return truncate_file(descriptor, length, __builtin_return_address(0));
}

size_t fwrite(const void *data, size_t size, size_t count, FILE *file) {
  static unsigned uses = 0;
  if (size == 4 && count == 1 && in_the_program(__builtin_return_address(0))) {
    note("fwrite-4\n");
    const int failure = scripted("fwrite-4", ++uses);
    if (failure != 0) {
      errno = failure;
      return 0;
    }
  }
  return ((size_t(*)(const void *, size_t, size_t, FILE *))dlsym(RTLD_NEXT, "fwrite"))(data, size, count, file);
}

FILE *open_memstream(char **text, size_t *size) {
  static unsigned uses = 0;
  const int failure = in_the_program(__builtin_return_address(0)) ? scripted("open_memstream", ++uses) : 0;
  if (failure != 0) {
    errno = failure;
    return NULL;
  }
  return ((FILE * (*)(char **, size_t *)) dlsym(RTLD_NEXT, "open_memstream"))(text, size);
}

static FILE *open_file(const char *call, const char *name, const char *mode, const void *caller) {
  static unsigned uses = 0;
  const char *suffix = strrchr(name, '.');
  if (suffix != NULL && strcmp(suffix, ".meta") == 0 && in_the_program(caller)) {
    const int failure = scripted("fopen-meta", ++uses);
    if (failure != 0) {
      errno = failure;
      return NULL;
    }
  }
  return ((FILE * (*)(const char *, const char *)) dlsym(RTLD_NEXT, call))(name, mode);
}

FILE *fopen(const char *name, const char *mode) {
  return open_file("fopen", name, mode, __builtin_return_address(0));
}

FILE *fopen64(const char *name, const char *mode) {
  return open_file("fopen64", name, mode, __builtin_return_address(0));
}

/// libavformat's; the context is of no interest here.
int av_write_trailer(void *context);
int av_write_trailer(void *context) {
  if (in_the_program(__builtin_return_address(0))) note("av_write_trailer\n");
  return ((int (*)(void *))dlsym(RTLD_NEXT, "av_write_trailer"))(context);
}

int regcomp(regex_t *regex, const char *pattern, int flags) {
  static unsigned uses = 0;
  const int failure = in_the_program(__builtin_return_address(0)) ? scripted("regcomp", ++uses) : 0;
  if (failure != 0) return failure;
  return ((int (*)(regex_t *, const char *, int))dlsym(RTLD_NEXT, "regcomp"))(regex, pattern, flags);
}

int regexec(const regex_t *regex, const char *text, size_t count, regmatch_t matches[count], int flags) {
  static unsigned uses = 0;
  const int failure = in_the_program(__builtin_return_address(0)) ? scripted("regexec", ++uses) : 0;
  if (failure != 0) return failure;
  return ((int (*)(const regex_t *, const char *, size_t, regmatch_t *, int))dlsym(RTLD_NEXT, "regexec"))(
      regex, text, count, matches, flags);
}
