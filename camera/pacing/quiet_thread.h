// What the camera keeps from the client's process while it works: signals and FFmpeg's messages.
#ifndef ZEL_CAMERA_QUIET_THREAD_H
#define ZEL_CAMERA_QUIET_THREAD_H

#include <csignal>

namespace camera {

/// Keeps signals away from threads that are made meanwhile: they are the client's.
class SignalsBlocked {
 public:
  SignalsBlocked();
  SignalsBlocked(const SignalsBlocked &) = delete;
  SignalsBlocked &operator=(const SignalsBlocked &) = delete;
  ~SignalsBlocked();

 private:
  sigset_t before_{};
};

/// Keeps what FFmpeg says on this thread meanwhile off standard error, which is the client's; what goes wrong comes back
/// as an error of the call. Messages of other threads are printed as ever.
class MessagesSilenced {
 public:
  MessagesSilenced();
  MessagesSilenced(const MessagesSilenced &) = delete;
  MessagesSilenced &operator=(const MessagesSilenced &) = delete;
  ~MessagesSilenced();
};

}  // namespace camera

#endif
