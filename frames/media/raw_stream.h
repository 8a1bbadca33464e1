// Frames into a raw stream with its sidecar.
#ifndef ZEL_FRAMES_MEDIA_RAW_STREAM_H
#define ZEL_FRAMES_MEDIA_RAW_STREAM_H

#include <cstdint>

#include "frames/common/output_file.h"
#include "frames/model/capture.h"
#include "frames/model/frame_range.h"

namespace frames {

/// Writes the range's frames to `stream` and a record for each to `sidecar`, but does not publish them. Types that are
/// not known are 0, header sizes that are not known are taken from the frames. Returns the frames' bytes. Throws
/// Unusable when the capture does not have each frame's bytes and time.
std::uint64_t write_raw_stream(const Capture &capture, const FrameRange &range, OutputFile &stream,
                               OutputFile &sidecar);

}  // namespace frames

#endif
