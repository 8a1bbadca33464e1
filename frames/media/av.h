// Owning pointers to what FFmpeg allocates.
#ifndef ZEL_FRAMES_MEDIA_AV_H
#define ZEL_FRAMES_MEDIA_AV_H

#include "formats/capture/av.h"

namespace frames {

using formats::av_error_text;
using formats::CodecPtr;
using formats::FramePtr;
using formats::IoPtr;
using formats::kMicroseconds;
using formats::PacketPtr;

}  // namespace frames

#endif
