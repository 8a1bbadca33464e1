// zel-frames compare: two runs side by side, and whether they differ by more than chance.
#include <charconv>

#include "frames/commands/command.h"
#include "frames/model/comparison.h"
#include "frames/print/comparison_report.h"

namespace frames {
namespace {

struct CompareOptions {
  CaptureOptions capture;  ///< A; what it says of how to read holds for all
  std::string b;
  std::vector<std::string> with_a;
  std::vector<std::string> with_b;
  std::optional<double> max_worse;
  bool json = false;
};

std::vector<Capture> open_runs(const CompareOptions &options, const std::string &first,
                               const std::vector<std::string> &more) {
  std::vector<std::string> names = {first};
  names.insert(names.end(), more.begin(), more.end());
  std::vector<Capture> runs;
  for (const std::string &name : names) {
    CaptureOptions capture = options.capture;
    capture.capture = name;
    runs.push_back(open_capture(capture));
    find_keys(runs.back());
  }
  return runs;
}

int compare(const CompareOptions &options) {
  const std::vector<Capture> a = open_runs(options, options.capture.capture, options.with_a);
  const std::vector<Capture> b = open_runs(options, options.b, options.with_b);
  const Comparison comparison = compare_runs(a, b);
  bool fails = false;
  for (const ComparedFigure &figure : comparison.figures)
    fails = fails || (options.max_worse && is_worse(figure, *options.max_worse));
  if (options.json) {
    print_comparison_json(comparison, options.max_worse);
  } else {
    print_comparison_text(comparison, options.max_worse);
  }
  return fails ? kExitFailed : kExitGood;
}

/// "5%" or "5".
double parse_percent(std::string_view text) {
  const std::string whole(text);
  if (text.ends_with('%')) text.remove_suffix(1);
  double percent = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), percent);
  if (error != std::errc() || end != text.data() + text.size() || !(percent >= 0 && percent < 1e6)) {
    throw CLI::ValidationError("--max-worse", whole + " is no percentage such as 5%");
  }
  return percent;
}

}  // namespace

Run add_compare(CLI::App &app) {
  auto options = std::make_shared<CompareOptions>();
  add_capture_options(app, options->capture);
  app.add_option("B", options->b, "The other run, which is held against CAPTURE")->required();
  app.add_option("--with-a", options->with_a, "Another run of CAPTURE's side; repeatable")
      ->type_name("FILE")
      ->expected(1);
  app.add_option("--with-b", options->with_b, "Another run of B's side; repeatable")->type_name("FILE")->expected(1);
  app.add_option_function<std::string>(
         "--max-worse", [options](const std::string &text) { options->max_worse = parse_percent(text); },
         "Exit with 1 if a distance or latency of B is larger by more than that, and not by chance")
      ->type_name("P%");
  add_json_option(app, options->json);
  return [options] { return compare(*options); };
}

}  // namespace frames
