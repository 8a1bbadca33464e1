// The calling thread's signal mask.
#include "common/signal_mask.h"

namespace camera {

SignalsBlocked::SignalsBlocked() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before_);
}

SignalsBlocked::~SignalsBlocked() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace camera
