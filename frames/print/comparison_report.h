// A comparison of runs on standard output.
#ifndef ZEL_FRAMES_PRINT_COMPARISON_REPORT_H
#define ZEL_FRAMES_PRINT_COMPARISON_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "frames/model/comparison.h"

namespace frames {

/// A figure of both sides as texts: means with a decimal, all else whole.
struct ComparedTexts {
  std::string a;
  std::string b;
  std::string difference;  ///< with its sign
  std::string percent;     ///< "-" where it is undefined
  std::string chance;      ///< "~", or "p=0.012" where it is more than chance
};
ComparedTexts compared_texts(const ComparedFigure &figure);

/// "distance, us".
const char *quantity_title(Quantity quantity);

/// What "~" means, and how it was tested.
std::string chance_text(const Comparison &comparison);

/// A table: a row a figure with both sides, the difference, percent, and "~" where it may be chance. `max_worse`, in
/// percent, marks the figures that are worse by more.
void print_comparison_text(const Comparison &comparison, std::optional<double> max_worse);

/// The comparison as one object: `block` ("second" or "gop"), `blocks_a`, `blocks_b`, and `figures`, each `{quantity
/// figure a b difference percent p chance}` and, with a limit, `worse`.
nlohmann::ordered_json comparison_json(const Comparison &comparison, std::optional<double> max_worse);

/// The same on standard output.
void print_comparison_json(const Comparison &comparison, std::optional<double> max_worse);

}  // namespace frames

#endif
