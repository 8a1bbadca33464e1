// Preloaded into the client: a signal() that calls sigaction(), whosever that is, as a sanitizer's does.
#include <signal.h>

static sighandler_t set(int number, sighandler_t handler, int flags) {
  struct sigaction action = {.sa_handler = handler, .sa_flags = flags};
  struct sigaction old;
  return sigaction(number, &action, &old) == 0 ? old.sa_handler : SIG_ERR;
}

sighandler_t signal(int number, sighandler_t handler) {
  return set(number, handler, SA_RESTART);
}

sighandler_t __sysv_signal(int number, sighandler_t handler) {
  return set(number, handler, (int)(SA_RESETHAND | SA_NODEFER));
}
