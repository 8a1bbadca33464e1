// A check in a process of its own: whatever the library does there, the others go on.
#ifndef ZEL_COMPLIANCE_CHILD_H
#define ZEL_COMPLIANCE_CHILD_H

#include "compliance/runner/result.h"

namespace compliance {

/// Readies GoogleTest and the account of last calls. Call once, before the first check.
void prepare_checks();

/// Runs the check in a child process that is killed after so many seconds. That it crashed, ended or took too long is
/// a finding of the check.
Result run_check(const Check &check, unsigned limit_s);

}  // namespace compliance

#endif
