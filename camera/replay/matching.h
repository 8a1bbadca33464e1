// Whether a call is the recorded one.
#ifndef ZEL_CAMERA_MATCHING_H
#define ZEL_CAMERA_MATCHING_H

#include "formats/recording_reader.h"

namespace camera {

/// Whether a call was made with these arguments. Reserved pointers and the defaults of variants do not count.
bool is_same_call(const formats::RecordingItem &recorded, const formats::RecordedCall &row,
                  const formats::RecordedValue::List &arguments);

}  // namespace camera

#endif
