// Stopping work that waits.
#ifndef ZEL_CAMERA_STOP_CHECK_H
#define ZEL_CAMERA_STOP_CHECK_H

#include <exception>
#include <functional>

namespace camera {

/// Whether the work shall stop now; called often while it waits.
using StopCheck = std::function<bool()>;

/// Thrown out of work that has found its StopCheck true.
struct Stopped : std::exception {
  const char *what() const noexcept override { return "Stopped"; }
};

}  // namespace camera

#endif
