// The scripted changes to frames.
#ifndef ZEL_CAMERA_FRAME_SCRIPT_H
#define ZEL_CAMERA_FRAME_SCRIPT_H

#include <cstdint>
#include <vector>

#include "config/key_file.h"
#include "producer/frame.h"

namespace camera {

/// What the script says about one frame before it is made.
struct FrameFaults {
  bool dropped = false;
  bool ends_stream = false;
  std::uint64_t latency_us = 0;            ///< jitter included
  std::vector<const FrameFault *> groups;  ///< that apply to this frame, in the key file's order
};

/// The frame faults of one stream. Used by the producer's thread only.
class FrameScript {
 public:
  FrameScript(const CameraConfig &config) : faults_(config.frame_faults), seed_(config.seed) {}

  /// Which faults apply to the next frame. Frames come in order, because clock steps add up; a frame that is asked for
  /// again after a stop counts its steps once.
  FrameFaults faults_of(std::uint64_t sequence);

  /// Adds the clock steps so far to the frame's times.
  void step_clocks(Frame &frame) const;

  /// Makes the changes to a frame that has been produced.
  void apply(const FrameFaults &faults, Frame &frame) const;

 private:
  const std::vector<FrameFault> &faults_;
  std::uint64_t seed_;
  std::uint64_t unstepped_ = 0;      ///< the first frame whose steps have not been taken
  std::uint64_t clock_step_us_ = 0;  ///< taken so far; backward steps wrap
  std::uint64_t utc_step_us_ = 0;
};

}  // namespace camera

#endif
