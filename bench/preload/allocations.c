/* Preloaded into the client: counts allocations and, at the end, writes two numbers to the file that ZEL_ALLOCATIONS
 * names: those that FFmpeg's libraries made, and all others. */
#include <dlfcn.h>
#include <errno.h>
#include <link.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The C library's own names for what stands behind its allocation calls. */
// NOLINTBEGIN(bugprone-reserved-identifier)
extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *memory, size_t size);
extern void *__libc_memalign(size_t alignment, size_t size);
// NOLINTEND(bugprone-reserved-identifier)

static unsigned long long by_ffmpeg, by_others;

static void count(void *caller) {
  struct dl_find_object found;
  const int known = _dl_find_object(caller, &found) == 0;
  if (known && strstr(found.dlfo_link_map->l_name, "/libav") != NULL) {
    ++by_ffmpeg;
  } else {
    ++by_others;
  }
}

void *malloc(size_t size) {
  count(__builtin_return_address(0));
  return __libc_malloc(size);
}

void *calloc(size_t number, size_t size) {
  count(__builtin_return_address(0));
  return __libc_calloc(number, size);
}

void *realloc(void *memory, size_t size) {
  count(__builtin_return_address(0));
  return __libc_realloc(memory, size);
}

void *memalign(size_t alignment, size_t size) {
  count(__builtin_return_address(0));
  return __libc_memalign(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
  count(__builtin_return_address(0));
  return __libc_memalign(alignment, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size) {
  count(__builtin_return_address(0));
  void *made = __libc_memalign(alignment, size);
  if (made == NULL) return ENOMEM;
  *memory = made;
  return 0;
}

__attribute__((destructor)) static void end(void) {
  const char *name = getenv("ZEL_ALLOCATIONS");
  if (name == NULL) return;
  const unsigned long long ffmpeg = by_ffmpeg, others = by_others;
  FILE *file = fopen(name, "w");
  if (file == NULL) return;
  fprintf(file, "%llu %llu\n", ffmpeg, others);
  fclose(file);
}
