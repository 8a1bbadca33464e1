// Preloaded into a recorded client: counts the allocations that libzel-record.so makes or has made. At the end of the
// process the file that ZEL_TEST_SHIM_ALLOCATIONS names has the number.
#include <dlfcn.h>
#include <execinfo.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static atomic_long allocations;
static _Thread_local int is_busy;  // looking at the callers allocates too

// The callers from the nearest on: GLib and the C library allocate for whoever called them.
static int is_of_the_shim(void) {
  void *frames[32];
  const int depth = backtrace(frames, sizeof frames / sizeof *frames);
  for (int i = 2; i < depth; ++i) {
    Dl_info info;
    if (dladdr(frames[i], &info) == 0 || info.dli_fname == NULL) return 0;
    if (strstr(info.dli_fname, "libzel-record.so") != NULL) return 1;
    if (strstr(info.dli_fname, "libzel.so") != NULL) return 0;
  }
  return 0;
}

static void count(void) {
  if (is_busy) return;
  is_busy = 1;
  if (is_of_the_shim()) ++allocations;
  is_busy = 0;
}

// The function of that name behind this library's.
#define NEXT(name)               \
  static __typeof__(&name) next; \
  if (next == NULL) next = (__typeof__(&name))dlsym(RTLD_NEXT, #name)

void *malloc(size_t size) {
  NEXT(malloc);
  count();
  return next(size);
}

void *realloc(void *memory, size_t size) {
  NEXT(realloc);
  count();
  return next(memory, size);
}

void *calloc(size_t number, size_t size) {
  NEXT(calloc);
  count();
  return next(number, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size) {
  NEXT(posix_memalign);
  count();
  return next(memory, alignment, size);
}

__attribute__((destructor)) static void tell(void) {
  const char *path = getenv("ZEL_TEST_SHIM_ALLOCATIONS");
  FILE *file = path != NULL ? fopen(path, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%ld", (long)allocations);
  fclose(file);
}
