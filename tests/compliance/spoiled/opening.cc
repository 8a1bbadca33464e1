// What a library may begin as soon as it is opened, and what then belongs to the process that opened it.
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "spoil.h"

namespace {

pid_t owner = 0;  ///< the process that opened the library, if something belongs to it

/// Runs when the library is opened. Neither is a fault: a thread and a connection are a library's own affair.
__attribute__((constructor)) void begin() {
  if (spoils("starts-a-thread")) std::thread([] { (void)pause(); }).detach();
  if (spoils("keeps-a-descriptor") && eventfd(0, EFD_CLOEXEC) < 0) std::abort();
  if (spoils("starts-a-thread") || spoils("keeps-a-descriptor")) owner = getpid();
}

}  // namespace

void expect_owner() {
  if (owner != 0 && owner != getpid()) std::abort();
}
