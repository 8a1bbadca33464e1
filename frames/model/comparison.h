// Two runs, or two sets of runs, side by side.
#ifndef ZEL_FRAMES_MODEL_COMPARISON_H
#define ZEL_FRAMES_MODEL_COMPARISON_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

/// The figures that are compared of each quantity.
enum class Figure : std::uint8_t { kP50, kP99, kP999, kMax, kMean };
inline constexpr std::array kFigures = {Figure::kP50, Figure::kP99, Figure::kP999, Figure::kMax, Figure::kMean};

/// What is compared.
enum class Quantity : std::uint8_t { kDistance, kLatency, kSize, kBitrate };
inline constexpr std::array kQuantities = {Quantity::kDistance, Quantity::kLatency, Quantity::kSize,
                                           Quantity::kBitrate};

/// Names as in JSON: "p50", "p99", "p999", "max", "mean"; "delta_us", "latency_us", "size", "bitrate_bps".
std::string_view figure_name(Figure figure);
std::string_view quantity_name(Quantity quantity);

/// One figure of both sides.
struct ComparedFigure {
  Quantity quantity = Quantity::kDistance;
  Figure figure = Figure::kP50;
  double a = 0;
  double b = 0;
  std::optional<double> percent;  ///< (b - a) / a * 100; undefined where a is 0
  std::optional<double> p;        ///< of the rank test on blocks; absent with too few blocks
  /// p is above kChance or absent, or the blocks differ the other way than the whole runs: a single frame did that.
  bool by_chance = true;
};

/// What a block of frames is. The frames of one run hang together: the test takes one value a block.
enum class BlockKind : std::uint8_t { kSecond, kGop };

struct Comparison {
  BlockKind block = BlockKind::kSecond;
  std::size_t blocks_a = 0;
  std::size_t blocks_b = 0;
  std::vector<ComparedFigure> figures;  ///< of the quantities that both sides tell
};

/// Below this probability a difference is not by chance.
inline constexpr double kChance = 0.05;
/// With fewer blocks on a side every difference counts as chance.
inline constexpr std::size_t kLeastBlocks = 8;

/// Compares the runs of both sides. Key frames have been looked for.
///
/// Figures are over all frames of a side (bit rate: over its blocks). The test compares the same figure of the single
/// blocks of both sides (bit rate: the blocks' rates) by rank. Blocks are whole seconds of each run, or GOPs where a
/// side has fewer than kLeastBlocks seconds and both have enough GOPs.
Comparison compare_runs(std::span<const Capture> a, std::span<const Capture> b);

/// Whether larger is worse: a distance or a latency.
bool may_be_worse(const ComparedFigure &figure);

/// Whether the figure is one that may get worse, and B's is larger than A's by more than that, and not by chance.
bool is_worse(const ComparedFigure &figure, double percent);

}  // namespace frames

#endif
