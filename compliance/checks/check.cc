// All checks.
#include "compliance/checks/check.h"

#include <utility>

namespace compliance {

std::vector<Check> all_checks() {
  std::vector<Check> all;
  for (const auto &group :
       {library_checks, enumeration_checks, map_checks, stream_checks, stream_control_checks, error_checks,
        buffer_checks, frame_checks, coded_frame_checks, chunked_frame_checks, time_checks}) {
    for (Check &check : group()) {
      const std::string about = check.group();
      if (about == "Buffers" || about == "Frames" || about == "Time") check.needs_frames = true;
      all.push_back(std::move(check));
    }
  }
  return all;
}

}  // namespace compliance
