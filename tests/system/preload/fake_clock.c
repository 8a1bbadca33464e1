// Preloaded into the client: its clocks say what the file named by ZEL_TEST_CLOCK says. Other code in the process, such
// as the camera, keeps the real clocks.
//
// A line of the file is "<monotonic us> <real us>", signed decimal numbers; the nth reading of a clock gives the nth
// line's value, and after the last line that line's again.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "own_calls.h"

enum { kMaxLines = 4096 };

/// A column of the file. Both clocks are read on the client's one thread.
struct Clock {
  int64_t values[kMaxLines];
  size_t next;
};

static struct Clock monotonic, real;
static size_t lines;

static void load(void) {
  const char *name = getenv("ZEL_TEST_CLOCK");
  FILE *file = name != NULL ? fopen(name, "r") : NULL;
  if (file == NULL) {
    perror("ZEL_TEST_CLOCK");
    abort();
  }
  char line[128];
  while (lines < kMaxLines && fgets(line, sizeof line, file) != NULL) {
    char *rest = line;
    monotonic.values[lines] = strtoll(line, &rest, 10);
    real.values[lines] = strtoll(rest, NULL, 10);
    ++lines;
  }
  if (lines == 0 || !feof(file)) {
    fprintf(stderr, "ZEL_TEST_CLOCK: no lines or too many\n");
    abort();
  }
  fclose(file);
}

static int64_t read_clock(struct Clock *clock) {
  if (lines == 0) load();
  const int64_t value = clock->values[clock->next];
  if (clock->next + 1 < lines) ++clock->next;
  return value;
}

static int64_t real_clock(const char *name) {
  int64_t (*clock)(void) = (int64_t(*)(void))dlsym(RTLD_NEXT, name);
  return clock();
}

int64_t g_get_monotonic_time(void);
int64_t g_get_real_time(void);

int64_t g_get_monotonic_time(void) {
  if (!in_the_program(__builtin_return_address(0))) return real_clock("g_get_monotonic_time");
  return read_clock(&monotonic);
}

int64_t g_get_real_time(void) {
  if (!in_the_program(__builtin_return_address(0))) return real_clock("g_get_real_time");
  return read_clock(&real);
}
