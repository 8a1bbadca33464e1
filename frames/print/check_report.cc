// Printing findings.
#include "frames/print/check_report.h"

#include <fmt/format.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "frames/print/output.h"

namespace frames {
namespace {

/// Where the frame begins, if a finding names only the frame.
std::optional<std::uint64_t> byte_of(const Capture &capture, const Finding &finding) {
  if (finding.byte || !finding.frame) return finding.byte;
  const FrameTable &frames = capture.frames;
  const bool known = *finding.frame < frames.count && frames.offset.known(*finding.frame);
  return known ? std::optional(frames.offset[*finding.frame]) : std::nullopt;
}

std::string place_of(const Capture &capture, const Finding &finding) {
  std::string place;
  if (finding.frame) place = fmt::format("frame {}", *finding.frame);
  if (const auto byte = byte_of(capture, finding)) place += fmt::format("{}byte {}", place.empty() ? "" : ", ", *byte);
  return place.empty() ? place : place + ": ";
}

/// "2 findings fail (1 frame-start, 1 trailer)", of those that fail or of the notes.
std::string count_text(const Findings &findings, bool fails, std::string_view one, std::string_view several) {
  std::size_t total = 0;
  std::string kinds;
  for (const auto &[id, count] : findings.counts()) {
    if (count.fails != fails) continue;
    total += count.found;
    fmt::format_to(std::back_inserter(kinds), "{}{} {}", kinds.empty() ? "" : ", ", count.found, id);
  }
  if (total == 0) return fmt::format("no {}", several);
  return fmt::format("{} {} ({})", total, total == 1 ? one : several, kinds);
}

}  // namespace

std::vector<Finding> printed_findings(const Findings &findings) {
  std::vector<Finding> all = findings.kept();
  for (const auto &[id, count] : findings.counts()) {
    if (count.found > Findings::kMost) {
      all.push_back({.id = id, .text = fmt::format("{} more", count.found - Findings::kMost), .fails = count.fails});
    }
  }
  return all;
}

std::string finding_text(const Capture &capture, const Finding &finding) {
  return fmt::format("{}{} ({})", place_of(capture, finding), one_line(finding.text), finding.id);
}

std::string finding_counts_text(const Findings &findings) {
  return fmt::format("{}, {}", count_text(findings, true, "fault", "faults"),
                     count_text(findings, false, "note", "notes"));
}

void print_findings_text(const Capture &capture, const Findings &findings) {
  const std::string name = one_line(capture.name);
  Output output;
  for (const Finding &finding : printed_findings(findings))
    output.put(fmt::format("{}: {}\n", name, finding_text(capture, finding)));
  output.put(fmt::format("{}: {} frames, {}\n", name, capture.frames.count, finding_counts_text(findings)));
  output.flush();
}

void print_findings_json(const Capture &capture, const Findings &findings) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Finding &finding : printed_findings(findings)) {
    Json entry = {{"id", finding.id}, {"fails", finding.fails}, {"text", finding.text}};
    if (finding.frame) entry["frame"] = *finding.frame;
    if (const auto byte = byte_of(capture, finding)) entry["byte"] = *byte;
    list.push_back(std::move(entry));
  }
  const Json object = {
      {"frames", capture.frames.count}, {"passed", !findings.any_fails()}, {"findings", std::move(list)}};
  Output output;
  output.put(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
  output.flush();
}

}  // namespace frames
