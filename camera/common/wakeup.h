// A descriptor that is readable while something waits.
#ifndef ZEL_CAMERA_WAKEUP_H
#define ZEL_CAMERA_WAKEUP_H

#include <cstdint>

namespace camera {

/// An eventfd with two states: set (polls readable) and clear. set() and clear() must not race; waiting may.
class Wakeup {
 public:
  Wakeup();
  Wakeup(const Wakeup &) = delete;
  Wakeup &operator=(const Wakeup &) = delete;
  ~Wakeup();

  int descriptor() const { return descriptor_; }
  void set();
  void clear();

 private:
  int descriptor_ = -1;
  bool is_set_ = false;
};

/// Waits until one of the two descriptors is readable or the monotonic clock reaches `deadline_us` (negative: without
/// limit). Returns false with errno EINTR when a signal came first.
bool wait_readable(int first, int second, std::int64_t deadline_us);

/// Microseconds of CLOCK_MONOTONIC.
std::int64_t monotonic_us();

/// Microseconds since the Unix epoch.
std::int64_t wall_clock_us();

}  // namespace camera

#endif
