// The controls of the device. Its buffers are pages of the file, so that mapping them needs no help.

// libavdevice is built with the C library's plain types, and so calls the plain ioctl.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "support/fake_webcam.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <thread>

namespace fake_webcam {
namespace {

constexpr std::uint32_t kPictureBytes = kWidth * kHeight;
constexpr std::uint32_t kBufferBytes = 8192;  ///< whole pages
constexpr std::uint32_t kBuffers = 4;

std::deque<std::uint32_t> queued;
std::uint32_t waiting = 0;  ///< pictures that were captured and not fetched
std::uint32_t next_picture = 0;
bool silent = false;
std::atomic<bool> was_asked = false;  ///< while silent

void describe(v4l2_pix_format &format) {
  format.width = kWidth;
  format.height = kHeight;
  format.pixelformat = V4L2_PIX_FMT_GREY;
  format.field = V4L2_FIELD_NONE;
  format.bytesperline = kWidth;
  format.sizeimage = kPictureBytes;
}

bool fetch(int device, v4l2_buffer &buffer) {
  if (queued.empty() || waiting == 0) {
    waiting = silent ? 0 : 1;  // by the next look
    was_asked = was_asked || silent;
    errno = EAGAIN;
    return false;
  }
  --waiting;
  buffer.index = queued.front();
  queued.pop_front();
  buffer.bytesused = kPictureBytes;
  buffer.flags = V4L2_BUF_FLAG_TIMESTAMP_MONOTONIC;
  std::array<std::uint8_t, kPictureBytes> picture{};
  picture.fill(brightness(next_picture++));
  return pwrite(device, picture.data(), picture.size(), off_t{kBufferBytes} * buffer.index) == ssize_t{kPictureBytes};
}

int control(int device, unsigned long request, void *argument) {
  switch (request) {
    case VIDIOC_QUERYCAP:
      static_cast<v4l2_capability *>(argument)->capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
      return 0;
    case VIDIOC_G_INPUT:
      *static_cast<int *>(argument) = 0;
      return 0;
    case VIDIOC_ENUMINPUT:
      return static_cast<v4l2_input *>(argument)->index == 0 ? 0 : (errno = EINVAL, -1);
    case VIDIOC_G_FMT:
      describe(static_cast<v4l2_format *>(argument)->fmt.pix);
      return 0;
    case VIDIOC_S_FMT: {
      v4l2_pix_format &format = static_cast<v4l2_format *>(argument)->fmt.pix;
      if (format.pixelformat != V4L2_PIX_FMT_GREY) {
        errno = EINVAL;
        return -1;
      }
      describe(format);
      return 0;
    }
    case VIDIOC_G_PARM:
    case VIDIOC_S_PARM:
      static_cast<v4l2_streamparm *>(argument)->parm.capture.timeperframe = {1, kFramesPerSecond};
      return 0;
    case VIDIOC_REQBUFS:
      static_cast<v4l2_requestbuffers *>(argument)->count = kBuffers;
      return 0;
    case VIDIOC_QUERYBUF: {
      auto &buffer = *static_cast<v4l2_buffer *>(argument);
      buffer.length = kBufferBytes;
      buffer.m.offset = kBufferBytes * buffer.index;
      return 0;
    }
    case VIDIOC_QBUF:
      queued.push_back(static_cast<v4l2_buffer *>(argument)->index);
      return 0;
    case VIDIOC_DQBUF:
      return fetch(device, *static_cast<v4l2_buffer *>(argument)) ? 0 : -1;
    case VIDIOC_STREAMON:
    case VIDIOC_STREAMOFF:
      return 0;
    default:
      errno = ENOTTY;
      return -1;
  }
}

}  // namespace

void make(const std::string &path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  const bool made = file >= 0 && ftruncate(file, off_t{kBufferBytes} * kBuffers) == 0;
  if (file >= 0) (void)close(file);
  if (!made) throw std::runtime_error(path + ": " + std::strerror(errno));
  queued.clear();
  waiting = 0;
  next_picture = 0;
  silent = false;
}

void fall_silent() {
  silent = true;
  waiting = 0;
  was_asked = false;
}

void wait_for_look() {
  while (!was_asked)
    std::this_thread::yield();
}

std::uint32_t capture(std::uint32_t count) {
  waiting += count;
  return next_picture + waiting - 1;
}

}  // namespace fake_webcam

/// Takes the place of the C library's; what is not about video goes there.
// NOLINTNEXTLINE(cert-dcl50-cpp): the C library's declaration
extern "C" __attribute__((visibility("default"))) int ioctl(int device, unsigned long request, ...) noexcept {
  va_list arguments;
  va_start(arguments, request);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (_IOC_TYPE(request) == 'V') return fake_webcam::control(device, request, argument);
  using Function = int (*)(int, unsigned long, ...);
  static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "ioctl"));
  return real(device, request, argument);
}
