// The figures of a capture on standard output.
#ifndef ZEL_FRAMES_PRINT_STATISTICS_REPORT_H
#define ZEL_FRAMES_PRINT_STATISTICS_REPORT_H

#include <nlohmann/json.hpp>

#include "frames/model/capture.h"
#include "frames/model/statistics.h"

namespace frames {

/// One screen for a person.
void print_statistics_text(const Capture &capture, const Statistics &statistics);

/// The figures as one object; what is unknown or undefined is absent.
nlohmann::ordered_json statistics_json(const Capture &capture, const Statistics &statistics);

/// The same on standard output.
void print_statistics_json(const Capture &capture, const Statistics &statistics);

}  // namespace frames

#endif
