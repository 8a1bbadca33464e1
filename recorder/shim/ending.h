// The end of the program, which is the end of the recording.
#ifndef ZEL_RECORDER_ENDING_H
#define ZEL_RECORDER_ENDING_H

namespace recorder {

/// From now on the recording ends with the program. False when that cannot be seen to.
bool watch_for_the_end();

}  // namespace recorder

#endif
