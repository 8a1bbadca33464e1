// The capture that every command works on: the index that formats/capture reads.
#ifndef ZEL_FRAMES_MODEL_CAPTURE_H
#define ZEL_FRAMES_MODEL_CAPTURE_H

#include "formats/capture/capture.h"
#include "formats/capture/distance.h"
#include "formats/capture/source.h"

namespace frames {

using formats::Capture;
using formats::CaptureOptions;
using formats::Column;
using formats::distance_us;
using formats::Finding;
using formats::Findings;
using formats::FrameReader;
using formats::FrameTable;
using formats::open_capture;
using formats::Part;
using formats::Rate;
using formats::SourceKind;

}  // namespace frames

#endif
