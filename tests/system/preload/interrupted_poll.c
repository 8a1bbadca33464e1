// Preloaded into the client: SIGINT arrives while its nth poll waits, where ZEL_TEST_INTERRUPTED_POLL is n, counted
// from 1. The signal is pending when the wait begins and is let through by the wait itself, so that it never comes
// before or after.
#include <poll.h>
#include <signal.h>
#include <stdlib.h>

#include "own_calls.h"

static long polls;

int poll(struct pollfd *entries, nfds_t count, int timeout) {
  const char *nth = getenv("ZEL_TEST_INTERRUPTED_POLL");
  if (nth != NULL && in_the_program(__builtin_return_address(0)) && ++polls == strtol(nth, NULL, 10)) {
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupt, &before);
    raise(SIGINT);
    const int result = ppoll(entries, count, NULL, &before);
    sigprocmask(SIG_SETMASK, &before, NULL);
    return result;
  }
  return ((int (*)(struct pollfd *, nfds_t, int))dlsym(RTLD_NEXT, "poll"))(entries, count, timeout);
}
