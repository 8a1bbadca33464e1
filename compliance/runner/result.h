// What became of a check.
#ifndef ZEL_COMPLIANCE_RESULT_H
#define ZEL_COMPLIANCE_RESULT_H

#include <glib.h>

#include <string>
#include <vector>

#include "compliance/checks/check.h"

namespace compliance {

enum class Outcome { kPassed, kFailed, kSkipped };

struct Result {
  Check check;
  Outcome outcome = Outcome::kPassed;
  std::vector<std::string> findings;  ///< what was seen and what was expected; some when it failed, else none
  std::string reason;                 ///< why it was skipped
  std::vector<std::string> notes;     ///< what the check reports besides, such as figures
  gint64 duration_us = 0;
};

}  // namespace compliance

#endif
