// How values are distributed.
#ifndef ZEL_FRAMES_MODEL_DISTRIBUTION_H
#define ZEL_FRAMES_MODEL_DISTRIBUTION_H

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace frames {

/// A percentile is a nearest rank: the smallest value that at least that share of all values does not exceed, its rank
/// computed in integers. The deviation is the population's: the mean square distance from the mean is over all values.
struct Distribution {
  std::size_t count = 0;
  std::int64_t min = 0;
  std::int64_t max = 0;
  std::int64_t p50 = 0;
  std::int64_t p90 = 0;
  std::int64_t p99 = 0;
  std::int64_t p999 = 0;
  double mean = 0;
  double stddev = 0;
};

/// Counts values in so many places that percentiles are found in few readings, without a copy: in at most four where
/// there are many values, and with tables that are not much larger than the values where there are few.
class RankFinder {
 public:
  static constexpr std::size_t kRanks = 4;

  /// Of `count` values between `min` and `max`; the ranks are counted from 0.
  RankFinder(std::size_t count, std::int64_t min, std::int64_t max, const std::array<std::size_t, kRanks> &ranks)
      : min_(min),
        step_(std::clamp(static_cast<int>(std::bit_width(count)), kSmallestStep, kLargestStep)),
        shift_(std::max(0, bits(min, max) - step_)),
        is_exact_(shift_ == 0) {
    for (std::size_t i = 0; i < kRanks; ++i)
      wanted_[i].rank = ranks[i];
    counts_.assign(std::size_t{1} << static_cast<unsigned>(bits(min, max) - shift_), 0);
  }

  /// Reads all values once for every step of bits in which they differ. `each` calls what it is given with every value.
  template <typename Each>
  void find(const Each &each) {
    each([this](std::int64_t value) { ++counts_[static_cast<std::size_t>(place(value) >> shift_)]; });
    for (Wanted &wanted : wanted_)
      descend(wanted, counts_);
    while (shift_ > 0) {
      const int before = shift_;
      shift_ = std::max(0, shift_ - step_);
      for (Wanted &wanted : wanted_)
        wanted.counts.assign(std::size_t{1} << static_cast<unsigned>(before - shift_), 0);
      each([this, before](std::int64_t value) {
        const std::uint64_t at = place(value);
        for (Wanted &wanted : wanted_)
          if (at >> before == wanted.prefix) ++wanted.counts[lowest(at >> shift_, wanted.counts.size())];
      });
      for (Wanted &wanted : wanted_)
        descend(wanted, wanted.counts);
    }
  }

  /// Calls what it is given with every value that there is and how often. False, without a call, when the values lie
  /// too far apart to be counted one by one.
  template <typename Visit>
  bool each_value(Visit &&visit) const {
    if (!is_exact_) return false;
    for (std::size_t i = 0; i < counts_.size(); ++i)
      if (counts_[i] != 0) visit(min_ + static_cast<std::int64_t>(i), counts_[i]);
    return true;
  }

  std::int64_t operator[](std::size_t rank) const {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(min_) + wanted_[rank].prefix);
  }

 private:
  // Bits that one reading finds.
  static constexpr int kSmallestStep = 8;
  static constexpr int kLargestStep = 18;  ///< the sizes of frames hardly differ in more bits

  /// The search for one rank: the upper bits that are known, and the rank among the values that share them.
  struct Wanted {
    std::uint64_t prefix = 0;
    std::size_t rank = 0;
    std::vector<std::size_t> counts;
  };

  static int bits(std::int64_t min, std::int64_t max) {
    return static_cast<int>(std::bit_width(static_cast<std::uint64_t>(max) - static_cast<std::uint64_t>(min)));
  }

  std::uint64_t place(std::int64_t value) const {
    return static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(min_);
  }

  /// The place in a table of so many counts, a power of two.
  static std::size_t lowest(std::uint64_t place, std::size_t counts) {
    return static_cast<std::size_t>(place & (counts - 1));
  }

  static void descend(Wanted &wanted, const std::vector<std::size_t> &counts) {
    std::size_t bucket = 0;
    while (wanted.rank >= counts[bucket])
      wanted.rank -= counts[bucket++];
    wanted.prefix = wanted.prefix * counts.size() + bucket;
  }

  std::int64_t min_;
  int step_;
  int shift_;
  bool is_exact_;  ///< each value has a count of its own
  std::vector<std::size_t> counts_;
  std::array<Wanted, kRanks> wanted_;
};

/// The exact sum of any number of 64-bit values.
class WideSum {
 public:
  void add(std::int64_t value) {
    const std::uint64_t before = low_;
    low_ += static_cast<std::uint64_t>(value);
    high_ += (low_ < before ? 1 : 0) + (value < 0 ? -1 : 0);
  }
  double value() const {
    constexpr double kWord = 18446744073709551616.0;  // 2^64
    if (high_ == 0) return static_cast<double>(low_);
    if (high_ == -1) return -static_cast<double>(-low_);
    return static_cast<double>(high_) * kWord + static_cast<double>(low_);
  }

 private:
  std::uint64_t low_ = 0;
  std::int64_t high_ = 0;
};

/// The rank from 0 of the percentile that is `share` thousandths, of `count` values.
inline std::size_t nearest_rank(std::size_t count, std::size_t share) {
  const std::uint64_t rank = (std::uint64_t{count} * share + 999) / 1000;
  return static_cast<std::size_t>(std::max<std::uint64_t>(rank, 1) - 1);
}

/// Measures the values with which `each` calls what it is given, the same ones in each reading. Nothing without a
/// value.
template <typename Each>
std::optional<Distribution> measure(const Each &each) {
  Distribution result;
  result.min = std::numeric_limits<std::int64_t>::max();
  result.max = std::numeric_limits<std::int64_t>::min();
  WideSum sum;
  each([&](std::int64_t value) {
    ++result.count;
    result.min = std::min(result.min, value);
    result.max = std::max(result.max, value);
    sum.add(value);
  });
  if (result.count == 0) return std::nullopt;
  const auto count = static_cast<double>(result.count);
  result.mean = sum.value() / count;

  RankFinder ranks(result.count, result.min, result.max,
                   {nearest_rank(result.count, 500), nearest_rank(result.count, 900), nearest_rank(result.count, 990),
                    nearest_rank(result.count, 999)});
  ranks.find(each);
  result.p50 = ranks[0];
  result.p90 = ranks[1];
  result.p99 = ranks[2];
  result.p999 = ranks[3];

  double squares = 0;
  const auto add_squares = [&squares, mean = result.mean](std::int64_t value, std::size_t times) {
    const double distance = static_cast<double>(value) - mean;
    squares += distance * distance * static_cast<double>(times);
  };
  if (!ranks.each_value(add_squares)) each([&add_squares](std::int64_t value) { add_squares(value, 1); });
  result.stddev = std::sqrt(squares / count);
  return result;
}

}  // namespace frames

#endif
