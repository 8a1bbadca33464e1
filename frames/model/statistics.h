// What a capture measures: the figures behind `stats`, `check` and whatever compares captures.
#ifndef ZEL_FRAMES_MODEL_STATISTICS_H
#define ZEL_FRAMES_MODEL_STATISTICS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "frames/model/capture.h"
#include "frames/model/distribution.h"

namespace frames {

/// A place where frames may be missing: the distance to the next frame is above one and a half times the nominal one,
/// or the sequence numbers skip.
struct Gap {
  std::size_t after = 0;                 ///< the frame before it
  std::optional<std::int64_t> delta_us;  ///< from that frame to the next
  std::uint64_t missing =
      0;  ///< frames that the sequence numbers skip; without them, how many the distance has room for
};

/// Groups of pictures: from a key frame to before the next; the last one counts too. In frames.
struct Gops {
  std::size_t count = 0;
  std::size_t min = 0;
  std::size_t max = 0;
  double mean = 0;
};

/// All of a capture's figures. What the capture does not tell, or what is undefined, is absent.
struct Statistics {
  std::size_t frames = 0;
  std::optional<std::size_t> keys;
  std::uint64_t bytes = 0;                  ///< of all frames
  std::optional<std::int64_t> duration_us;  ///< last minus first time
  std::optional<double> fps;                ///< frames but one over the duration
  std::optional<double> bitrate_bps;        ///< bits of all frames but the last over the duration
  std::optional<std::int64_t> nominal_us;   ///< median of the positive distances
  std::optional<std::uint64_t>
      missing;  ///< sum of the gaps'; absent where neither times nor sequence numbers are known
  std::optional<Distribution> delta_us;  ///< over the distances, one fewer than frames
  std::optional<Distribution> delta_cts_us;
  std::optional<Distribution> latency_us;
  std::optional<Distribution> size;
  std::optional<Distribution> size_key;
  std::optional<Distribution> size_other;
  std::optional<Gops> gop;
  std::vector<Gap> gaps;
  std::vector<std::size_t> backwards;  ///< frames whose time is below the one before
  std::vector<std::size_t> repeated;   ///< frames whose time is that of the one before
};

/// The distance of a frame to the one before, in us; nothing where it is not known. 0 for the first frame with a time.
std::optional<std::int64_t> delta_us(const FrameTable &frames, std::size_t frame);

/// Frames that the sequence numbers skip before a frame (not the first), where they are known. Numbers that start again
/// skip nothing.
std::optional<std::uint64_t> skipped_before(const FrameTable &frames, std::size_t frame);

/// The median of the positive distances, in us; nothing without any.
std::optional<std::int64_t> nominal_distance(const FrameTable &frames);

/// Measures the capture, whose key frames have been looked for.
Statistics measure_capture(const Capture &capture);

}  // namespace frames

#endif
