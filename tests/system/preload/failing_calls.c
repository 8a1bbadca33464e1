// Preloaded into the client: system calls of its own fail as ZEL_TEST_FAILING_CALL names one of them: "F_GETFL",
// "F_SETFL", "tcsetattr" or "signal". The call does nothing and errno is EPERM.

// All of fcntl's names are defined here: with 64-bit offsets the header would make two of them one.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>

#include "own_calls.h"

static bool must_fail(const char *call, const void *caller) {
  const char *chosen = getenv("ZEL_TEST_FAILING_CALL");
  if (chosen == NULL || strcmp(chosen, call) != 0 || !in_the_program(caller)) return false;
  errno = EPERM;
  return true;
}

typedef int (*FcntlFunction)(int, int, ...);

static int call_fcntl(const char *name, int descriptor, int command, void *argument, const void *caller) {
  if (command == F_GETFL && must_fail("F_GETFL", caller)) return -1;
  if (command == F_SETFL && must_fail("F_SETFL", caller)) return -1;
  return ((FcntlFunction)dlsym(RTLD_NEXT, name))(descriptor, command, argument);
}

int fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return call_fcntl("fcntl", descriptor, command, argument, __builtin_return_address(0));
}

int fcntl64(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return call_fcntl("fcntl64", descriptor, command, argument, __builtin_return_address(0));
}

/// What the client calls where 64-bit times are not the C library's own, as on 32-bit Arm.
int __fcntl_time64(int descriptor, int command, ...);
int __fcntl_time64(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  return call_fcntl("__fcntl_time64", descriptor, command, argument, __builtin_return_address(0));
}

int tcsetattr(int descriptor, int when, const struct termios *modes) {
  if (must_fail("tcsetattr", __builtin_return_address(0))) return -1;
  return ((int (*)(int, int, const struct termios *))dlsym(RTLD_NEXT, "tcsetattr"))(descriptor, when, modes);
}

__sighandler_t signal(int signal_number, __sighandler_t handler) {
  if (must_fail("signal", __builtin_return_address(0))) return SIG_ERR;
  return ((__sighandler_t(*)(int, __sighandler_t))dlsym(RTLD_NEXT, "signal"))(signal_number, handler);
}
