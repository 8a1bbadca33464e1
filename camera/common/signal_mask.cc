// The calling thread's signal mask.
#include "common/signal_mask.h"

#include <cerrno>
#include <ctime>

namespace camera {
namespace {

sigset_t pipe_signal() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

}  // namespace

SignalsBlocked::SignalsBlocked() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsBlocked::~SignalsBlocked() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

PipeSignalBlocked::PipeSignalBlocked() noexcept {
  const sigset_t pipe = pipe_signal();
  sigset_t pending;
  sigpending(&pending);
  was_pending_ = sigismember(&pending, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipe, &before_);
}

PipeSignalBlocked::~PipeSignalBlocked() {
  const int number = errno;
  if (!was_pending_) {
    const sigset_t pipe = pipe_signal();
    const timespec at_once{};
    while (sigtimedwait(&pipe, nullptr, &at_once) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  errno = number;
}

}  // namespace camera
