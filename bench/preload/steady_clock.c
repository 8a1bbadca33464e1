/* Preloaded into the client: the clock starts with the process, and each reading of the monotonic clock is a frame
 * period of 30 frames a second later than the one before, so that two runs see the same times. */
#include <sys/time.h>
#include <time.h>

enum { kPeriod = 33333, kSecond = 1000000 }; /* µs */

static long long now = kSecond;

int clock_gettime(clockid_t clock, struct timespec *time) {
  if (clock == CLOCK_MONOTONIC) now += kPeriod;
  time->tv_sec = now / kSecond;
  time->tv_nsec = now % kSecond * 1000;
  return 0;
}

int gettimeofday(struct timeval *restrict time, void *restrict zone) {
  (void)zone;
  time->tv_sec = now / kSecond;
  time->tv_usec = now % kSecond;
  return 0;
}
