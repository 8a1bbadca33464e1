// Columns with what other columns say taken off, packed.
#include "frames/report/run_data.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include "frames/report/packed_column.h"

namespace frames {
namespace {

using Json = nlohmann::ordered_json;

/// Up to here sums and differences of two numbers are exact in the script.
constexpr std::int64_t kMostSafe = std::int64_t{1} << 51;

template <typename Number>
NumberRow row_of(const Column<Number> &column, std::size_t count) {
  NumberRow row;
  row.is_signed = std::is_signed_v<Number>;
  row.bits.resize(count);
  if (!column.all(count)) row.known.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (!column.known(i)) continue;
    row.bits[i] = static_cast<std::uint64_t>(column[i]);
    if (!row.known.empty()) row.known[i] = true;
  }
  return row;
}

bool is_safe(const NumberRow &row) {
  return row.known.empty() && std::all_of(row.bits.begin(), row.bits.end(), [&row](std::uint64_t bits) {
           const auto number = static_cast<std::int64_t>(bits);
           return number <= kMostSafe && number >= (row.is_signed ? -kMostSafe : 0);
         });
}

/// Takes the columns of a capture one after the other.
class Packer {
 public:
  Packer(const FrameTable &frames, std::string id) : frames_(frames), id_(std::move(id)) {
    description_ = Json::array();
    if (frames.count == 0) return;
    if (frames.time_us.any()) times_ = row_of(frames.time_us, frames.count);
    are_times_safe_ = !times_.bits.empty() && is_safe(times_);
  }

  /// A number, as it is.
  template <typename Number>
  void add(const char *name, const Column<Number> &column, bool as_steps = false) {
    if (column.any()) put(name, row_of(column, frames_.count), as_steps, nullptr);
  }

  void add_times() {
    if (!times_.bits.empty()) put("time_us", times_, true, nullptr);
  }

  void add_offsets() {
    if (!frames_.offset.any()) return;
    NumberRow row = row_of(frames_.offset, frames_.count);
    std::uint64_t before = 0;
    std::vector<std::uint64_t> base(frames_.count);
    for (std::size_t i = 0; i < frames_.count; ++i) {
      base[i] = before;
      before += frames_.size.known(i) ? frames_.size[i] : 0;
    }
    const bool may = is_safe(row) && before <= static_cast<std::uint64_t>(kMostSafe);
    put_on("offset", std::move(row), may ? &base : nullptr, "bytes");
  }

  void add_times_of_day(const char *name, const Column<std::uint64_t> &column) {
    if (!column.any()) return;
    NumberRow row = row_of(column, frames_.count);
    const bool may = are_times_safe_ && is_safe(row);
    put_on(name, std::move(row), may ? &times_.bits : nullptr, "time");
  }

  void add_arrival_distances() {
    if (!frames_.delta_cts_us.any()) return;
    NumberRow row = row_of(frames_.delta_cts_us, frames_.count);
    const NumberRow latencies = row_of(frames_.latency_us, frames_.count);
    std::vector<std::uint64_t> base;
    if (are_times_safe_ && is_safe(row) && frames_.latency_us.all(frames_.count) && is_safe(latencies)) {
      base.resize(frames_.count);
      for (std::size_t i = 1; i < frames_.count; ++i)
        base[i] = times_.bits[i] - times_.bits[i - 1] + latencies.bits[i] - latencies.bits[i - 1];
    }
    put_on("delta_cts_us", std::move(row), base.empty() ? nullptr : &base, "arrival");
  }

  void put(const char *name, const NumberRow &row, bool as_steps, const char *base) {
    const PackedColumn packed = pack_column(row, as_steps);
    Json entry = {{"name", name}, {"first", packed.first}, {"width", packed.width}};
    if (packed.is_steps) entry["steps"] = true;
    if (!packed.is_signed) entry["unsigned"] = true;
    if (packed.is_wide) entry["wide"] = true;
    if (base != nullptr) entry["base"] = base;
    const std::string element = id_ + "-" + name;
    entry["data"] = element;
    put_element(element, packed.data);
    if (!packed.known.empty()) {
      entry["known"] = element + "-known";
      put_element(element + "-known", packed.known);
    }
    description_.push_back(std::move(entry));
  }

  Json take_description() { return std::move(description_); }
  std::string take_elements() { return std::move(elements_); }

 private:
  /// With a base, the row is written as what is left of it above the base.
  void put_on(const char *name, NumberRow row, const std::vector<std::uint64_t> *base, const char *base_name) {
    if (base == nullptr) {
      put(name, row, true, nullptr);
      return;
    }
    for (std::size_t i = 0; i < row.bits.size(); ++i)
      row.bits[i] -= (*base)[i];
    row.is_signed = true;
    put(name, row, false, base_name);
  }

  void put_element(const std::string &element, const std::string &data) {
    elements_ += "<script type=\"text/plain\" id=\"" + element + "\">" + data + "</script>\n";
  }

  const FrameTable &frames_;
  std::string id_;
  NumberRow times_;
  bool are_times_safe_ = false;
  Json description_;
  std::string elements_;
};

void add_marks(Packer &packer, const Statistics &statistics) {
  NumberRow marks;
  NumberRow missing;
  marks.bits.resize(statistics.frames);
  missing.bits.resize(statistics.frames);
  for (const Gap &gap : statistics.gaps) {
    marks.bits[gap.after + 1] |= kMarkGap;
    missing.bits[gap.after + 1] = std::min<std::uint64_t>(gap.missing, std::numeric_limits<std::uint32_t>::max());
  }
  for (const std::size_t frame : statistics.backwards)
    marks.bits[frame] |= kMarkBackwards;
  for (const std::size_t frame : statistics.repeated)
    marks.bits[frame] |= kMarkRepeated;
  packer.put("mark", marks, false, nullptr);
  packer.put("missing", missing, false, nullptr);
}

}  // namespace

RunData run_data(const Capture &capture, const Statistics &statistics, const std::string &id) {
  const FrameTable &frames = capture.frames;
  RunData data;
  data.description = {{"name", capture.name}, {"frames", frames.count}};
  if (statistics.nominal_us) data.description["nominal_us"] = *statistics.nominal_us;
  data.description["type_names"] = frames.type_names;
  data.description["parts"] = Json::array();
  if (capture.parts.size() > 1) {
    for (const Part &part : capture.parts)
      data.description["parts"].push_back({{"name", part.path}, {"start", part.start}});
  }
  Packer packer(frames, id);
  if (frames.count > 0) {
    packer.add_times();
    packer.add("latency_us", frames.latency_us);
    packer.add("size", frames.size);
    packer.add("key", frames.key);
    add_marks(packer, statistics);
    packer.add_arrival_distances();
    packer.add("sequence", frames.sequence, true);
    packer.add("type", frames.type);
    packer.add("type_name", frames.type_name);
    packer.add_offsets();
    packer.add("header", frames.header);
    packer.add_times_of_day("utc_us", frames.utc_us);
    packer.add_times_of_day("custom", frames.custom);
  }
  data.description["columns"] = packer.take_description();
  data.columns = packer.take_elements();
  return data;
}

}  // namespace frames
