// How a page shows a quantity's distribution: percentiles into the tail, a curve, a histogram, the worst frames.
#ifndef ZEL_FRAMES_REPORT_SPREAD_H
#define ZEL_FRAMES_REPORT_SPREAD_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

enum class Measured : std::uint8_t { kDistance, kLatency };

/// One percentile: `share` is in parts of 10000.
struct Percentile {
  const char *name;
  std::size_t share;
};
inline constexpr std::array kPercentiles = {Percentile{"50", 5000}, Percentile{"90", 9000}, Percentile{"99", 9900},
                                            Percentile{"99.9", 9990}, Percentile{"99.99", 9999}};

/// All values of a run in rising order, in us.
using Values = std::vector<std::int64_t>;

Values sorted_values(const FrameTable &frames, Measured measured);

/// The nearest rank: the smallest value that at least that share of all does not exceed. There is a value.
std::int64_t percentile_of(const Values &values, std::size_t share);

/// Points of the percentile curve: -log10 of the share of values that are larger (0: all, 2: 1 %), and the value.
/// The last point is the largest value. Empty without values.
std::vector<std::pair<double, std::int64_t>> percentile_curve(const Values &values);

/// Bins of equal width for one or two runs. What lies below the first bin or above the last one is counted in these.
struct Histogram {
  double from = 0;                               ///< where the first bin begins, us
  double width = 1;                              ///< us
  std::vector<std::vector<std::size_t>> counts;  ///< a row of bins for each run
  bool is_cut = false;                           ///< values lie outside the bins
};

/// The bins reach from the smallest to the largest value, or only around the middle 99.8 % where the rest lies far off.
Histogram make_histogram(const std::vector<Values> &runs);

struct WorstFrame {
  std::size_t frame = 0;
  std::int64_t value = 0;  ///< us
};

/// The frames with the largest values, the largest first, of equal ones the earliest.
std::vector<WorstFrame> worst_frames(const FrameTable &frames, Measured measured, std::size_t most);

}  // namespace frames

#endif
