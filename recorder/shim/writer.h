// The thread that appends the ring's items to the file.
#ifndef ZEL_RECORDER_WRITER_H
#define ZEL_RECORDER_WRITER_H

#include <cstdint>

#include "recorder/shim/recording.h"

namespace recorder {

/// ns of CLOCK_MONOTONIC.
std::uint64_t monotonic_ns();

/// When the recording began. Set by the start.
// NOLINTNEXTLINE(bugprone-dynamic-static-initializers)
extern std::uint64_t recording_begin_ns;

/// What the writing thread has been told. `path` must stay.
struct WriterSetup {
  int descriptor;          ///< of the file, which is empty
  const char *path;        ///< its name, for messages and for replacing it
  std::uint64_t max_size;  ///< bytes; 0: no limit
};

/// Starts the thread. It takes no signals. False when there can be none.
bool start_writer(const WriterSetup &setup);

/// Writes what the ring holds and behind it this item, which has its place even when the ring is full; ends the thread
/// and returns when the file is complete. Once, from any thread and from signal handlers; items that are still being
/// written then are left out.
void finish_writer(const SmallItem &last);

/// Returns when finish_writer() is done, which another thread or what a handler has interrupted is in. At once when
/// nobody is.
void await_finished();

}  // namespace recorder

#endif
