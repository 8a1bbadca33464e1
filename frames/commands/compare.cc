// zel-frames compare: two runs side by side, and whether they differ by more than chance.
#include <algorithm>

#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/model/comparison.h"
#include "frames/print/comparison_report.h"

namespace frames {
namespace {

struct CompareOptions {
  CaptureOptions a;
  SecondCapture b;
  std::vector<std::string> with_a;
  std::vector<std::string> with_b;
  std::optional<double> max_worse;
  bool json = false;
};

/// The runs of a side. The files beside the first one are its own.
std::vector<Capture> open_runs(const CaptureOptions &first, const std::vector<std::string> &more) {
  std::vector<Capture> runs;
  runs.push_back(open_capture(first));
  for (const std::string &name : more)
    runs.push_back(open_capture(read_like(first, {.name = name, .meta = "", .log = ""})));
  for (Capture &run : runs)
    find_keys(run);
  return runs;
}

int compare(const CompareOptions &options) {
  const std::vector<Capture> a = open_runs(options.a, options.with_a);
  const std::vector<Capture> b = open_runs(read_like(options.a, options.b), options.with_b);
  const Comparison comparison = compare_runs(a, b);
  if (options.max_worse && std::none_of(comparison.figures.begin(), comparison.figures.end(), may_be_worse)) {
    unusable("{}: --max-worse: the captures do not both tell distances or latencies", options.b.name);
  }
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

}  // namespace

Run add_compare(Options &options) {
  auto given = std::make_shared<CompareOptions>();
  add_capture_options(options, given->a);
  add_second_capture(options, given->b, "The other run, which is held against CAPTURE").required();
  options.files("--with-a", given->with_a, "Another run of CAPTURE's side; repeatable")
      .excludes("--meta")
      .excludes("--log");
  options.files("--with-b", given->with_b, "Another run of B's side; repeatable")
      .excludes("--meta-b")
      .excludes("--log-b");
  add_percent_option(options, "--max-worse", given->max_worse,
                     "Exit with 1 if a distance or latency of B is larger by more than that, and not by chance");
  add_json_option(options, given->json);
  return [given] { return compare(*given); };
}

}  // namespace frames
