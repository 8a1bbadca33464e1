// Comparing runs by blocks of frames.
#include "frames/model/comparison.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "frames/model/distribution.h"
#include "frames/model/rank_test.h"
#include "frames/model/statistics.h"

namespace frames {
namespace {

constexpr std::int64_t kSecond = 1'000'000;

/// Frames of one run, from `from` to before `to`, and the time that they last.
struct Block {
  const FrameTable *frames = nullptr;
  std::size_t from = 0;
  std::size_t to = 0;
  std::optional<std::int64_t> lasts_us;
};

std::vector<Block> whole_runs(std::span<const Capture> runs) {
  std::vector<Block> blocks;
  for (const Capture &run : runs)
    blocks.push_back({.frames = &run.frames, .from = 0, .to = run.frames.count, .lasts_us = std::nullopt});
  return blocks;
}

/// Whole seconds from each run's first frame on. A jump in time begins a new one.
void add_seconds(const FrameTable &frames, std::vector<Block> &blocks) {
  if (frames.count == 0 || !frames.time_us.all(frames.count)) return;
  std::size_t from = 0;
  for (std::size_t i = 1; i < frames.count; ++i) {
    const std::int64_t lasts = distance_us(frames.time_us[from], frames.time_us[i]);
    if (lasts >= 0 && lasts < kSecond) continue;
    if (lasts >= kSecond) blocks.push_back({.frames = &frames, .from = from, .to = i, .lasts_us = lasts});
    from = i;
  }
}

/// GOPs that end before another key frame.
void add_gops(const FrameTable &frames, std::vector<Block> &blocks) {
  std::optional<std::size_t> from;
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (!frames.key.known(i) || frames.key[i] == 0) continue;
    if (from) {
      std::optional<std::int64_t> lasts;
      if (frames.time_us.known(*from) && frames.time_us.known(i))
        lasts = distance_us(frames.time_us[*from], frames.time_us[i]);
      blocks.push_back({.frames = &frames, .from = *from, .to = i, .lasts_us = lasts});
    }
    from = i;
  }
}

std::vector<Block> blocks_of(std::span<const Capture> runs, BlockKind kind) {
  std::vector<Block> blocks;
  for (const Capture &run : runs) {
    if (kind == BlockKind::kSecond) {
      add_seconds(run.frames, blocks);
    } else {
      add_gops(run.frames, blocks);
    }
  }
  return blocks;
}

/// Calls `visit` with the quantity of every frame in the blocks that tells it.
template <typename Visit>
void visit_values(std::span<const Block> blocks, Quantity quantity, Visit &&visit) {
  for (const auto &[frames, from, to, lasts] : blocks) {
    for (std::size_t i = from; i < to; ++i) {
      if (quantity == Quantity::kDistance) {
        const auto delta = i == 0 ? std::nullopt : delta_us(*frames, i);
        if (delta) visit(*delta);
      } else if (quantity == Quantity::kLatency) {
        if (frames->latency_us.known(i)) visit(frames->latency_us[i]);
      } else if (frames->size.known(i)) {
        visit(std::int64_t{frames->size[i]});
      }
    }
  }
}

std::optional<double> bitrate_of(const Block &block) {
  if (block.lasts_us.value_or(0) <= 0) return std::nullopt;
  std::uint64_t bytes = 0;
  for (std::size_t i = block.from; i < block.to; ++i)
    bytes += block.frames->size[i];
  return static_cast<double>(bytes * 8) * 1e6 / static_cast<double>(*block.lasts_us);
}

std::optional<Distribution> distribution_of(std::span<const Block> blocks, Quantity quantity) {
  return measure([&](auto &&visit) { visit_values(blocks, quantity, visit); });
}

double figure_of(const Distribution &values, Figure figure) {
  switch (figure) {
    case Figure::kP50:
      return static_cast<double>(values.p50);
    case Figure::kP99:
      return static_cast<double>(values.p99);
    case Figure::kP999:
      return static_cast<double>(values.p999);
    case Figure::kMax:
      return static_cast<double>(values.max);
    case Figure::kMean:
      return values.mean;
  }
  return 0;
}

double figure_of_sorted(const std::vector<std::int64_t> &values, Figure figure) {
  const auto at = [&values](std::size_t share) {
    return static_cast<double>(values[nearest_rank(values.size(), share)]);
  };
  switch (figure) {
    case Figure::kP50:
      return at(500);
    case Figure::kP99:
      return at(990);
    case Figure::kP999:
      return at(999);
    case Figure::kMax:
      return static_cast<double>(values.back());
    case Figure::kMean:
      break;
  }
  WideSum sum;
  for (const std::int64_t value : values)
    sum.add(value);
  return sum.value() / static_cast<double>(values.size());
}

/// One side: its runs as wholes, for the figures, and in blocks, for the test.
struct Side {
  std::vector<Block> wholes;
  std::vector<Block> blocks;

