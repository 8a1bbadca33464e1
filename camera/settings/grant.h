// Checking a request: every setting is checked, defaults are filled in, and the result is the stream's plan.
#ifndef ZEL_CAMERA_GRANT_H
#define ZEL_CAMERA_GRANT_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "settings/choices.h"
#include "settings/values.h"

namespace camera {

/// What the source of the pictures is like, for the defaults. Zeros: it takes any size and rate.
struct SourceShape {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  double framerate = 0;
  std::optional<std::uint32_t> format = {};  ///< of pictures that are coded already, whose size is fixed
};

/// Minimum, target and maximum; 0: no limit.
struct Limits {
  std::uint32_t minimum = 0;
  std::uint32_t target = 0;
  std::uint32_t maximum = 0;
};

enum class Fit { kStretch, kCrop, kScale };

/// The granted settings as the camera's parts use them.
struct Plan {
  std::uint32_t format = kFormatH264;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  double framerate = 0;
  std::int64_t rate_numerator = 0;  ///< the same frame rate as a fraction
  std::int64_t rate_denominator = 1;
  std::uint32_t profile = 0;  ///< of H.264 or H.265
  std::uint32_t rate_control = kRateVariable;
  std::uint32_t bitrate = 0;  ///< bits a second, of whatever rate control is in force
  std::uint32_t compression = 0;
  std::optional<std::uint32_t> qp_i;
  std::optional<std::uint32_t> qp_p;
  std::uint32_t gop_length = 0;  ///< 0: the first frame only
  bool gop_stretches = false;    ///< in a still scene
  std::uint32_t still_gop_length = 0;
  bool skips_still = false;
  bool skipped_are_empty = false;
  double still_framerate = 0;
  std::uint32_t timestamp_type = kTimestampMonotonic;
  std::uint32_t access = kAccessRead;
  bool service_buffers = false;
  std::uint32_t buffer_count = 0;
  bool chunks = false;
  std::uint32_t hold_us = 0;  ///< "buffer_us"
  bool blocking = true;
  bool snapshot = false;
  std::uint32_t input = 0;
  std::uint32_t channel = 0;
  std::uint32_t rotation = 0;
  bool mirrored = false;
  bool monochrome = false;
  bool privacy = false;
  bool text_overlay = false;
  std::optional<zel_quad32u> crop;
  Fit fit = Fit::kStretch;
  std::uint32_t alignment = 1;
  bool has_segments = false;
  Limits segment_ms;
  Limits segment_bytes;
};

struct Grant {
  Values settings;  ///< as granted, defaults included
  Plan plan;
};

/// Judges `request`. Returns nothing and sets the error (kErrorSetting; its message begins with the setting's key and
/// says what it accepts) when a setting is unknown or unusable.
std::optional<Grant> grant(const Values &request, const SourceShape &source, GError **error);

}  // namespace camera

#endif
