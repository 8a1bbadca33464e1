// zel-frames check: is the capture whole and good?
#include "frames/commands/command.h"
#include "frames/media/decode_check.h"
#include "frames/model/checks.h"
#include "frames/model/limits.h"
#include "frames/print/check_report.h"

namespace frames {
namespace {

struct CheckOptions {
  CaptureOptions capture;
  bool json = false;
  bool decode = false;
  std::optional<Rate> rate;
  std::optional<double> tolerance_percent;
  Limits limits;
};

int check(const CheckOptions &options) {
  Capture capture = open_capture(options.capture);
  find_keys(capture);
  const Statistics statistics = measure_capture(capture);
  Limits limits = options.limits;
  if (options.rate) {
    limits.rate = static_cast<double>(options.rate->numerator) / static_cast<double>(options.rate->denominator);
  }
  if (options.tolerance_percent) limits.tolerance_percent = *options.tolerance_percent;
  Findings findings = capture.findings;
  check_frames(capture, findings);
  if (options.decode) check_decoding(capture, findings);
  check_times(capture, statistics, findings);
  check_limits(capture, statistics, limits, findings);
  if (options.json) {
    print_findings_json(capture, findings);
  } else {
    print_findings_text(capture, findings);
  }
  return findings.any_fails() ? kExitFailed : kExitGood;
}

}  // namespace

Run add_check(Options &options) {
  auto given = std::make_shared<CheckOptions>();
  Limits &limits = given->limits;
  add_capture_options(options, given->capture);
  add_json_option(options, given->json);
  options.flag("--decode", given->decode, "Decode every frame too");
  const Option rate = add_rate_option(options, "--rate", given->rate, "Fail unless it has so many frames a second");
  add_percent_option(options, "--tolerance", given->tolerance_percent, "How far the rate may be off (default 1%)")
      .needs(rate);
  add_count_option(options, "--max-missing", limits.max_missing, "Fail when more frames are missing");
  add_count_option(options, "--max-latency-us", limits.max_latency_us, "Fail when a frame's latency is longer");
  add_count_option(options, "--p99-latency-us", limits.p99_latency_us,
                   "Fail when the latency's 99th percentile is longer");
  add_count_option(options, "--max-delta-us", limits.max_delta_us, "Fail when two frames lie further apart");
  add_count_option(options, "--max-frame-size", limits.max_frame_size, "Fail when a frame has more bytes");
  add_count_option(options, "--max-bitrate", limits.max_bitrate, "Fail when it has more bits a second");
  add_count_option(options, "--gop", limits.gop, "Fail when a GOP has more frames");
  return [given] { return check(*given); };
}

}  // namespace frames
