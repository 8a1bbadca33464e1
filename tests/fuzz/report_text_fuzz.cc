// Any text as a frame's line and as a cue: what is taken is what would be printed.
#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "formats/cue_text.h"
#include "formats/report_line.h"
#include "input.h"

namespace {

const char *label_of(formats::ReportColumn column) {
  switch (column) {
    case formats::ReportColumn::kLatency:
      return formats::kReportLatency;
    case formats::ReportColumn::kUtc:
      return formats::kReportUtc;
    default:
      return formats::kReportCustom;
  }
}

/// Prints the line again, with its type column `width` wide.
std::string print(const formats::ReportLine &line, int width) {
  std::array<char, 8192> text{};
  const std::string type(line.type);
  const auto size = static_cast<std::size_t>(line.size);
  const auto capacity = static_cast<std::size_t>(line.capacity);
  switch (line.shape) {
    case formats::ReportShape::kDefault:
      (void)std::snprintf(text.data(), text.size(), formats::kReportDefaultFormat, line.sequence, width, type.c_str(),
                          line.delta_pts, label_of(line.column), std::uintmax_t{line.value}, size);
      break;
    case formats::ReportShape::kStats:
      (void)std::snprintf(text.data(), text.size(), formats::kReportStatsFormat, line.sequence, line.delta_cts,
                          line.delta_pts, label_of(line.column), std::uintmax_t{line.value}, size, capacity);
      break;
    case formats::ReportShape::kDebug:
      (void)std::snprintf(text.data(), text.size(), formats::kReportDebugFormat, line.sequence, line.buffer_id,
                          line.delta_cts, line.delta_pts, size, capacity);
      break;
  }
  return text.data();
}

void check_line(std::string_view text) {
  formats::ReportLine line;
  const formats::ReportParse kind = formats::parse_report_line(text, line);
  require((kind == formats::ReportParse::kOther) == !text.starts_with(formats::kReportPrefix), "the prefix decides");
  if (kind != formats::ReportParse::kFrame) return;
  if (text.ends_with('\r')) text.remove_suffix(1);
  const std::string narrow = print(line, 0);
  const std::size_t padding = text.size() + 1 - narrow.size();
  const std::string wide = print(line, static_cast<int>(line.type.size() + padding));
  require(wide == std::string(text) + '\n', "a line that is read prints again");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const auto number = input.number<std::int64_t>();
  require(formats::parse_cue_text(formats::cue_text(number)) == number, "a cue names its time");
  while (!input.empty()) {
    const std::string text = input.line();
    check_line(text);
    check_line(std::string(formats::kReportPrefix) + text);
    const std::optional<std::int64_t> time = formats::parse_cue_text(text);
    require(!time || formats::cue_text(*time) == text, "a time that is read has the text");
  }
  return 0;
}
