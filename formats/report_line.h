// The line that the client prints for every frame, in its three shapes: how it is printed and how it is read back.
#ifndef ZEL_FORMATS_REPORT_LINE_H
#define ZEL_FORMATS_REPORT_LINE_H

#include <cstdint>
#include <string_view>

namespace formats {

/// What every frame's line begins with.
inline constexpr std::string_view kReportPrefix = "zel-client: frame = ";

// The formats for printf, with their newline. Every number is padded to its width and printed whole when it is longer;
// Δcts and Δpts are us.

/// Sequence number (unsigned), width (int) and text of the type column, Δpts (int), column label, its value
/// (uintmax_t), frame size (size_t).
inline constexpr char kReportDefaultFormat[] =
    "zel-client: frame = %4u, type = %-*s, Δpts = %7d, %s = %7ju µs, size = %zu\n";

/// Sequence number (unsigned), Δcts (unsigned), Δpts (int), column label, its value (uintmax_t), frame size and buffer
/// capacity (size_t).
inline constexpr char kReportStatsFormat[] =
    "zel-client: frame = %4u, Δcts = %7u, Δpts = %7d, %s = %7ju µs, size = %zu/%zu\n";

/// Sequence number (unsigned), buffer id (unsigned), Δcts (unsigned), Δpts (int), frame size and buffer capacity
/// (size_t).
inline constexpr char kReportDebugFormat[] =
    "zel-client: frame = %4u, id = 0x%08x, Δcts = %7u, Δpts = %7d, size = %zu/%zu\n";

// The labels of the timestamp column.
inline constexpr char kReportLatency[] = "latency";  ///< us from the frame's capture to its arrival
inline constexpr char kReportUtc[] = "utc";          ///< us since the Unix epoch
inline constexpr char kReportCustom[] = "custom";    ///< as the service gave it

// Texts of the type column that are no nick of a type.
inline constexpr char kReportNotShown[] = "!show";
inline constexpr char kReportEmpty[] = "empty";
inline constexpr char kReportUnknownType[] = "n/a";  ///< the library has no nick for the frame's type

enum class ReportShape : std::uint8_t { kDefault, kStats, kDebug };

enum class ReportColumn : std::uint8_t { kNone, kLatency, kUtc, kCustom };

/// What a line says. A field that the shape does not have is 0, kNone or empty.
struct ReportLine {
  ReportShape shape = ReportShape::kDefault;
  ReportColumn column = ReportColumn::kNone;
  std::uint32_t sequence = 0;
  std::uint32_t delta_cts = 0;  ///< us
  std::int32_t delta_pts = 0;   ///< us
  std::uint32_t buffer_id = 0;
  std::uint64_t value = 0;     ///< of the column; a negative latency stands as the unsigned number of the same bits
  std::uint64_t size = 0;      ///< bytes
  std::uint64_t capacity = 0;  ///< bytes
  std::string_view type;       ///< the text of the type column without its padding; part of the line that was read
};

enum class ReportParse : std::uint8_t {
  kOther,      ///< no frame's line
  kFrame,      ///< a frame's line: the result is filled
  kMalformed,  ///< begins like a frame's line and is none: the result is of no use
};

/// Reads one line without its newline; one carriage return may end it. Takes what the formats above print, padding
/// included, and nothing else.
ReportParse parse_report_line(std::string_view line, ReportLine &result);

}  // namespace formats

#endif
