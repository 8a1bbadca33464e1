/* Preloaded into the client: the sleep after each frame takes no time and makes no system call. */
#include <unistd.h>

int usleep(useconds_t microseconds) {
  (void)microseconds;
  return 0;
}
