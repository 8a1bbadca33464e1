// zel-frames stats: what a person wants to know, on one screen.
#include "frames/commands/command.h"
#include "frames/print/statistics_report.h"

namespace frames {
namespace {

struct StatsOptions {
  CaptureOptions capture;
  bool json = false;
};

int stats(const StatsOptions &options) {
  Capture capture = open_capture(options.capture);
  find_keys(capture);
  find_picture_size(capture);
  const Statistics statistics = measure_capture(capture);
  if (options.json) {
    print_statistics_json(capture, statistics);
  } else {
    print_statistics_text(capture, statistics);
  }
  return kExitGood;
}

}  // namespace

Run add_stats(Options &options) {
  auto given = std::make_shared<StatsOptions>();
  given->capture.figures_only = true;
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  return [given] { return stats(*given); };
}

}  // namespace frames
