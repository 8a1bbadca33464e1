// Puts a page together.
#include "frames/report/page.h"

#include <fmt/format.h>

#include <map>
#include <string_view>

#include "frames/report/embedded.h"
#include "frames/report/markup.h"
#include "frames/report/run_data.h"
#include "frames/report/sections.h"
#include "zel-version.h"

namespace frames {
namespace {

using Json = nlohmann::ordered_json;
using Fragments = std::map<std::string, std::string, std::less<>>;

/// Curves and histogram of one quantity for the script.
Json spread_json(Measured measured, const std::vector<Values> &values) {
  Json curves = Json::array();
  for (const Values &run : values)
    curves.push_back(percentile_curve(run));
  const Histogram histogram = make_histogram(values);
  return {{"id", measured_id(measured)},
          {"curves", std::move(curves)},
          {"histogram",
           {{"from", histogram.from},
            {"width", histogram.width},
            {"cut", histogram.is_cut},
            {"counts", histogram.counts}}}};
}

void add_spread(std::span<const ReportedRun> runs, Measured measured, const char *name, Fragments &fragments,
                Json &spreads) {
  std::vector<Values> values;
  bool has_any = false;
  for (const ReportedRun &run : runs) {
    values.push_back(sorted_values(run.capture.frames, measured));
    has_any = has_any || !values.back().empty();
  }
  fragments[name] = spread_section(runs, measured, values);
  if (has_any) spreads.push_back(spread_json(measured, values));
}

/// The browser runs no script but those with these hashes.
std::string allowed_script(const EmbeddedText &script) {
  const std::string hash = bytes_of_hex(script.sha256);
  return "'sha256-" + base64({reinterpret_cast<const std::uint8_t *>(hash.data()), hash.size()}) + "'";
}

/// The template with each "@name@" replaced by the fragment of that name.
std::string filled(std::string_view text, const Fragments &fragments) {
  std::string page;
  while (!text.empty()) {
    const std::size_t begin = text.find('@');
    const std::size_t end = begin == text.npos ? text.npos : text.find('@', begin + 1);
    if (end == text.npos) break;
    const auto fragment = fragments.find(text.substr(begin + 1, end - begin - 1));
    page += text.substr(0, begin);
    if (fragment != fragments.end()) page += fragment->second;
    text.remove_prefix(end + 1);
  }
  return page.append(text);
}

}  // namespace

std::string make_page(std::span<const ReportedRun> runs, const std::string &command) {
  Fragments fragments;
  Json data = {{"runs", Json::array()}, {"spreads", Json::array()}};
  std::string columns;
  for (std::size_t run = 0; run < runs.size(); ++run) {
    RunData packed = run_data(runs[run].capture, runs[run].statistics, run == 0 ? "a" : "b");
    data["runs"].push_back(std::move(packed.description));
    columns += packed.columns;
  }
  add_spread(runs, Measured::kLatency, "latency", fragments, data["spreads"]);
  add_spread(runs, Measured::kDistance, "distance", fragments, data["spreads"]);

  fragments["title"] = escaped(title_text(runs));
  fragments["allowed"] = allowed_script(kChartScript) + " " + allowed_script(kPageScript);
  fragments["style"] = kPageStyle.text;
  fragments["head"] = head_section(runs, command);
  fragments["pictures"] = thumbnails_section(runs);
  fragments["marks"] = marks_section(runs);
  fragments["comparison"] = comparison_section(runs);
  fragments["findings"] = findings_section(runs);
  fragments["version"] = ZEL_VERSION;
  fragments["licence"] = escaped(kChartLicence.text);
  fragments["data"] = "<script type=\"application/json\" id=\"data\">" + script_json(data) + "</script>\n" + columns;
  fragments["library"] = kChartScript.text;
  fragments["script"] = kPageScript.text;
  return filled(kPageTemplate.text, fragments);
}

}  // namespace frames
