// The sections of a page below its head.
#include "frames/report/sections.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "frames/model/comparison.h"
#include "frames/print/check_report.h"
#include "frames/print/comparison_report.h"
#include "frames/report/markup.h"
#include "frames/report/table.h"

namespace frames {
namespace {

constexpr std::size_t kMostMarks = 1000;    ///< rows of gaps, jumps and repeats a run
constexpr std::size_t kMostFindings = 200;  ///< a run
constexpr std::size_t kWorst = 20;

/// Something odd between two frames that follow each other.
struct Mark {
  std::size_t frame = 0;  ///< the second of both
  const char *kind = "";
  std::optional<std::uint64_t> missing = std::nullopt;
};

std::vector<Mark> marks_of(const Statistics &statistics) {
  std::vector<Mark> marks;
  for (const Gap &gap : statistics.gaps)
    marks.push_back({.frame = gap.after + 1, .kind = "gap", .missing = gap.missing});
  for (const std::size_t frame : statistics.backwards)
    marks.push_back({.frame = frame, .kind = "time goes back"});
  for (const std::size_t frame : statistics.repeated)
    marks.push_back({.frame = frame, .kind = "time repeated"});
  std::stable_sort(marks.begin(), marks.end(),
                   [](const Mark &one, const Mark &other) { return one.frame < other.frame; });
  return marks;
}

std::string section(const char *id, const std::string &title, const std::string &body) {
  return fmt::format(
      "<section id=\"{0}\" aria-labelledby=\"{0}-title\">\n<h2 id=\"{0}-title\">{1}</h2>\n{2}</section>\n", id, title,
      body);
}

std::string marks_table(const ReportedRun &run, std::size_t index, std::size_t runs) {
  const std::vector<Mark> marks = marks_of(run.statistics);
  if (marks.empty()) return fmt::format("<p>None{}.</p>\n", of_run(index, runs));
  const FrameTable &frames = run.capture.frames;
  Table table("Gaps, jumps and repeats" + of_run(index, runs),
              {"after frame", "to frame", "what", "at, s", "distance, µs", "missing"});
  for (const Mark &mark : marks) {
    if (table.rows() == kMostMarks) break;
    table.row({frame_link(index, mark.frame - 1), frame_link(index, mark.frame), mark.kind,
               after_start_text(frames, mark.frame), number_text(delta_us(frames, mark.frame)),
               mark.missing ? std::to_string(*mark.missing) : ""});
  }
  std::string html = table.finish();
  if (marks.size() > kMostMarks) {
    html +=
        fmt::format("<p>And {} more; <code>zel-frames stats --json</code> lists all.</p>\n", marks.size() - kMostMarks);
  }
  return html;
}

std::string percentile_table(const std::vector<Values> &values) {
  std::vector<std::string> columns = {"share of frames, %"};
  for (std::size_t run = 0; run < values.size(); ++run)
    columns.push_back(values.size() < 2 ? "at most, µs" : run_letter(run, values.size()) + ", at most, µs");
  Table table("Percentiles", columns, true);
  const auto row = [&](const std::string &name, std::size_t share) {
    std::vector<std::string> cells = {name};
    for (const Values &run : values)
      cells.push_back(run.empty() ? std::string(kUnknownText) : std::to_string(percentile_of(run, share)));
    table.row(cells);
  };
  row("smallest", 0);
  for (const Percentile &percentile : kPercentiles)
    row(percentile.name, percentile.share);
  row("100", 10000);
  return table.finish();
}

std::string worst_table(const ReportedRun &run, std::size_t index, std::size_t runs, Measured measured) {
  const FrameTable &frames = run.capture.frames;
  const char *what = measured == Measured::kDistance ? "distance, µs" : "latency, µs";
  const char *caption = measured == Measured::kDistance ? "Longest distances" : "Longest latencies";
  Table table(caption + of_run(index, runs), {"frame", what, "at, s", "size, bytes", "key", "sequence", "type"});
  for (const WorstFrame &worst : worst_frames(frames, measured, kWorst)) {
    const std::size_t frame = worst.frame;
    const bool has_name = frames.type_name.known(frame);
    table.row({frame_link(index, frame), std::to_string(worst.value), after_start_text(frames, frame),
               cell_text(frames.size, frame),
               frames.key.known(frame) ? (frames.key[frame] != 0 ? "key" : "") : std::string(kUnknownText),
               cell_text(frames.sequence, frame),
               has_name ? escaped(frames.type_names[frames.type_name[frame]]) : cell_text(frames.type, frame)});
  }
  return table.rows() == 0 ? std::string() : table.finish();
}

}  // namespace

const char *measured_id(Measured measured) {
  return measured == Measured::kDistance ? "delta_us" : "latency_us";
}

std::string thumbnails_section(std::span<const ReportedRun> runs) {
  std::string body;
  for (std::size_t run = 0; run < runs.size(); ++run) {
    if (runs[run].thumbnails.empty()) continue;
    body += fmt::format("<ul class=\"strip\" aria-label=\"Key frames{}\">\n", of_run(run, runs.size()));
    for (const Thumbnail &thumbnail : runs[run].thumbnails) {
      const std::string letter = run_letter(run, runs.size());
      body += fmt::format(
          "<li><a href=\"#{}frame={}\"><img src=\"data:image/jpeg;base64,{}\" width=\"{}\" height=\"{}\" "
          "alt=\"{}\"><span>{}{}{} · {} s</span></a></li>\n",
          run == 0 ? "" : "b-", thumbnail.frame, base64(thumbnail.jpeg), thumbnail.width, thumbnail.height,
          fmt::format("Picture of frame {}{}", thumbnail.frame, of_run(run, runs.size())), letter,
          letter.empty() ? "" : " ", thumbnail.frame, after_start_text(runs[run].capture.frames, thumbnail.frame));
    }
    body += "</ul>\n";
  }
  return body.empty() ? body : section("pictures", "Key frames", body);
}

std::string marks_section(std::span<const ReportedRun> runs) {
  std::string body;
  for (std::size_t run = 0; run < runs.size(); ++run)
    body += marks_table(runs[run], run, runs.size());
  return section("marks", "Gaps, jumps and repeats", body);
}

std::string spread_section(std::span<const ReportedRun> runs, Measured measured, const std::vector<Values> &values) {
  if (std::all_of(values.begin(), values.end(), [](const Values &run) { return run.empty(); })) return {};
  const std::string id = measured_id(measured);
  const bool is_distance = measured == Measured::kDistance;
  std::string body = fmt::format(
      "<div class=\"pair\">\n<figure><figcaption>How many frames have which {0}</figcaption>"
      "<div class=\"chart\" id=\"{1}-histogram\" role=\"img\" aria-label=\"Histogram of the {0}\"></div></figure>\n"
      "<figure><figcaption>The {0} that so many percent do not exceed</figcaption>"
      "<div class=\"chart\" id=\"{1}-curve\" role=\"img\" aria-label=\"Percentile curve of the {0}\"></div></figure>\n"
      "</div>\n<div class=\"tables\">\n",
      is_distance ? "distance" : "latency", id);
  body += percentile_table(values);
  for (std::size_t run = 0; run < runs.size(); ++run)
    body += worst_table(runs[run], run, runs.size(), measured);
  return section(is_distance ? "distance" : "latency", is_distance ? "Distance between frames" : "Latency",
                 body + "</div>\n");
}

std::string comparison_section(std::span<const ReportedRun> runs) {
  if (runs.size() < 2) return {};
  const Comparison comparison = compare_runs({&runs[0].capture, 1}, {&runs[1].capture, 1});
  Table table("B against A", {"quantity", "figure", "A", "B", "B − A", "%", "by chance?"});
  for (const ComparedFigure &figure : comparison.figures) {
    const ComparedTexts texts = compared_texts(figure);
    table.row({quantity_title(figure.quantity), std::string(figure_name(figure.figure)), texts.a, texts.b,
               texts.difference, texts.percent, texts.chance});
  }
  return section("comparison", "A and B compared",
                 table.finish() + "<p>" + escaped(chance_text(comparison)) + "</p>\n");
}

std::string findings_section(std::span<const ReportedRun> runs) {
  std::string body;
  for (std::size_t run = 0; run < runs.size(); ++run) {
    const std::vector<Finding> findings = printed_findings(runs[run].findings);
    body += fmt::format("<p>{}{}.</p>\n", runs.size() < 2 ? "" : run_letter(run, runs.size()) + ": ",
                        escaped(finding_counts_text(runs[run].findings)));
    if (findings.empty()) continue;
    body += "<ul class=\"findings\">\n";
    for (std::size_t i = 0; i < findings.size() && i < kMostFindings; ++i) {
      const Finding &finding = findings[i];
      const std::string link =
          finding.frame ? fmt::format("<a href=\"#{}frame={}\">show</a> ", run == 0 ? "" : "b-", *finding.frame) : "";
      body += fmt::format("<li class=\"{}\">{}{}{}</li>\n", finding.fails ? "fails" : "note",
                          finding.fails ? "<strong>fails:</strong> " : "note: ", link,
                          escaped(finding_text(runs[run].capture, finding)));
    }
    body += "</ul>\n";
    if (findings.size() > kMostFindings) {
      body += fmt::format("<p>And {} more; <code>zel-frames check</code> lists them.</p>\n",
                          findings.size() - kMostFindings);
    }
  }
  return section("findings", "What the check finds", body);
}

}  // namespace frames
