// What the lines of a console text say, put into the table of frames.
#ifndef ZEL_FORMATS_CAPTURE_CONSOLE_LINES_H
#define ZEL_FORMATS_CAPTURE_CONSOLE_LINES_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/capture/capture.h"
#include "formats/report_line.h"

namespace formats {

/// Frames of one text, 13 days at 30 a second: a pipe that does not end must not take all memory.
inline constexpr std::size_t kMostFrames = std::size_t{1} << 25U;

/// Adds a frame for every report line; times are its distances summed up from 0. Throws Unusable for what no run
/// prints.
class TableFiller {
 public:
  explicit TableFiller(FrameTable &frames) : frames_(frames) {}

  void take(const ReportLine &line);

 private:
  void set_column(std::size_t number, const ReportLine &line);
  std::uint16_t name_index(std::string_view name);

  FrameTable &frames_;
  std::int64_t time_us_ = 0;
  std::uint16_t last_name_ = 0;  ///< of the last frame, an index in its names: most frames have that of the one before
};

}  // namespace formats

#endif
