// The rows of `list`: frames as text, CSV, JSON or times alone, on standard output.
#ifndef ZEL_FRAMES_PRINT_FRAME_ROWS_H
#define ZEL_FRAMES_PRINT_FRAME_ROWS_H

#include <cstddef>

#include "frames/model/capture.h"

namespace frames {

/// The frames to print: from `from` to before `to`, all or only the key frames among them.
struct RowRange {
  std::size_t from = 0;
  std::size_t to = 0;
  bool keys_only = false;
};

/// Columns of right-aligned text under a header line; what is unknown is "-".
void print_text_rows(const Capture &capture, const RowRange &range);

/// Comma-separated values under a header line; what is unknown is empty.
void print_csv_rows(const Capture &capture, const RowRange &range);

/// One JSON object a line; what is unknown is absent.
void print_json_rows(const Capture &capture, const RowRange &range);

/// "timestamp format v2": milliseconds with three decimals from the first frame of the range on, a line each.
void print_timestamps(const Capture &capture, const RowRange &range);

}  // namespace frames

#endif
