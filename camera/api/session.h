// What all calls share: the configuration in force, its log, its call faults, and the numbers of the objects.
#ifndef ZEL_CAMERA_SESSION_H
#define ZEL_CAMERA_SESSION_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "api/call_script.h"
#include "api/replayed.h"
#include "config/key_file.h"
#include "log/log.h"
#include "log/recorder.h"

namespace camera {

/// One reading of the key file. Made by the first call of the interface; a later zel_map_new or zel_stream_new makes
/// another one when ZEL_CAMERA names a different file by then. Never freed: its objects may be in use after the
/// next one is made.
struct Session {
  explicit Session(const char *path);

  std::string path;     ///< what ZEL_CAMERA said; empty when it was not set
  std::string problem;  ///< why the file could not be read; empty when all is well
  CameraConfig config;  ///< defaults when the file could not be read
  Log log;
  Recorder recorder;
  CallScript call_script;
  std::unique_ptr<Replay> replay;  ///< what answers instead of the camera; null: nothing does
  ReplayedBuffers replayed_buffers;
  std::atomic<std::uint32_t> maps = 0;     ///< maps made so far
  std::atomic<std::uint32_t> streams = 0;  ///< streams made so far
  std::atomic<std::uint32_t> buffers = 0;  ///< buffers made so far
};

/// The current session.
Session &session();

/// The same, or a new session when ZEL_CAMERA names another file now.
Session &renewed_session();

}  // namespace camera

#endif
