// FFmpeg's messages while the camera works.
#ifndef ZEL_CAMERA_AV_MESSAGES_H
#define ZEL_CAMERA_AV_MESSAGES_H

namespace camera {

/// Keeps what FFmpeg says on this thread off standard error, which is the client's; what goes wrong becomes an error of
/// the call. Messages of other threads are printed as before.
class MessagesSilenced {
 public:
  MessagesSilenced();
  MessagesSilenced(const MessagesSilenced &) = delete;
  MessagesSilenced &operator=(const MessagesSilenced &) = delete;
  ~MessagesSilenced();
};

}  // namespace camera

#endif
