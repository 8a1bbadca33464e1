// When each frame is captured.
#ifndef ZEL_CAMERA_PACER_H
#define ZEL_CAMERA_PACER_H

#include <cstdint>

#include "config/key_file.h"
#include "pacing/timeline.h"

namespace camera {

/// The times of a run of frames at a fixed rate. In real time the frames lie on a grid that begins when the run begins
/// and never shifts: the place of each is computed from its number, not from its predecessor. Those of a capture lie on
/// its timeline instead, which each run begins anew.
class Pacer {
 public:
  /// `timeline` is null unless a capture is played; it outlives this.
  Pacer(const CameraConfig &config, std::int64_t rate_numerator, std::int64_t rate_denominator,
        const Timeline *timeline);

  /// A run begins now; its first frame is `sequence`.
  void begin(std::uint64_t sequence);

  /// When the frame is due on the monotonic clock; negative: at once.
  std::int64_t due_us(std::uint64_t sequence) const;

  /// Whether it is too late for the frame: its successor is due already, and in a capture, whose frames may lie close
  /// together, a nominal distance has passed.
  bool is_missed(std::uint64_t sequence) const;

  /// The moment of capture: on the grid in real time, now when unpaced, at its distance on the virtual clock.
  std::uint64_t captured_us(std::uint64_t sequence) const;

  /// The wall clock at that moment.
  std::uint64_t utc_us(std::uint64_t captured) const;

  /// The pacing's clock now; on the virtual clock `captured`.
  std::uint64_t now_us(std::uint64_t captured) const;

  bool is_real_time() const { return pacing_ == Pacing::kRealTime; }
  bool is_virtual() const { return pacing_ == Pacing::kVirtual; }
  /// Whether frames are as far apart as they are to be.
  bool keeps_distances() const { return pacing_ != Pacing::kUnpaced; }

 private:
  std::uint64_t distance_us(std::uint64_t frames) const;

  Pacing pacing_;
  std::uint64_t numerator_;
  std::uint64_t denominator_;
  const Timeline *timeline_;
  std::uint64_t virtual_first_us_;  ///< of the stream's first frame
  std::uint64_t virtual_start_us_;  ///< the same; of a capture, the run's first frame
  std::uint64_t virtual_utc_us_;
  std::uint64_t first_sequence_ = 0;
  std::int64_t start_us_ = 0;
};

}  // namespace camera

#endif
