// The findings of a check on standard output.
#ifndef ZEL_FRAMES_PRINT_CHECK_REPORT_H
#define ZEL_FRAMES_PRINT_CHECK_REPORT_H

#include <string>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

/// The findings as they are printed: what was counted and not kept is one more of its kind.
std::vector<Finding> printed_findings(const Findings &findings);

/// "frame 3, byte 120: text (id)", without a place where there is none.
std::string finding_text(const Capture &capture, const Finding &finding);

/// "2 faults (1 frame-start, 1 trailer), no notes".
std::string finding_counts_text(const Findings &findings);

/// A line a finding, then one with the counts.
void print_findings_text(const Capture &capture, const Findings &findings);

/// The same as one object.
void print_findings_json(const Capture &capture, const Findings &findings);

}  // namespace frames

#endif
