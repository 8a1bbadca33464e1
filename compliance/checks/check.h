// What a check is, and all of them.
#ifndef ZEL_COMPLIANCE_CHECK_H
#define ZEL_COMPLIANCE_CHECK_H

#include <functional>
#include <string>
#include <vector>

namespace compliance {

/// One check, described where it is written: the list, the report, the manual page and the tests read it from here.
struct Check {
  std::string name;           ///< group, point, name; "/" and the codec when there is one check a codec
  std::string expects;        ///< what a library that passes does, as a sentence without its full stop
  std::string relies;         ///< what of zel-client rests on it, likewise
  std::function<void()> run;  ///< uses GoogleTest's assertions; may throw Finding or Skip
  bool dangerous = false;     ///< may leave the camera's service in a bad state: only with --all
  bool needs_frames = false;  ///< says nothing of a library that delivers no frames

  std::string group() const { return name.substr(0, name.find('.')); }
};

/// The checks of each group.
std::vector<Check> library_checks();
std::vector<Check> enumeration_checks();
std::vector<Check> map_checks();
std::vector<Check> error_checks();
std::vector<Check> stream_checks();
std::vector<Check> stream_control_checks();
std::vector<Check> buffer_checks();
std::vector<Check> frame_checks();
std::vector<Check> coded_frame_checks();
std::vector<Check> chunked_frame_checks();
std::vector<Check> time_checks();

/// All checks, in the order in which they run. Those that others rest on come before them.
std::vector<Check> all_checks();

/// The names of the checks that others rest on: whether there is a library, and whether a stream delivers frames.
inline constexpr const char *kOpens = "Library.Opens";
inline constexpr const char *kDelivery = "Streams.Delivery";

}  // namespace compliance

#endif
