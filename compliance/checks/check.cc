// All checks.
#include "compliance/checks/check.h"

#include <iterator>

namespace compliance {

std::vector<Check> all_checks() {
  std::vector<Check> all;
  for (const auto &group : {library_checks, enumeration_checks, map_checks, error_checks, stream_checks,
                            stream_control_checks, buffer_checks, frame_checks, coded_frame_checks, time_checks}) {
    std::vector<Check> checks = group();
    all.insert(all.end(), std::make_move_iterator(checks.begin()), std::make_move_iterator(checks.end()));
  }
  return all;
}

}  // namespace compliance
