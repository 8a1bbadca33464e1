// Tables as HTML.
#include "frames/report/table.h"

#include <fmt/format.h>

#include "frames/model/statistics.h"

namespace frames {

Table::Table(const std::string &caption, const std::vector<std::string> &columns, bool has_row_headers)
    : has_row_headers_(has_row_headers) {
  html_ = "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"" + caption + "\">\n<table>\n<caption>" +
          caption + "</caption>\n<thead><tr>";
  for (const std::string &column : columns)
    html_ += "<th scope=\"col\">" + column + "</th>";
  html_ += "</tr></thead>\n<tbody>\n";
}

void Table::row(const std::vector<std::string> &cells) {
  html_ += "<tr>";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const bool is_header = i == 0 && has_row_headers_;
    html_ += is_header ? "<th scope=\"row\">" : "<td>";
    html_ += cells[i];
    html_ += is_header ? "</th>" : "</td>";
  }
  html_ += "</tr>\n";
  ++rows_;
}

std::string Table::finish() {
  html_ += "</tbody>\n</table>\n</div>\n";
  return std::move(html_);
}

std::string run_letter(std::size_t run, std::size_t runs) {
  if (runs < 2) return {};
  return run == 0 ? "A" : "B";
}

std::string of_run(std::size_t run, std::size_t runs) {
  return runs < 2 ? "" : " of " + run_letter(run, runs);
}

std::string frame_link(std::size_t run, std::size_t frame) {
  return fmt::format("<a href=\"#{}frame={}\">{}</a>", run == 0 ? "" : "b-", frame, frame);
}

std::string seconds_text(std::int64_t us) {
  constexpr std::uint64_t kSecond = 1'000'000;
  const auto bits = static_cast<std::uint64_t>(us);
  const std::uint64_t magnitude = us < 0 ? -bits : bits;
  return fmt::format("{}{}.{:06}", us < 0 ? "-" : "", magnitude / kSecond, magnitude % kSecond);
}

std::string after_start_text(const FrameTable &frames, std::size_t frame) {
  if (!frames.time_us.known(frame) || !frames.time_us.known(0)) return std::string(kUnknownText);
  return seconds_text(distance_us(frames.time_us[0], frames.time_us[frame]));
}

}  // namespace frames
