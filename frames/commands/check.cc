// zel-frames check: is the capture whole and good?
#include <charconv>

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

/// "1", "0.5" or "1%".
double parse_percent(std::string_view text) {
  constexpr double kMost = 1'000'000;
  const std::string whole(text);
  if (text.ends_with('%')) text.remove_suffix(1);
  double percent = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), percent, std::chars_format::fixed);
  if (error != std::errc() || end != text.data() + text.size() || !(percent >= 0 && percent <= kMost)) {
    throw CLI::ValidationError("--tolerance", whole + " is no share such as 1% or 0.5%");
  }
  return percent;
}

void add_limit(CLI::App &app, const std::string &name, std::optional<std::uint64_t> &limit, const std::string &what) {
  const auto parse = [name, &limit](const std::string &text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
      throw CLI::ValidationError(name, text + " is no whole number");
    }
    limit = number;
  };
  app.add_option_function<std::string>(name, parse, what)->type_name("N");
}

}  // namespace

Run add_check(CLI::App &app) {
  auto options = std::make_shared<CheckOptions>();
  Limits &limits = options->limits;
  add_capture_options(app, options->capture);
  add_json_option(app, options->json);
  app.add_flag("--decode", options->decode, "Decode every frame too");
  CLI::Option *rate = add_rate_option(app, "--rate", options->rate, "Fail unless it has so many frames a second");
  app.add_option_function<std::string>(
         "--tolerance", [&limits](const std::string &text) { limits.tolerance_percent = parse_percent(text); },
         "How far the rate may be off (default 1%)")
      ->type_name("P%")
      ->needs(rate);
  add_limit(app, "--max-missing", limits.max_missing, "Fail when more frames are missing");
  add_limit(app, "--max-latency-us", limits.max_latency_us, "Fail when a frame's latency is longer");
  add_limit(app, "--p99-latency-us", limits.p99_latency_us, "Fail when the latency's 99th percentile is longer");
  add_limit(app, "--max-delta-us", limits.max_delta_us, "Fail when two frames lie further apart");
  add_limit(app, "--max-frame-size", limits.max_frame_size, "Fail when a frame has more bytes");
  add_limit(app, "--max-bitrate", limits.max_bitrate, "Fail when it has more bits a second");
  add_limit(app, "--gop", limits.gop, "Fail when a GOP has more frames");
  return [options] { return check(*options); };
}

}  // namespace frames
