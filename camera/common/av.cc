// FFmpeg's failures.
#include "common/av.h"

#include <array>
#include <new>

namespace camera {

int av_check(int status, const std::string &what) {
  if (status >= 0) return status;
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  (void)av_strerror(status, text.data(), text.size());
  throw AvFailure(what + ": " + text.data());
}

AvFrame new_frame() {
  AvFrame frame(av_frame_alloc());
  if (frame == nullptr) throw std::bad_alloc();
  return frame;
}

AvPacket new_packet() {
  AvPacket packet(av_packet_alloc());
  if (packet == nullptr) throw std::bad_alloc();
  return packet;
}

}  // namespace camera
