// The marker: blocks in a picture that hold its number and time, readable by programs after any coding.
//
// Cells of 8x8 pixels (4x4 in small pictures) in rows from left to right, as many as fit in the picture's width, in the
// bottom rows of the picture; the first row begins at the multiple of the cell size that leaves room for all rows. A
// bright cell is a 1. The bits, each number with its highest bit first:
//
//      8  the pattern 10110010
//     32  sequence number
//     64  time of capture, microseconds on the stream's clock
//     16  checksum of these 96 bits: CRC-16, polynomial 0x1021, start value 0xFFFF, highest bit first
//
// A picture in which the rows would take more than half of the height carries no marker.
#ifndef ZEL_CAMERA_MARKER_H
#define ZEL_CAMERA_MARKER_H

#include <cstdint>

#include "common/av.h"

namespace camera {

/// Where the marker lies in a picture of some size.
struct MarkerLayout {
  int cell = 0;  ///< pixels; 0: there is no room for the marker
  int columns = 0;
  int top = 0;  ///< of the first row of cells
};

inline constexpr int kMarkerBits = 120;

MarkerLayout marker_layout(int width, int height);

/// Draws the marker. The picture must be writable; 8 or 10 bits a sample.
void draw_marker(AVFrame &picture, std::uint32_t sequence, std::uint64_t captured_us);

}  // namespace camera

#endif
