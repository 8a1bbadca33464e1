// Waiting on descriptors with microsecond deadlines.
#include "common/wakeup.h"

#include <glib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace camera {

Wakeup::Wakeup() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
}

Wakeup::~Wakeup() {
  close(descriptor_);
}

void Wakeup::set() {
  if (is_set_) return;
  is_set_ = true;
  const std::uint64_t one = 1;
  (void)!write(descriptor_, &one, sizeof one);
}

void Wakeup::clear() {
  if (!is_set_) return;
  is_set_ = false;
  std::uint64_t count = 0;
  (void)!read(descriptor_, &count, sizeof count);
}

bool wait_readable(int first, int second, std::int64_t deadline_us) {
  constexpr std::int64_t kSecond = 1'000'000;
  pollfd set[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
  timespec rest{};
  if (deadline_us >= 0) {
    const std::int64_t left = std::max<std::int64_t>(deadline_us - monotonic_us(), 0);
    rest.tv_sec = static_cast<time_t>(left / kSecond);
    rest.tv_nsec = static_cast<decltype(rest.tv_nsec)>(left % kSecond * 1000);
  }
  return ppoll(set, 2, deadline_us >= 0 ? &rest : nullptr, nullptr) >= 0 || errno != EINTR;
}

std::int64_t monotonic_us() {
  return g_get_monotonic_time();
}

std::int64_t wall_clock_us() {
  return g_get_real_time();
}

}  // namespace camera
