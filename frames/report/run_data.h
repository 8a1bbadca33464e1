// A run's frames as data for the page's script.
#ifndef ZEL_FRAMES_REPORT_RUN_DATA_H
#define ZEL_FRAMES_REPORT_RUN_DATA_H

#include <nlohmann/json.hpp>
#include <string>

#include "frames/model/capture.h"
#include "frames/model/statistics.h"

namespace frames {

/// What is odd at a frame, as bits of the column "mark".
enum FrameMark : std::uint8_t {
  kMarkGap = 1,        ///< the distance to it from the frame before is a gap
  kMarkBackwards = 2,  ///< its time is below the one before
  kMarkRepeated = 4,   ///< its time is that of the one before
};

// Moving JSON checks it, with what may throw.
// NOLINTNEXTLINE(bugprone-exception-escape)
struct RunData {
  nlohmann::ordered_json description;  ///< name, frames, nominal_us, type_names, parts, columns
  std::string columns;                 ///< an element of data for each column that the description names
};

/// `id` begins the ids of the elements, "a" or "b". Columns have the names of `list`, and "mark" and "missing" are
/// added. What a column can be worked out from is taken off it and named as its `base`: "bytes" (the sizes of all
/// frames before), "time" (the frame's time) or "arrival" (the distance in time and the change of latency).
RunData run_data(const Capture &capture, const Statistics &statistics, const std::string &id);

}  // namespace frames

#endif
