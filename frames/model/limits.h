// Limits that a capture has to keep.
#ifndef ZEL_FRAMES_MODEL_LIMITS_H
#define ZEL_FRAMES_MODEL_LIMITS_H

#include <cstdint>
#include <optional>

#include "frames/model/capture.h"
#include "frames/model/statistics.h"

namespace frames {

/// What is asked of a capture; what is absent is not.
struct Limits {
  std::optional<double> rate = std::nullopt;                   ///< frames a second
  double tolerance_percent = 1;                                ///< of the rate, up and down
  std::optional<std::uint64_t> max_missing = std::nullopt;     ///< frames
  std::optional<std::uint64_t> max_latency_us = std::nullopt;  ///< of any frame
  std::optional<std::uint64_t> p99_latency_us = std::nullopt;
  std::optional<std::uint64_t> max_delta_us = std::nullopt;    ///< between frames that follow each other
  std::optional<std::uint64_t> max_frame_size = std::nullopt;  ///< bytes
  std::optional<std::uint64_t> max_bitrate = std::nullopt;     ///< bits a second
  std::optional<std::uint64_t> gop = std::nullopt;             ///< frames
};

/// Adds a finding, whose id is the limit's option, for what exceeds a limit. Throws Unusable for a limit on what the
/// capture does not tell, or not of every frame.
void check_limits(const Capture &capture, const Statistics &statistics, const Limits &limits, Findings &findings);

}  // namespace frames

#endif
