// Preloaded into the client: the disk has room for ZEL_TEST_DISK_BYTES bytes of files whose names end as
// ZEL_TEST_DISK_FILES says, by default ".mkv". Writing there stops short when the room is used up, and fails with
// ENOSPC from then on.

#include <dlfcn.h>
#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

static bool is_on_the_disk(int descriptor) {
  char link[64];
  char name[4096];
  (void)snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
  const ssize_t length = readlink(link, name, sizeof name);
  const char *given = getenv("ZEL_TEST_DISK_FILES");
  const char *end = given == NULL ? ".mkv" : given;
  const ssize_t ending = (ssize_t)strlen(end);
  return length > ending && memcmp(name + length - ending, end, (size_t)ending) == 0;
}

ssize_t write(int descriptor, const void *bytes, size_t size) {
  static size_t used;
  if (is_on_the_disk(descriptor)) {
    const char *given = getenv("ZEL_TEST_DISK_BYTES");
    const size_t room = (given == NULL ? 0 : strtoul(given, NULL, 10)) - used;
    if (room == 0 && size > 0) {
      errno = ENOSPC;
      return -1;
    }
    if (size > room) size = room;
    used += size;
  }
  return ((ssize_t(*)(int, const void *, size_t))dlsym(RTLD_NEXT, "write"))(descriptor, bytes, size);
}

// Writes the first piece that is there: stopping short is allowed.
ssize_t writev(int descriptor, const struct iovec *pieces, int count) {
  if (!is_on_the_disk(descriptor))
    return ((ssize_t(*)(int, const struct iovec *, int))dlsym(RTLD_NEXT, "writev"))(descriptor, pieces, count);
  while (count > 1 && pieces->iov_len == 0) {
    ++pieces;
    --count;
  }
  return write(descriptor, pieces->iov_base, pieces->iov_len);
}
