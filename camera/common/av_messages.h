// FFmpeg's messages while the camera works.
#ifndef ZEL_CAMERA_AV_MESSAGES_H
#define ZEL_CAMERA_AV_MESSAGES_H

namespace camera {

/// While one of these lives, FFmpeg's log callback is the camera's, which MessagesSilenced needs; after the last one it
/// is FFmpeg's default again. One that the client has set before is not put back: FFmpeg does not tell it.
class AvLogCallback {
 public:
  AvLogCallback();
  AvLogCallback(const AvLogCallback &) = delete;
  AvLogCallback &operator=(const AvLogCallback &) = delete;
  ~AvLogCallback();
};

/// Keeps what FFmpeg says on this thread off standard error, which is the client's; what goes wrong becomes an error of
/// the call. Messages of other threads are printed.
class MessagesSilenced {
 public:
  MessagesSilenced();
  MessagesSilenced(const MessagesSilenced &) = delete;
  MessagesSilenced &operator=(const MessagesSilenced &) = delete;
  ~MessagesSilenced();
};

}  // namespace camera

#endif
