// Where the frames of a capture lie: in time and in the sequence of numbers.
#ifndef ZEL_CAMERA_TIMELINE_H
#define ZEL_CAMERA_TIMELINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "formats/capture/capture.h"

namespace camera {

/// How long after the first frame that of a number lies on a grid of so many frames a second; us.
std::uint64_t grid_us(std::uint64_t number, std::uint64_t numerator, std::uint64_t denominator);

/// The places of a capture's frames. Frames have numbers from 0 on, in which those are counted that the capture lacks:
/// as its sequence numbers skip them, or else as its distances have room for them. Places never fall: where the
/// capture's time goes back, it stands still here. Behind the last frame comes, at the nominal distance, the first one
/// again in a loop, else the end.
class Timeline {
 public:
  /// Of a capture with at least one frame. Without times its frames lie on the grid of that rate.
  Timeline(const formats::Capture &capture, std::int64_t rate_numerator, std::int64_t rate_denominator, bool loops);

  /// The frame of that number, an index of the capture; nothing where the capture lacks one, and behind its end.
  std::optional<std::size_t> frame(std::uint64_t number) const;

  bool has_ended(std::uint64_t number) const { return !loops_ && number >= length(); }

  /// How long after the first frame that number comes, us. Those that the capture lacks lie evenly between the others.
  std::uint64_t place_us(std::uint64_t number) const;

  /// From the place of a frame to its own time, us: not 0 once the capture's time went back.
  std::int64_t offset_us(std::size_t frame) const { return offsets_us_.empty() ? 0 : offsets_us_[frame]; }

  /// The service's number of the first frame; 0 where the capture does not tell it.
  std::uint32_t first_sequence() const { return first_sequence_; }
  /// The first frame's time, us; nothing where the capture tells distances at most.
  std::optional<std::uint64_t> first_time_us() const { return first_time_us_; }
  /// The usual distance, us: the median of those above 0; that of the grid where there is none. At least 1.
  std::uint64_t nominal_us() const { return nominal_us_; }

 private:
  void add_frame(const formats::FrameTable &frames, std::size_t frame, bool timed);
  /// Numbers in one round.
  std::uint64_t length() const { return std::uint64_t{numbers_.back()} + 1; }

  bool loops_;
  std::uint32_t first_sequence_ = 0;
  std::optional<std::uint64_t> first_time_us_;
  std::uint64_t nominal_us_ = 1;
  std::vector<std::uint32_t> numbers_;  ///< of each frame, rising
  std::vector<std::uint64_t> places_us_;
  std::vector<std::int64_t> offsets_us_;  ///< empty: all are 0
};

/// The usual distance of a capture's frames, us; nothing where it has no times or none that rise.
std::optional<std::uint64_t> nominal_distance_us(const formats::FrameTable &frames);

}  // namespace camera

#endif
