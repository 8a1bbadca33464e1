// The findings of a check on standard output.
#ifndef ZEL_FRAMES_PRINT_CHECK_REPORT_H
#define ZEL_FRAMES_PRINT_CHECK_REPORT_H

#include "frames/model/capture.h"
#include "frames/model/finding.h"

namespace frames {

/// A line a finding, then one with the counts.
void print_findings_text(const Capture &capture, const Findings &findings);

/// The same as one object.
void print_findings_json(const Capture &capture, const Findings &findings);

}  // namespace frames

#endif
