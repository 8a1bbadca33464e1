// What stands in a page as text: it reads without the script.
#ifndef ZEL_FRAMES_REPORT_SECTIONS_H
#define ZEL_FRAMES_REPORT_SECTIONS_H

#include <span>
#include <string>
#include <vector>

#include "frames/report/reported_run.h"
#include "frames/report/spread.h"

namespace frames {

/// The runs' names, "A" and "B" with two of them.
std::string title_text(std::span<const ReportedRun> runs);

/// What was captured, a column a run, and the command that made the page.
std::string head_section(std::span<const ReportedRun> runs, const std::string &command);

/// A strip of pictures a run, each a link to its frame; empty without pictures.
std::string thumbnails_section(std::span<const ReportedRun> runs);

/// Gaps, jumps back and repeats of each run, a row each, by frame number.
std::string marks_section(std::span<const ReportedRun> runs);

/// Percentiles of the runs' values, and a place for the two charts of that `id`. `values` has a row for each run.
/// Empty when no run has values.
std::string spread_section(std::span<const ReportedRun> runs, Measured measured, const std::vector<Values> &values);

/// The table of `compare`; empty with one run.
std::string comparison_section(std::span<const ReportedRun> runs);

/// The findings of `check`.
std::string findings_section(std::span<const ReportedRun> runs);

/// "delta_us" or "latency_us".
const char *measured_id(Measured measured);

}  // namespace frames

#endif
