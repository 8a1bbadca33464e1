// Whether two samples differ by more than chance.
#ifndef ZEL_FRAMES_MODEL_RANK_TEST_H
#define ZEL_FRAMES_MODEL_RANK_TEST_H

#include <span>

namespace frames {

/// The two-sided probability that samples of one distribution come out as different as these two: the rank-sum test of
/// Mann and Whitney (Annals of Mathematical Statistics 18, 1947), normal approximation with the correction for ties and
/// for continuity. 1 for samples without any difference, and for an empty one.
double rank_test(std::span<const double> one, std::span<const double> other);

}  // namespace frames

#endif
