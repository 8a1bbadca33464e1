// A comparison of runs on standard output.
#ifndef ZEL_FRAMES_PRINT_COMPARISON_REPORT_H
#define ZEL_FRAMES_PRINT_COMPARISON_REPORT_H

#include <nlohmann/json.hpp>
#include <optional>

#include "frames/model/comparison.h"

namespace frames {

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
