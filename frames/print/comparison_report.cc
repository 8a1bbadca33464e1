// Printing comparisons.
#include "frames/print/comparison_report.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "frames/print/output.h"

namespace frames {
namespace {

/// Means have a decimal, all else is whole.
std::string number_text(const ComparedFigure &figure, double value) {
  return figure.figure == Figure::kMean ? fmt::format("{:.1f}", value) : fmt::format("{:.0f}", value);
}

std::string percent_text(const ComparedFigure &figure) {
  return figure.percent ? fmt::format("{:+.2f} %", *figure.percent) : "-";
}

std::string chance_of(const ComparedFigure &figure) {
  if (figure.by_chance) return "~";
  constexpr double kLeastPrinted = 0.001;
  return *figure.p < kLeastPrinted ? fmt::format("p<{}", kLeastPrinted) : fmt::format("p={:.3f}", *figure.p);
}

void put_figure(std::string &text, const ComparedFigure &figure, std::optional<double> max_worse) {
  const ComparedTexts texts = compared_texts(figure);
  const bool worse = max_worse && is_worse(figure, *max_worse);
  fmt::format_to(std::back_inserter(text), "  {:<6} {:>14} {:>14} {:>14} {:>12}  {}{}\n", figure_name(figure.figure),
                 texts.a, texts.b, texts.difference, texts.percent, texts.chance, worse ? "  worse" : "");
}

}  // namespace

ComparedTexts compared_texts(const ComparedFigure &figure) {
  return {.a = number_text(figure, figure.a),
          .b = number_text(figure, figure.b),
          .difference = (figure.b > figure.a ? "+" : "") + number_text(figure, figure.b - figure.a),
          .percent = percent_text(figure),
          .chance = chance_of(figure)};
}

const char *quantity_title(Quantity quantity) {
  switch (quantity) {
    case Quantity::kDistance:
      return "distance, us";
    case Quantity::kLatency:
      return "latency, us";
    case Quantity::kSize:
      return "size, bytes";
    case Quantity::kBitrate:
      return "bit rate, bit/s";
  }
  return "";
}

std::string chance_text(const Comparison &comparison) {
  const std::string blocks = fmt::format("{} and {} {}", comparison.blocks_a, comparison.blocks_b,
                                         comparison.block == BlockKind::kSecond ? "seconds" : "GOPs");
  if (std::min(comparison.blocks_a, comparison.blocks_b) < kLeastBlocks) {
    return fmt::format("~ may be chance: {} are too few for a test, which takes {} each", blocks, kLeastBlocks);
  }
  return fmt::format("~ may be chance: p > {} in a rank test on {}", kChance, blocks);
}

void print_comparison_text(const Comparison &comparison, std::optional<double> max_worse) {
  std::string text = fmt::format("  {:<6} {:>14} {:>14} {:>14} {:>12}\n", "", "A", "B", "B - A", "");
  std::optional<Quantity> last;
  for (const ComparedFigure &figure : comparison.figures) {
    if (last != figure.quantity) text.append(quantity_title(figure.quantity)).append("\n");
    last = figure.quantity;
    put_figure(text, figure, max_worse);
  }
  text.append(chance_text(comparison)).append("\n");
  Output output;
  output.put(text);
  output.flush();
}

nlohmann::ordered_json comparison_json(const Comparison &comparison, std::optional<double> max_worse) {
  nlohmann::ordered_json object = {{"block", comparison.block == BlockKind::kSecond ? "second" : "gop"},
                                   {"blocks_a", comparison.blocks_a},
                                   {"blocks_b", comparison.blocks_b},
                                   {"figures", nlohmann::ordered_json::array()}};
  for (const ComparedFigure &figure : comparison.figures) {
    nlohmann::ordered_json entry = {{"quantity", quantity_name(figure.quantity)},
                                    {"figure", figure_name(figure.figure)},
                                    {"a", figure.a},
                                    {"b", figure.b},
                                    {"difference", figure.b - figure.a}};
    if (figure.percent) entry["percent"] = *figure.percent;
    if (figure.p) entry["p"] = *figure.p;
    entry["chance"] = figure.by_chance;
    if (max_worse) entry["worse"] = is_worse(figure, *max_worse);
    object["figures"].push_back(std::move(entry));
  }
  return object;
}

void print_comparison_json(const Comparison &comparison, std::optional<double> max_worse) {
  Output output;
  output.put(comparison_json(comparison, max_worse).dump() + "\n");
  output.flush();
}

}  // namespace frames
