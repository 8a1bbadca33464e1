// What a Matroska file holds, read with FFmpeg.
#ifndef ZEL_CLIENT_TESTS_HARNESS_MATROSKA_H
#define ZEL_CLIENT_TESTS_HARNESS_MATROSKA_H

#include <filesystem>
#include <string>
#include <vector>

struct MatroskaContents {
  bool opens = false;               ///< FFmpeg takes it for Matroska
  std::vector<std::string> frames;  ///< the bytes of the packets of the video track, in order
  std::vector<std::string> cues;    ///< the texts of the subtitle track, in order
};

/// Reads as far as the file goes. A file that does not open gives an empty result.
MatroskaContents read_matroska(const std::filesystem::path &path);

#endif
