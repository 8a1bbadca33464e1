// A run while it goes on: its frames so far, the last second, the last minute.
#ifndef ZEL_FRAMES_LIVE_LIVE_RUN_H
#define ZEL_FRAMES_LIVE_LIVE_RUN_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/capture/console_lines.h"
#include "frames/live/pipe_reader.h"
#include "frames/model/capture.h"
#include "frames/model/distribution.h"

namespace frames {

/// Distance and latency of some frames, us; absent where they tell none.
struct LiveFigures {
  std::optional<Distribution> distance;
  std::optional<Distribution> latency;
};

/// What is to be shown of a run at one moment.
struct LiveView {
  std::size_t frames = 0;
  double rate = 0;         ///< frames that came in the last second
  double bitrate_bps = 0;  ///< their bits
  LiveFigures last_second;
  LiveFigures whole_run;
  std::size_t gaps = 0;
  std::uint64_t missing = 0;
  bool in_bursts = false;  ///< lines come many at once: the client's output is buffered
};

/// Takes a console text as it comes.
class LiveRun {
 public:
  static constexpr std::size_t kMinute = 60;  ///< seconds, of which the largest latency is kept each

  explicit LiveRun(Clock::time_point start);

  /// Takes what one read gave. Lines that are no frame's are appended to `other_lines`.
  void take(const Piece &piece, std::vector<std::string> &other_lines);

  LiveView view(Clock::time_point now);

  /// The largest latency, or distance where there is no latency, of each of the last seconds up to now, oldest first.
  std::vector<std::optional<std::int64_t>> minute(Clock::time_point now) const;

  /// The run so far.
  const Capture &capture() const { return capture_; }

 private:
  /// A frame that came in the last second.
  struct Arrival {
    Clock::time_point time;
    std::size_t frame = 0;
  };
  struct Second {
    std::int64_t number = 0;  ///< since the start
    std::int64_t largest = 0;
  };

  void take_line(std::string_view line, Clock::time_point time, std::vector<std::string> &other_lines);
  void note_frame(std::size_t frame, Clock::time_point time);
  void note_burst(std::size_t first);
  std::int64_t second_of(Clock::time_point time) const;
  LiveFigures measure_last_second() const;

  Clock::time_point start_;
  Capture capture_;
  formats::TableFiller filler_;
  std::string unfinished_;  ///< the start of a line
  std::deque<Arrival> arrivals_;
  std::deque<Second> seconds_;
  LiveFigures whole_run_;
  Clock::time_point next_measure_;  ///< of the whole run: it is measured as often as costs little
  std::size_t measured_gaps_ = 0;   ///< frames whose distance to the one before was looked at
  std::size_t gaps_ = 0;
  std::uint64_t missing_ = 0;
  std::size_t burst_frames_ = 0;  ///< among the last kWatched frames, those that came in a burst
  std::size_t watched_frames_ = 0;
  bool in_bursts_ = false;
};

}  // namespace frames

#endif
