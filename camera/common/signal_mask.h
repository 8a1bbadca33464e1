// Signals that the camera must not take, or not raise, in the client's process.
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

/// Blocks SIGPIPE on this thread and takes it back when it was raised meanwhile, so that writing to a pipe without a
/// reader only fails with EPIPE. Leaves errno as it is.
class PipeSignalBlocked {
 public:
  PipeSignalBlocked() noexcept;
  PipeSignalBlocked(const PipeSignalBlocked &) = delete;
  PipeSignalBlocked &operator=(const PipeSignalBlocked &) = delete;
  ~PipeSignalBlocked();

 private:
  sigset_t before_{};
  bool was_pending_ = false;
};

}  // namespace camera

#endif
