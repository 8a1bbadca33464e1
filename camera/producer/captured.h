// Playing what a client stored.
#ifndef ZEL_CAMERA_CAPTURED_H
#define ZEL_CAMERA_CAPTURED_H

#include <optional>
#include <stdexcept>

#include "config/key_file.h"
#include "producer/assemble.h"
#include "settings/values.h"

namespace camera {

/// A file of the key file cannot be used. The text begins with the key: "[camera] capture: ".
struct UnusableFile : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Opens the capture that the key file names and makes its producer, which hands its frames out as they are: nothing is
/// decoded. Throws UnusableFile. Returns nothing and sets the error when the settings are unusable: those of a coded
/// capture must have its format and size, and frames of an uncompressed one must have the size that is asked for.
std::optional<Assembly> assemble_capture(const CameraConfig &config, const Values &request, GError **error);

}  // namespace camera

#endif
