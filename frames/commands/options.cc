// What several commands take, and how its values are written.
#include "frames/commands/options.h"

#include <array>
#include <charconv>
#include <string_view>
#include <system_error>

#include "frames/common/progress.h"
#include "frames/common/unusable.h"

namespace frames {
namespace {

constexpr std::array kFormats = {formats::Codec::kH264, formats::Codec::kH265, formats::Codec::kJpeg,
                                 formats::Codec::kAv1,  formats::Codec::kNv12, formats::Codec::kI420,
                                 formats::Codec::kGray, formats::Codec::kRgb};

/// Names of codecs, as help and messages list them.
std::string codec_names(std::string_view separator) {
  std::string names;
  for (const formats::Codec codec : kFormats)
    names.append(names.empty() ? "" : separator).append(formats::codec_name(codec));
  return names;
}

/// Parses a number that begins `text` and drops it from there. False without one.
template <typename Number, typename... Format>
bool take_number(std::string_view &text, Number &number, Format... format) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, format...);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

void parse_format(const std::string &name, CaptureOptions &capture) {
  capture.format = formats::codec_named(name);
  if (!capture.format) unusable("--format: {} is none of {}", name, codec_names(", "));
}

void parse_size(const std::string &whole, CaptureOptions &capture) {
  constexpr std::uint32_t kLargest = 65535;
  std::string_view text = whole;
  const bool good = take_number(text, capture.width) && text.starts_with('x') && (text.remove_prefix(1), true) &&
                    take_number(text, capture.height) && text.empty() && capture.width > 0 && capture.height > 0 &&
                    capture.width <= kLargest && capture.height <= kLargest;
  if (!good) unusable("--size: {} is no size such as 1920x1080", whole);
}

Rate parse_rate(const std::string &name, const std::string &whole) {
  constexpr std::int64_t kMost = 1'000'000;
  std::string_view text = whole;
  Rate rate;
  bool good = take_number(text, rate.numerator);
  if (good && text.starts_with('/')) {
    text.remove_prefix(1);
    good = take_number(text, rate.denominator);
  } else if (good && text.starts_with('.')) {
    text.remove_prefix(1);
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9' && rate.denominator < kMost;
         text.remove_prefix(1)) {
      rate.numerator = rate.numerator * 10 + (text.front() - '0');
      rate.denominator *= 10;
    }
  }
  if (!good || !text.empty() || rate.numerator <= 0 || rate.denominator <= 0 || rate.denominator > kMost ||
      rate.numerator > kMost * rate.denominator) {
    unusable("{}: {} is no rate such as 25, 29.97 or 30000/1001", name, whole);
  }
  return rate;
}

double parse_percent(const std::string &name, const std::string &whole) {
  constexpr double kMost = 1'000'000;
  std::string_view text = whole;
  if (text.ends_with('%')) text.remove_suffix(1);
  double percent = 0;
  if (!take_number(text, percent, std::chars_format::fixed) || !text.empty() || !(percent >= 0 && percent <= kMost)) {
    unusable("{}: {} is no percentage such as 1% or 0.5%", name, whole);
  }
  return percent;
}

}  // namespace

void add_capture_options(Options &options, CaptureOptions &capture) {
  constexpr const char *kGroup = "How to read CAPTURE";
  capture.show_progress = show_progress;
  options.operand("CAPTURE", capture.capture, "What to read; zel-frames --help lists what it may be").required();
  options.file("--meta", capture.meta, "The sidecar, if it is not CAPTURE.meta").group(kGroup);
  options.file("--log", capture.log, "Join a run's console text, frame by frame").group(kGroup);
  options
      .value(
          "--format", codec_names("|"), [&capture](const std::string &name) { parse_format(name, capture); },
          "What the raw stream is, if its bytes do not say it")
      .group(kGroup);
  options
      .value(
          "--size", "WxH", [&capture](const std::string &text) { parse_size(text, capture); },
          "Size of uncompressed pictures")
      .group(kGroup);
  add_rate_option(options, "--fps", capture.fps, "Frames a second of a raw stream without times").group(kGroup);
}

Option add_second_capture(Options &options, SecondCapture &second, const std::string &help) {
  const Option b = options.operand("B", second.name, help);
  options.file("--meta-b", second.meta, "The sidecar of B, if it is not B.meta").needs(b);
  options.file("--log-b", second.log, "Join a run's console text to B").needs(b);
  return b;
}

CaptureOptions read_like(const CaptureOptions &first, const SecondCapture &second) {
  CaptureOptions options = first;
  options.capture = second.name;
  options.meta = second.meta;
  options.log = second.log;
  return options;
}

Option add_rate_option(Options &options, const std::string &name, std::optional<Rate> &rate, const std::string &help) {
  return options.value(
      name, "F", [name, &rate](const std::string &text) { rate = parse_rate(name, text); }, help);
}

Option add_percent_option(Options &options, const std::string &name, std::optional<double> &percent,
                          const std::string &help) {
  const auto parse = [name, &percent](const std::string &text) { percent = parse_percent(name, text); };
  return options.value(name, "P%", parse, help);
}

Option add_count_option(Options &options, const std::string &name, std::optional<std::uint64_t> &count,
                        const std::string &help) {
  const auto parse = [name, &count](const std::string &whole) {
    std::string_view text = whole;
    std::uint64_t number = 0;
    if (!take_number(text, number) || !text.empty()) unusable("{}: {} is no whole number", name, whole);
    count = number;
  };
  return options.value(name, "N", parse, help);
}

Option add_position_option(Options &options, const std::string &name, std::optional<Position> &position,
                           const std::string &help) {
  const auto parse = [name, &position](const std::string &text) {
    position = parse_position(text);
    if (!position) unusable("{}: {} is neither a frame's number nor a time such as 12.5s", name, text);
  };
  return options.value(name, "F", parse, help);
}

Option add_json_option(Options &options, bool &json) {
  return options.flag("--json", json, "Print JSON");
}

void add_output_options(Options &options, OutputOptions &output, const std::string &help) {
  options.file("-o,--output", output.path, help).required();
  options.flag("--force", output.force, "Write over an existing file");
}

}  // namespace frames
