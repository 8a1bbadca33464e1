// Whether a capture is whole and good: what its bytes and times say.
#ifndef ZEL_FRAMES_MODEL_CHECKS_H
#define ZEL_FRAMES_MODEL_CHECKS_H

#include "frames/model/capture.h"
#include "frames/model/statistics.h"

namespace frames {

/// Looks at how each frame begins, as far as its bytes and header size are known: "frame-start", "header", "first-key".
/// Reads the first bytes of each frame. The key frames have been looked for.
void check_frames(const Capture &capture, Findings &findings);

/// Looks at the times and sequence numbers: "time-order", and "gap" as a note.
void check_times(const Capture &capture, const Statistics &statistics, Findings &findings);

}  // namespace frames

#endif
