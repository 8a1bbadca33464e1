// Reading the marker of a decoded picture.
#ifndef ZEL_TEST_MARKER_READER_H
#define ZEL_TEST_MARKER_READER_H

#include <cstdint>
#include <optional>

#include "support/picture_decoder.h"

struct Marker {
  std::uint32_t sequence;
  std::uint64_t captured_us;
};

/// What the marker says; nothing when there is none or its checksum is wrong.
std::optional<Marker> read_marker(const DecodedPicture &picture);

#endif
