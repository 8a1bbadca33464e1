// Rows of a table in a page, and links to frames.
#ifndef ZEL_FRAMES_REPORT_TABLE_H
#define ZEL_FRAMES_REPORT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frames/model/capture.h"

namespace frames {

/// A table in the making. Cells are HTML: what comes from a file has been escaped.
class Table {
 public:
  /// `caption` is HTML too; the first column's cells are headers of their rows when `has_row_headers`.
  Table(const std::string &caption, const std::vector<std::string> &columns, bool has_row_headers = false);

  void row(const std::vector<std::string> &cells);
  std::size_t rows() const { return rows_; }

  /// The whole table; to be called once, at the end.
  std::string finish();

 private:
  std::string html_;
  bool has_row_headers_;
  std::size_t rows_ = 0;
};

/// "A" or "B"; nothing where there is one run only.
std::string run_letter(std::size_t run, std::size_t runs);

/// " of A" where there are several runs.
std::string of_run(std::size_t run, std::size_t runs);

/// A link that pins a frame: "#frame=12", of the second run "#b-frame=12".
std::string frame_link(std::size_t run, std::size_t frame);

/// Seconds with six decimals.
std::string seconds_text(std::int64_t us);

/// When a frame was captured, in seconds behind the first frame; "–" where it is not known.
std::string after_start_text(const FrameTable &frames, std::size_t frame);

/// What stands for a number that is not known.
inline constexpr std::string_view kUnknownText = "–";

/// A number, or what stands for an unknown one.
template <typename Number>
std::string number_text(const std::optional<Number> &number) {
  return number ? std::to_string(*number) : std::string(kUnknownText);
}

/// A frame's number in a column, or what stands for an unknown one.
template <typename Number>
std::string cell_text(const Column<Number> &column, std::size_t frame) {
  return column.known(frame) ? std::to_string(column[frame]) : std::string(kUnknownText);
}

}  // namespace frames

#endif
