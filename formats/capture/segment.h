// Where a Matroska file says that it ends.
#ifndef ZEL_FORMATS_CAPTURE_SEGMENT_H
#define ZEL_FORMATS_CAPTURE_SEGMENT_H

#include <cstdint>
#include <optional>
#include <string>

namespace formats {

/// The segment of a Matroska file, which holds all but the file's first few bytes.
struct Segment {
  std::optional<std::uint64_t> end;  ///< byte behind it; none until the recording is ended properly
};

/// Reads the head of a Matroska file; nothing when it is none.
std::optional<Segment> read_segment(const std::string &path);

}  // namespace formats

#endif
