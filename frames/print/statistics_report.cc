// Printing figures.
#include "frames/print/statistics_report.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "frames/print/output.h"

namespace frames {
namespace {

using Json = nlohmann::ordered_json;

template <typename Value>
void put(Json &object, const char *name, const std::optional<Value> &value) {
  if (value) object[name] = *value;
}

void put(Json &object, const char *name, const std::optional<Distribution> &values) {
  if (!values) return;
  object[name] = {{"min", values->min}, {"mean", values->mean}, {"p50", values->p50}, {"p90", values->p90},
                  {"p99", values->p99}, {"p999", values->p999}, {"max", values->max}, {"stddev", values->stddev}};
}

Json gap_json(const Gap &gap) {
  Json object = {{"after", gap.after}};
  put(object, "delta_us", gap.delta_us);
  object["missing"] = gap.missing;
  return object;
}

/// What is told of single frames; a capture of no frames has none of it, one without times does not tell.
void put_lists(Json &object, const Capture &capture, const Statistics &statistics) {
  if (statistics.missing || statistics.frames == 0) {
    Json &gaps = object["gaps"] = Json::array();
    for (const Gap &gap : statistics.gaps)
      gaps.push_back(gap_json(gap));
  }
  if (!capture.frames.time_us.any() && statistics.frames > 0) return;
  object["backwards"] = statistics.backwards;
  object["repeated"] = statistics.repeated;
}

/// A line of a figure's name and what it is, names in one column.
template <typename... Arguments>
void put_line(std::string &text, std::string_view name, fmt::format_string<Arguments...> format,
              Arguments &&...arguments) {
  fmt::format_to(std::back_inserter(text), "{:<10} ", name);
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
  text += '\n';
}

/// Stands for what is not known or not defined.
constexpr const char *kUnknown = "-";

std::string gop_text(const Gops &gop) {
  const std::string lengths = gop.min == gop.max ? fmt::format("{}", gop.min)
                                                 : fmt::format("{} to {}, mean {:.1f}", gop.min, gop.max, gop.mean);
  return fmt::format("{} GOPs of {} frames", gop.count, lengths);
}

void put_capture(std::string &text, const Capture &capture, const Statistics &statistics) {
  std::string what = capture.codec ? std::string(formats::codec_name(*capture.codec)) : "codec -";
  if (capture.width != 0) fmt::format_to(std::back_inserter(what), ", {}x{}", capture.width, capture.height);
  put_line(text, "capture", "{}: {}", one_line(capture.name), what);
  if (statistics.keys) {
    put_line(text, "frames", "{}, {} of them key frames{}", statistics.frames, *statistics.keys,
             statistics.gop ? "; " + gop_text(*statistics.gop) : "");
  } else {
    put_line(text, "frames", "{}, key frames {}", statistics.frames, kUnknown);
  }
  put_line(text, "bytes", "{}", statistics.bytes);
  const auto duration = statistics.duration_us;
  put_line(text, "duration", "{}", duration ? fmt::format("{:.6f} s", static_cast<double>(*duration) / 1e6) : kUnknown);
  const auto rate = statistics.fps;
  put_line(text, "rate", "{}",
           rate ? fmt::format("{:.3f} frames/s, {:.1f} kbit/s", *rate, *statistics.bitrate_bps / 1000) : kUnknown);
}

/// A row of the table: what it is of, and its cells under the headings.
void put_row(std::string &text, std::string_view name, const std::array<std::string, 8> &cells) {
  constexpr std::size_t kMean = 1;
  fmt::format_to(std::back_inserter(text), "{:<18}", name);
  for (std::size_t i = 0; i < cells.size(); ++i)
    fmt::format_to(std::back_inserter(text), " {:>{}}", cells[i], i == kMean ? 13 : 11);
  text += '\n';
}

void put_distribution(std::string &text, std::string_view name, const std::optional<Distribution> &values) {
  std::array<std::string, 8> cells;
  cells.fill(kUnknown);
  if (values) {
    const auto whole = [](std::int64_t value) { return fmt::format("{}", value); };
    const auto tenths = [](double value) { return fmt::format("{:.1f}", value); };
    cells = {whole(values->min), tenths(values->mean), whole(values->p50), whole(values->p90),
             whole(values->p99), whole(values->p999),  whole(values->max), tenths(values->stddev)};
  }
  put_row(text, name, cells);
}

void put_distributions(std::string &text, const Statistics &statistics) {
  text += '\n';
  put_row(text, "", {"min", "mean", "p50", "p90", "p99", "p99.9", "max", "stddev"});
  put_distribution(text, "distance (us)", statistics.delta_us);
  put_distribution(text, "at client (us)", statistics.delta_cts_us);
  put_distribution(text, "latency (us)", statistics.latency_us);
  put_distribution(text, "size (bytes)", statistics.size);
  put_distribution(text, "  key frames", statistics.size_key);
  put_distribution(text, "  other frames", statistics.size_other);
}

// So that all of it stays on a screen of 24 lines.
constexpr std::size_t kMostGaps = 5;
constexpr std::size_t kMostNumbers = 10;

void put_gaps(std::string &text, const Statistics &statistics) {
  text += '\n';
  if (!statistics.missing) {
    put_line(text, "gaps", "{}", kUnknown);
  } else if (statistics.gaps.empty()) {
    put_line(text, "gaps", "none");
  } else {
    put_line(text, "gaps", "{}, {} frames missing", statistics.gaps.size(), *statistics.missing);
  }
  for (std::size_t i = 0; i < statistics.gaps.size() && i < kMostGaps; ++i) {
    const Gap &gap = statistics.gaps[i];
    const std::string length = gap.delta_us ? fmt::format("{} us, ", *gap.delta_us) : "";
    put_line(text, "", "after frame {}: {}{} missing", gap.after, length, gap.missing);
  }
  if (statistics.gaps.size() > kMostGaps) {
    put_line(text, "", "... and {} more, which zel-frames check lists", statistics.gaps.size() - kMostGaps);
  }
}

void put_numbers(std::string &text, std::string_view name, const std::vector<std::size_t> &numbers) {
  if (numbers.empty()) return;
  std::string list;
  for (std::size_t i = 0; i < numbers.size() && i < kMostNumbers; ++i)
    fmt::format_to(std::back_inserter(list), "{}{}", i == 0 ? "" : ", ", numbers[i]);
  put_line(text, name, "{}: frame {}{}", numbers.size(), list, numbers.size() > kMostNumbers ? ", ..." : "");
}

}  // namespace

void print_statistics_text(const Capture &capture, const Statistics &statistics) {
  std::string text;
  put_capture(text, capture, statistics);
  put_distributions(text, statistics);
  put_gaps(text, statistics);
  put_numbers(text, "backwards", statistics.backwards);
  put_numbers(text, "repeated", statistics.repeated);
  Output output;
  output.put(text);
  output.flush();
}

Json statistics_json(const Capture &capture, const Statistics &statistics) {
  Json object = Json::object();
  if (capture.codec) object["codec"] = formats::codec_name(*capture.codec);
  if (capture.width != 0) object["width"] = capture.width;
  if (capture.height != 0) object["height"] = capture.height;
  object["frames"] = statistics.frames;
  put(object, "keys", statistics.keys);
  object["bytes"] = statistics.bytes;
  put(object, "duration_us", statistics.duration_us);
  put(object, "fps", statistics.fps);
  put(object, "bitrate_bps", statistics.bitrate_bps);
  put(object, "nominal_us", statistics.nominal_us);
  put(object, "missing", statistics.missing);
  put(object, "delta_us", statistics.delta_us);
  put(object, "delta_cts_us", statistics.delta_cts_us);
  put(object, "latency_us", statistics.latency_us);
  put(object, "size", statistics.size);
  put(object, "size_key", statistics.size_key);
  put(object, "size_other", statistics.size_other);
  if (statistics.gop) {
    const Gops &gop = *statistics.gop;
    object["gop"] = {{"count", gop.count}, {"min", gop.min}, {"mean", gop.mean}, {"max", gop.max}};
  }
  put_lists(object, capture, statistics);
  return object;
}

void print_statistics_json(const Capture &capture, const Statistics &statistics) {
  Output output;
  output.put(statistics_json(capture, statistics).dump() + "\n");
  output.flush();
}

}  // namespace frames
