// The report: on the console while the checks run, at their end, and as JSON.
#ifndef ZEL_COMPLIANCE_REPORT_H
#define ZEL_COMPLIANCE_REPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "compliance/runner/result.h"

namespace compliance {

/// Prints a check's line and, below it, what was found.
void print_result(const Result &result);

/// Prints how many passed, were skipped and failed, why, and what the client loses.
void print_summary(const std::vector<Result> &results);

/// Prints every check with what it expects, one a line.
void print_list(const std::vector<Check> &checks);

/// Writes the report. False with errno when it cannot be written.
bool write_json(const std::vector<Result> &results, std::FILE *file);

}  // namespace compliance

#endif
