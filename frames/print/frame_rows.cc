// Printing the index of frames.
#include "frames/print/frame_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "frames/model/statistics.h"
#include "frames/print/output.h"

namespace frames {
namespace {

/// One column: its name, and how a frame's value is appended to a row. `append` returns false for what is unknown.
struct RowColumn {
  std::string_view name;
  bool (*append)(const Capture &capture, std::size_t frame, std::string &row);
  enum class Kind : std::uint8_t { kNumber, kText, kFlag } kind = Kind::kNumber;
};

template <typename Number>
void append_number(std::string &row, Number number) {
  const fmt::format_int digits(number);
  row.append(digits.data(), digits.size());
}

template <auto Member>
bool append_column(const Capture &capture, std::size_t frame, std::string &row) {
  const auto &column = capture.frames.*Member;
  if (!column.known(frame)) return false;
  append_number(row, column[frame]);
  return true;
}

bool append_frame(const Capture &, std::size_t frame, std::string &row) {
  append_number(row, frame);
  return true;
}

bool append_type_name(const Capture &capture, std::size_t frame, std::string &row) {
  if (!capture.frames.type_name.known(frame)) return false;
  row += capture.frames.type_names[capture.frames.type_name[frame]];
  return true;
}

bool append_delta(const Capture &capture, std::size_t frame, std::string &row) {
  const auto delta = delta_us(capture.frames, frame);
  if (delta) append_number(row, *delta);
  return delta.has_value();
}

bool append_file(const Capture &capture, std::size_t frame, std::string &row) {
  row += capture.parts[part_of(capture, frame)].path;
  return true;
}

constexpr RowColumn::Kind kText = RowColumn::Kind::kText;
constexpr RowColumn::Kind kFlag = RowColumn::Kind::kFlag;

constexpr std::array kColumns = {
    RowColumn{"frame", append_frame},
    RowColumn{"sequence", append_column<&FrameTable::sequence>},
    RowColumn{"type", append_column<&FrameTable::type>},
    RowColumn{"type_name", append_type_name, kText},
    RowColumn{"key", append_column<&FrameTable::key>, kFlag},
    RowColumn{"time_us", append_column<&FrameTable::time_us>},
    RowColumn{"delta_us", append_delta},
    RowColumn{"delta_cts_us", append_column<&FrameTable::delta_cts_us>},
    RowColumn{"offset", append_column<&FrameTable::offset>},
    RowColumn{"size", append_column<&FrameTable::size>},
    RowColumn{"header", append_column<&FrameTable::header>},
    RowColumn{"latency_us", append_column<&FrameTable::latency_us>},
};

/// The columns of this capture: those that every capture has, and those that only some have.
std::vector<RowColumn> columns_of(const Capture &capture) {
  std::vector<RowColumn> columns(kColumns.begin(), kColumns.end());
  if (capture.frames.utc_us.any()) columns.push_back({"utc_us", append_column<&FrameTable::utc_us>});
  if (capture.frames.custom.any()) columns.push_back({"custom", append_column<&FrameTable::custom>});
  const bool is_pattern = !capture.parts.empty() && capture.parts.front().path != capture.name;
  if (is_pattern) columns.push_back({"file", append_file, kText});
  return columns;
}

template <typename Visit>
void for_each_row(const Capture &capture, const RowRange &range, Visit visit) {
  const Column<std::uint8_t> &key = capture.frames.key;
  for (std::size_t i = range.from; i < range.to; ++i)
    if (!range.keys_only || (key.known(i) && key[i] != 0)) visit(i);
}

/// Quotes a CSV field that needs it, as RFC 4180 says.
std::string csv_field(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '"') quoted += '"';
    quoted += character;
  }
  return quoted + '"';
}

/// Keeps what comes from a file to its column: no control characters, no spaces.
void keep_in_column(std::string &text, std::size_t from) {
  for (std::size_t i = from; i < text.size(); ++i)
    if (static_cast<unsigned char>(text[i]) <= ' ') text[i] = '?';
}

/// The widest text of each column.
std::vector<std::size_t> widths_of(const Capture &capture, const RowRange &range,
                                   const std::vector<RowColumn> &columns) {
  std::vector<std::size_t> widths;
  widths.reserve(columns.size());
  for (const RowColumn &column : columns)
    widths.push_back(column.name.size());
  std::string text;
  for_each_row(capture, range, [&](std::size_t frame) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      text.clear();
      if (columns[i].append(capture, frame, text)) widths[i] = std::max(widths[i], text.size());
    }
  });
  return widths;
}

}  // namespace

void print_text_rows(const Capture &capture, const RowRange &range) {
  const std::vector<RowColumn> columns = columns_of(capture);
  const std::vector<std::size_t> widths = widths_of(capture, range, columns);
  Output output;
  std::string text;
  const auto put = [&](std::size_t column) {
    std::string &row = output.buffer();
    if (column > 0) row += ' ';
    row.append(widths[column] - std::min(widths[column], text.size()), ' ');
    row += text;
  };
  for (std::size_t i = 0; i < columns.size(); ++i) {
    text = columns[i].name;
    put(i);
  }
  output.put("\n");
  for_each_row(capture, range, [&](std::size_t frame) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      text.clear();
      if (!columns[i].append(capture, frame, text)) text = "-";
      keep_in_column(text, 0);
      put(i);
    }
    output.put("\n");
  });
  output.flush();
}

void print_csv_rows(const Capture &capture, const RowRange &range) {
  const std::vector<RowColumn> columns = columns_of(capture);
  Output output;
  for (const RowColumn &column : columns) {
    if (&column != columns.data()) output.put(",");
    output.put(column.name);
  }
  output.put("\n");
  std::string text;
  for_each_row(capture, range, [&](std::size_t frame) {
    std::string &row = output.buffer();
    for (const RowColumn &column : columns) {
      if (column.kind == kText) {
        text.clear();
        (void)column.append(capture, frame, text);
        row += csv_field(text);
      } else {
        (void)column.append(capture, frame, row);
      }
      row += ',';
    }
    row.back() = '\n';
    output.done();
  });
  output.flush();
}

void print_json_rows(const Capture &capture, const RowRange &range) {
  const std::vector<RowColumn> columns = columns_of(capture);
  Output output;
  std::string text;
  for_each_row(capture, range, [&](std::size_t frame) {
    std::string &row = output.buffer();
    row += '{';
    for (const RowColumn &column : columns) {
      text.clear();
      if (!column.append(capture, frame, text)) continue;
      if (row.back() != '{') row += ',';
      row.append("\"").append(column.name).append("\":");
      if (column.kind == kText) {
        row += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
      } else if (column.kind == kFlag) {
        row += text == "0" ? "false" : "true";
      } else {
        row += text;
      }
    }
    row += "}\n";
    output.done();
  });
  output.flush();
}

void print_timestamps(const Capture &capture, const RowRange &range) {
  Output output;
  output.put("# timestamp format v2\n");
  std::optional<std::int64_t> first;
  for_each_row(capture, range, [&](std::size_t frame) {
    const std::int64_t time = capture.frames.time_us[frame];
    if (!first) first = time;
    const bool is_before = time < *first;
    const std::uint64_t magnitude =
        static_cast<std::uint64_t>(is_before ? distance_us(time, *first) : distance_us(*first, time));
    fmt::format_to(std::back_inserter(output.buffer()), "{}{}.{:03}\n", is_before ? "-" : "", magnitude / 1000,
                   magnitude % 1000);
    output.done();
  });
  output.flush();
}

}  // namespace frames
