// The files of a capture, and what they make of a request.
#ifndef ZEL_CAMERA_CAPTURED_FILES_H
#define ZEL_CAMERA_CAPTURED_FILES_H

#include <optional>

#include "config/key_file.h"
#include "formats/capture/capture.h"
#include "settings/grant.h"
#include "settings/values.h"

namespace camera {

/// A capture with at least one frame, whose frames have bytes, and what is granted on it.
struct OpenedCapture {
  formats::Capture capture;
  formats::Codec codec;
  Grant grant;
};

/// Opens the capture of the key file, with its console text. Fails as assemble_capture() does.
std::optional<OpenedCapture> open_configured_capture(const CameraConfig &config, const Values &request, GError **error);

}  // namespace camera

#endif
