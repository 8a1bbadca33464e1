// The rank-sum test.
#include "frames/model/rank_test.h"

#include <algorithm>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <utility>
#include <vector>

namespace frames {
namespace {

/// All values of both samples in order, each with whether it is of the first.
std::vector<std::pair<double, bool>> pooled(std::span<const double> one, std::span<const double> other) {
  std::vector<std::pair<double, bool>> values;
  values.reserve(one.size() + other.size());
  for (const double value : one)
    values.emplace_back(value, true);
  for (const double value : other)
    values.emplace_back(value, false);
  std::sort(values.begin(), values.end());
  return values;
}

}  // namespace

RankTest rank_test(std::span<const double> one, std::span<const double> other) {
  if (one.empty() || other.empty()) return {};
  const std::vector<std::pair<double, bool>> values = pooled(one, other);
  double rank_sum = 0;  // of the first sample; ranks from 1, equal values share their mean rank
  double ties = 0;      // sum of t^3 - t over groups of t equal values
  for (std::size_t begin = 0; begin < values.size();) {
    std::size_t end = begin;
    double of_one = 0;
    for (; end < values.size() && values[end].first == values[begin].first; ++end)
      of_one += values[end].second ? 1 : 0;
    const auto equal = static_cast<double>(end - begin);
    const double mean_rank = static_cast<double>(begin + end + 1) / 2;
    rank_sum += of_one * mean_rank;
    ties += equal * equal * equal - equal;
    begin = end;
  }
  const auto n = static_cast<double>(one.size());
  const auto m = static_cast<double>(other.size());
  const double u = rank_sum - n * (n + 1) / 2;
  const double all = n + m;
  const double variance = n * m / 12 * (all + 1 - ties / (all * (all - 1)));
  const double distance = std::abs(u - n * m / 2) - 0.5;
  const bool other_is_higher = u < n * m / 2;
  if (variance <= 0 || distance <= 0) return {.p = 1, .other_is_higher = other_is_higher};
  const boost::math::normal standard;
  const double p = 2 * boost::math::cdf(boost::math::complement(standard, distance / std::sqrt(variance)));
  return {.p = std::min(1.0, p), .other_is_higher = other_is_higher};
}

}  // namespace frames