  /// The rates of the blocks in bit/s, rounded, as values to be measured.
  std::optional<Distribution> bitrates() const {
    return measure([this](auto &&visit) {
      for (const Block &block : blocks)
        if (const auto rate = bitrate_of(block)) visit(std::int64_t{std::llround(*rate)});
    });
  }

  std::optional<Distribution> all(Quantity quantity) const {
    return quantity == Quantity::kBitrate ? bitrates() : distribution_of(wholes, quantity);
  }

  /// Each figure of every block.
  std::array<std::vector<double>, kFigures.size()> samples(Quantity quantity) const {
    std::array<std::vector<double>, kFigures.size()> result;
    std::vector<std::int64_t> values;
    for (const Block &block : blocks) {
      if (quantity == Quantity::kBitrate) {
        const auto rate = bitrate_of(block);
        for (std::vector<double> &samples : result)
          if (rate) samples.push_back(*rate);
        continue;
      }
      values.clear();
      visit_values({&block, 1}, quantity, [&values](std::int64_t value) { values.push_back(value); });
      if (values.empty()) continue;
      std::sort(values.begin(), values.end());
      for (const Figure figure : kFigures)
        result[static_cast<std::size_t>(figure)].push_back(figure_of_sorted(values, figure));
    }
    return result;
  }
};

void compare_quantity(const Side &a, const Side &b, Quantity quantity, std::vector<ComparedFigure> &results) {
  const auto all_a = a.all(quantity);
  const auto all_b = b.all(quantity);
  if (!all_a || !all_b) return;
  const auto samples_a = a.samples(quantity);
  const auto samples_b = b.samples(quantity);
  for (const Figure figure : kFigures) {
    ComparedFigure result;
    result.quantity = quantity;
    result.figure = figure;
    result.a = figure_of(*all_a, figure);
    result.b = figure_of(*all_b, figure);
    if (result.a != 0) result.percent = (result.b - result.a) / result.a * 100;
    const std::vector<double> &one = samples_a[static_cast<std::size_t>(figure)];
    const std::vector<double> &other = samples_b[static_cast<std::size_t>(figure)];
    if (one.size() >= kLeastBlocks && other.size() >= kLeastBlocks) {
      const RankTest test = rank_test(one, other);
      result.p = test.p;
      const bool agree = result.a == result.b || test.other_is_higher == (result.b > result.a);
      result.by_chance = test.p > kChance || !agree;
    }
    results.push_back(result);
  }
}

}  // namespace

std::string_view figure_name(Figure figure) {
  constexpr std::array<std::string_view, kFigures.size()> kNames = {"p50", "p99", "p999", "max", "mean"};
  return kNames[static_cast<std::size_t>(figure)];
}

std::string_view quantity_name(Quantity quantity) {
  constexpr std::array<std::string_view, kQuantities.size()> kNames = {"delta_us", "latency_us", "size", "bitrate_bps"};
  return kNames[static_cast<std::size_t>(quantity)];
}

Comparison compare_runs(std::span<const Capture> a, std::span<const Capture> b) {
  Comparison result;
  Side one{.wholes = whole_runs(a), .blocks = blocks_of(a, BlockKind::kSecond)};
  Side other{.wholes = whole_runs(b), .blocks = blocks_of(b, BlockKind::kSecond)};
  if (one.blocks.size() < kLeastBlocks || other.blocks.size() < kLeastBlocks) {
    std::vector<Block> gops_a = blocks_of(a, BlockKind::kGop);
    std::vector<Block> gops_b = blocks_of(b, BlockKind::kGop);
    if (gops_a.size() >= kLeastBlocks && gops_b.size() >= kLeastBlocks) {
      result.block = BlockKind::kGop;
      one.blocks = std::move(gops_a);
      other.blocks = std::move(gops_b);
    }
  }
  result.blocks_a = one.blocks.size();
  result.blocks_b = other.blocks.size();
  for (const Quantity quantity : kQuantities)
    compare_quantity(one, other, quantity, result.figures);
  return result;
}

bool may_be_worse(const ComparedFigure &figure) {
  return figure.quantity == Quantity::kDistance || figure.quantity == Quantity::kLatency;
}

bool is_worse(const ComparedFigure &figure, double percent) {
  if (!may_be_worse(figure) || figure.by_chance || figure.b <= figure.a) return false;
  return figure.percent.value_or(std::numeric_limits<double>::infinity()) > percent;
}

}  // namespace frames
