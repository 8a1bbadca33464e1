// A run's figures at one moment, as text.
#ifndef ZEL_FRAMES_LIVE_LIVE_REPORT_H
#define ZEL_FRAMES_LIVE_LIVE_REPORT_H

#include <string>
#include <vector>

#include "frames/live/live_run.h"

namespace frames {

/// A few lines for a terminal of that width: figures of the last second and of the whole run, gaps, and the last
/// minute's largest latencies as bars.
std::vector<std::string> live_block(LiveRun &run, Clock::time_point now, std::size_t width);

/// The same in one line without the bars.
std::string live_line(LiveRun &run, Clock::time_point now);

/// The figures as one JSON object: `frames fps bitrate_bps missing gaps`, and `last_second` and `whole_run`, each with
/// `delta_us` and `latency_us` of `{p50 p99 max}`.
std::string live_json(LiveRun &run, Clock::time_point now);

}  // namespace frames

#endif
