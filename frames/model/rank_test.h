// Whether two samples differ by more than chance.
#ifndef ZEL_FRAMES_MODEL_RANK_TEST_H
#define ZEL_FRAMES_MODEL_RANK_TEST_H

#include <span>

namespace frames {

/// What the test says of two samples.
struct RankTest {
  double p = 1;                  ///< the two-sided probability that samples of one distribution differ as much
  bool other_is_higher = false;  ///< the second sample's values rank higher on the whole
};

/// The rank-sum test of Mann and Whitney (Annals of Mathematical Statistics 18, 1947), normal approximation with the
/// correction for ties and for continuity. p is 1 for samples without any difference, and for an empty one.
RankTest rank_test(std::span<const double> one, std::span<const double> other);

}  // namespace frames

#endif
