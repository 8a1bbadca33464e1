// The descriptors that streams gave the program to wait on.
#ifndef ZEL_RECORDER_STREAM_FILES_H
#define ZEL_RECORDER_STREAM_FILES_H

#include <cstdint>

namespace recorder {

struct StreamFile {
  std::uint32_t stream = 0;  ///< the stream's number; 0: not a stream's descriptor
  bool is_event = false;     ///< the event descriptor, not the frame descriptor

  bool operator==(const StreamFile &) const = default;
};

/// A stream has given this descriptor.
void note_stream_file(int descriptor, StreamFile file);

/// Whose descriptor it is. Takes no lock.
StreamFile stream_file(int descriptor);

/// The stream is gone, and its descriptors with it.
void forget_stream_files(std::uint32_t stream);

}  // namespace recorder

#endif
