// A capture with all that a page says of it.
#ifndef ZEL_FRAMES_REPORT_REPORTED_RUN_H
#define ZEL_FRAMES_REPORT_REPORTED_RUN_H

#include <vector>

#include "frames/model/capture.h"
#include "frames/model/statistics.h"
#include "frames/report/thumbnails.h"

namespace frames {

struct ReportedRun {
  Capture capture;
  Statistics statistics;
  Findings findings;                  ///< of the check
  std::vector<Thumbnail> thumbnails;  ///< may be empty
};

}  // namespace frames

#endif
