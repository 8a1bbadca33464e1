// Report lines as frames.
#include "formats/capture/console_lines.h"

#include <limits>
#include <string>
#include <vector>

#include "formats/capture/unusable.h"

namespace formats {
namespace {

/// A library has some ten types of frames.
constexpr std::size_t kMostTypes = 256;

}  // namespace

void TableFiller::take(const ReportLine &line) {
  if (line.size > std::numeric_limits<std::uint32_t>::max()) unusable("a frame of {} bytes", line.size);
  const std::size_t number = frames_.count;
  if (number == kMostFrames) unusable("more than {} frames", kMostFrames);
  if (line.shape == ReportShape::kDefault) {
    frames_.type_name.set(number, name_index(line.type));
  } else {
    frames_.delta_cts_us.set(number, line.delta_cts);
  }
  frames_.sequence.set(number, line.sequence);
  set_column(number, line);
  if (number > 0) time_us_ += line.delta_pts;
  frames_.time_us.set(number, time_us_);
  frames_.size.set(number, static_cast<std::uint32_t>(line.size));
  frames_.count = number + 1;
}

void TableFiller::set_column(std::size_t number, const ReportLine &line) {
  switch (line.column) {
    case ReportColumn::kLatency:
      frames_.latency_us.set(number, static_cast<std::int64_t>(line.value));  // printed as the unsigned of its bits
      break;
    case ReportColumn::kUtc:
      frames_.utc_us.set(number, line.value);
      break;
    case ReportColumn::kCustom:
      frames_.custom.set(number, line.value);
      break;
    case ReportColumn::kNone:
      break;
  }
}

std::uint16_t TableFiller::name_index(std::string_view name) {
  std::vector<std::string> &names = frames_.type_names;
  if (last_name_ < names.size() && names[last_name_] == name) return last_name_;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == name) return last_name_ = static_cast<std::uint16_t>(i);
  if (names.size() == kMostTypes) unusable("more than {} types of frames", kMostTypes);
  names.emplace_back(name);
  return last_name_ = static_cast<std::uint16_t>(names.size() - 1);
}

}  // namespace formats
