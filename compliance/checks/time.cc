// Times: whether frames come as they were granted. How fast the machine is decides too.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/common/options.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

/// The times of the frames of so many seconds, and what was granted.
struct Watched {
  double rate = 0.0;               ///< granted, frames a second
  guint32 lost = 0;                ///< sequence numbers left out
  std::vector<guint64> distances;  ///< between frames that follow one another, microseconds; sorted
  guint64 span = 0;                ///< from the first frame to the last one, microseconds
};

Watched watch() {
  Watched watched;
  Stream stream{Request()};
  watched.rate = stream.rate();
  stream.run(10);
  const guint64 wanted = guint64{options.seconds} * G_USEC_PER_SEC;
  BufferPtr buffer = stream.fetch();
  guint32 sequence = zel().frame_get_sequence_nbr(frame_of(buffer));
  guint64 time = zel().frame_get_timestamp(frame_of(buffer));
  stream.hand_back(buffer);
  // A clock that stands still must not keep this going.
  const auto most = static_cast<std::size_t>(watched.rate * 2.0 * options.seconds) + 100;
  while (watched.span < wanted && watched.distances.size() < most) {
    buffer = stream.fetch();
    const guint32 next = zel().frame_get_sequence_nbr(frame_of(buffer));
    const guint64 now = zel().frame_get_timestamp(frame_of(buffer));
    stream.hand_back(buffer);
    watched.lost += next - sequence - 1;
    watched.distances.push_back(now - time);
    watched.span += now - time;
    sequence = next;
    time = now;
  }
  std::ranges::sort(watched.distances);
  return watched;
}

std::string with_decimals(double value) {
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

void check_rate() {
  const Watched watched = watch();
  const auto frames = static_cast<double>(watched.distances.size()) + watched.lost;
  const double rate = frames * G_USEC_PER_SEC / static_cast<double>(watched.span);
  expect(std::abs(rate - watched.rate) <= watched.rate * 0.03,
         with_decimals(rate) + " frames a second came by their times and numbers, expected " +
             with_decimals(watched.rate) + " as granted, or 3 % less or more");
  note(with_decimals(rate) + " frames a second, " + with_decimals(watched.rate) + " granted, " +
       std::to_string(watched.lost) + " lost");
}

void check_distances() {
  const Watched watched = watch();
  const double granted = G_USEC_PER_SEC / watched.rate;
  const auto median = static_cast<double>(watched.distances.at(watched.distances.size() / 2));
  expect(std::abs(median - granted) <= granted * 0.1, "the median distance of two frames is " + with_decimals(median) +
                                                          " us, expected " + with_decimals(granted) +
                                                          " us as granted, or 10 % less or more");
  note("distances " + std::to_string(watched.distances.front()) + " to " + std::to_string(watched.distances.back()) +
       " us, median " + std::to_string(watched.distances.at(watched.distances.size() / 2)));
}

}  // namespace

std::vector<Check> time_checks() {
  return {
      {.name = "Time.Rate",
       .expects = "Over --seconds the frames, lost ones counted, come at the granted rate within 3 %",
       .relies = "The rates in the statistics, and the durations in the Matroska file",
       .run = check_rate},
      {.name = "Time.Distances",
       .expects = "The median distance of two frames' times is the granted one within 10 %",
       .relies = "Distances and jitter in the frame lines and the statistics",
       .run = check_distances},
  };
}

}  // namespace compliance
