// Measuring two things side by side: rounds in which both run, medians over the rounds.
#ifndef ZEL_BENCH_ROUNDS_H
#define ZEL_BENCH_ROUNDS_H

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

/// Processor time of this process, ns: user and system, so that other programs on the machine hardly count.
inline std::int64_t processor_time() {
  timespec now{};
  (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t half = values.size() / 2;
  return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

struct SideBySide {
  double ours = 0;        ///< median, in what the measurements return
  double peer = 0;        ///< median
  double ratio = 0;       ///< median of the rounds' ours / peer
  double difference = 0;  ///< median of the rounds' ours - peer
};

/// Runs both in each round, in turns first. The first round only warms up.
inline SideBySide measure(int rounds, const std::function<double()> &ours, const std::function<double()> &peer) {
  std::vector<double> our_times;
  std::vector<double> peer_times;
  std::vector<double> ratios;
  std::vector<double> differences;
  for (int round = 0; round <= rounds; ++round) {
    double our_time = 0;
    double peer_time = 0;
    if (round % 2 == 0) {
      our_time = ours();
      peer_time = peer();
    } else {
      peer_time = peer();
      our_time = ours();
    }
    if (round == 0) continue;
    our_times.push_back(our_time);
    peer_times.push_back(peer_time);
    ratios.push_back(our_time / peer_time);
    differences.push_back(our_time - peer_time);
  }
  return {median(std::move(our_times)), median(std::move(peer_times)), median(std::move(ratios)),
          median(std::move(differences))};
}

#endif
