// What zel-record tells the library that it puts into the program.
#ifndef ZEL_RECORDER_ENVIRONMENT_H
#define ZEL_RECORDER_ENVIRONMENT_H

namespace recorder {

inline constexpr char kFileVariable[] = "ZEL_RECORD_FILE";             ///< the recording, from the root; empty so far
inline constexpr char kPicturesVariable[] = "ZEL_RECORD_NO_PICTURES";  ///< set: frames' bytes are left out
inline constexpr char kMaxSizeVariable[] = "ZEL_RECORD_MAX_SIZE";      ///< bytes; unset: no limit

}  // namespace recorder

#endif
