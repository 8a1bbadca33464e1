// Blocking signals while threads are made.
#ifndef ZEL_CAMERA_SIGNAL_MASK_H
#define ZEL_CAMERA_SIGNAL_MASK_H

#include <csignal>

namespace camera {

/// Blocks all signals on this thread, and so on the threads that it makes meanwhile: signals are the client's.
class SignalsBlocked {
 public:
  SignalsBlocked();
  SignalsBlocked(const SignalsBlocked &) = delete;
  SignalsBlocked &operator=(const SignalsBlocked &) = delete;
  ~SignalsBlocked();

 private:
  sigset_t before_{};
};

}  // namespace camera

#endif
