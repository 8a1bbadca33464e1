// Putting a stream's parts together.
#ifndef ZEL_CAMERA_ASSEMBLE_H
#define ZEL_CAMERA_ASSEMBLE_H

#include <memory>
#include <optional>

#include "common/stop_check.h"
#include "config/key_file.h"
#include "producer/producer.h"
#include "settings/grant.h"

namespace camera {

/// What a stream is made of once its settings are granted.
struct Assembly {
  Grant grant;
  std::size_t capacity;  ///< of its buffers
  std::unique_ptr<Producer> producer;
};

/// Checks the request and makes the producer, which tests `is_stopping` while it waits for its source. Returns
/// nothing and sets the error when the settings are unusable; throws AvFailure when the source or the encoder cannot be
/// had, UnusableFile when the capture cannot be used.
std::optional<Assembly> assemble(const CameraConfig &config, const Values &request, StopCheck is_stopping,
                                 GError **error);

}  // namespace camera

#endif
