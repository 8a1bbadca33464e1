// Where pictures come from.
#ifndef ZEL_CAMERA_SOURCE_H
#define ZEL_CAMERA_SOURCE_H

#include <chrono>
#include <memory>
#include <string>

#include "common/av.h"
#include "common/stop_check.h"
#include "config/key_file.h"
#include "settings/grant.h"

namespace camera {

/// A sequence of pictures.
class Source {
 public:
  Source() = default;
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;
  virtual ~Source() = default;

  virtual SourceShape shape() const = 0;

  /// Whether pictures come by themselves, so that one is out of date when another could be had.
  virtual bool is_live() const { return false; }

  /// The next picture, of a live source the newest, or null at the end. Throws AvFailure, after which it may be asked
  /// again.
  virtual AvFrame next() = 0;
};

/// A libavfilter graph without inputs and with one video output.
std::unique_ptr<Source> open_graph(const std::string &description);

/// A video file; it is read again from its start at its end.
std::unique_ptr<Source> open_file(const std::string &path);

/// A V4L2 device. Without a picture for longer than `patience` it counts as broken. next() throws Stopped instead of
/// waiting once `is_stopping` says so.
std::unique_ptr<Source> open_device(const std::string &path, StopCheck is_stopping,
                                    std::chrono::milliseconds patience = std::chrono::seconds(10));

/// The source that the key file names; null when it names none. Throws AvFailure. `is_stopping` is for a device.
std::unique_ptr<Source> open_configured_source(const CameraConfig &config, StopCheck is_stopping);

/// The scene of an input, drawn by the camera at the size that the plan needs.
std::unique_ptr<Source> open_drawn_source(const Plan &plan);

/// Whether a drawn scene moves, so that the number and time are written into it.
constexpr bool is_moving_input(std::uint32_t input) {
  constexpr std::uint32_t kStillInput = 3;
  return input != kStillInput;
}

}  // namespace camera

#endif
