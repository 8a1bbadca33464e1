// A whole page of one or two runs.
#ifndef ZEL_FRAMES_REPORT_PAGE_H
#define ZEL_FRAMES_REPORT_PAGE_H

#include <span>
#include <string>

#include "frames/report/reported_run.h"

namespace frames {

/// One HTML file that needs nothing else. `command` is what made it, for people. There are one or two runs; the
/// second is laid over the first.
std::string make_page(std::span<const ReportedRun> runs, const std::string &command);

}  // namespace frames

#endif
