// What ends a command with exit status 2: input that cannot be used, or a command line that asks for what cannot be
// done. It travels to main(), which prints "zel-frames: " and its text as one line.
#ifndef ZEL_FRAMES_COMMON_UNUSABLE_H
#define ZEL_FRAMES_COMMON_UNUSABLE_H

#include "formats/capture/unusable.h"

namespace frames {

using formats::Unusable;
using formats::unusable;

}  // namespace frames

#endif
