// Runs of the real zel-frames on what a run of the client left.
#ifndef ZEL_CLIENT_TESTS_HARNESS_FRAMES_RUN_H
#define ZEL_CLIENT_TESTS_HARNESS_FRAMES_RUN_H

#include <filesystem>
#include <string>
#include <vector>

#include "harness/process.h"

/// Runs it to its end in a folder.
RunResult run_frames(const std::vector<std::string> &arguments, const std::filesystem::path &folder);

/// What ffprobe says of a packet of the video track.
struct VideoPacket {
  std::int64_t pts = 0;       ///< in the track's time base
  std::int64_t dts = 0;       ///< likewise
  std::int64_t duration = 0;  ///< likewise; 0 when the file has none
  bool key = false;
  bool operator==(const VideoPacket &) const = default;
};

/// A file's video track. A file that ffprobe cannot read, or complains of, fails the test.
struct VideoTrack {
  std::string codec;      ///< FFmpeg's name
  std::string tag;        ///< the container's name of the codec, four letters
  std::string time_base;  ///< "1/1000000"
  int width = 0;
  int height = 0;
  std::vector<VideoPacket> packets;
};
VideoTrack probe_video(const std::filesystem::path &file);

/// The decoded pictures of an input as `pixels` ("rgb24"), one after the other; or only that of number `only`. The
/// input's arguments are ffmpeg's.
std::string pixels_of(const std::vector<std::string> &input, const std::string &pixels = "", int only = -1);

#endif
